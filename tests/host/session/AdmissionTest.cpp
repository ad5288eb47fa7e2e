#include "session/Admission.h"

#include <cmath>

#include <gtest/gtest.h>

namespace {

constexpr int decoderThreads = 4;
constexpr int fewestFiles = 2 * decoderThreads;
constexpr int mostFiles = 8 * decoderThreads;

class AdmissionTest : public testing::Test {
protected:
    /// Has so many looks find what the test has set.
    void measure(Admission &admission, int looks = 1)
    {
        for (int look = 0; look < looks; ++look)
            admission.measure(_now += Admission::interval, _files);
    }
    Admission made(int fixed = 0)
    {
        Admission admission(fixed, decoderThreads, [this](Admission::Instant) {
            ++_asked;
            return _demand;
        });
        measure(admission); // from here on the demand is known
        return admission;
    }

    Admission::Instant _now{std::chrono::hours(1)};
    Admission::Files _files{0, 0, fewestFiles};
    double _demand = 0;
    int _asked = 0;
};

} // namespace

TEST_F(AdmissionTest, KeepsANumberThatIsFixed)
{
    Admission admission = made(3);
    EXPECT_EQ(admission.most(), 3);
    measure(admission, 100);
    EXPECT_EQ(admission.most(), 3);
    EXPECT_EQ(_asked, 0);
}

TEST_F(AdmissionTest, BeginsWithOneMoreForEachThreadThanItDecodes)
{
    EXPECT_EQ(made().most(), fewestFiles);
    EXPECT_EQ(Admission(0, 0, nullptr).most(), 2) << "though nothing is decoded then";
}

TEST_F(AdmissionTest, LetsMoreInWhileThreadsAreIdleUpToEightForEach)
{
    Admission admission = made();
    _demand = 0.89;
    int most = admission.most();
    for (int look = 0; look < 6; ++look) {
        measure(admission);
        EXPECT_GT(admission.most(), most);
        most = admission.most();
    }
    measure(admission, 100);
    EXPECT_EQ(admission.most(), mostFiles);
}

TEST_F(AdmissionTest, GoesBackOnceThreadsAreBusy)
{
    Admission admission = made();
    measure(admission, 100);
    _demand = 0.9;
    measure(admission);
    EXPECT_EQ(admission.most(), mostFiles - 1);
    measure(admission, 100);
    EXPECT_EQ(admission.most(), fewestFiles);
}

TEST_F(AdmissionTest, LetsNoMoreInForOutputsThatAreSlow)
{
    Admission admission = made();
    _files = {0, 5, 4};
    measure(admission, 10);
    EXPECT_EQ(admission.most(), fewestFiles);
    _files = {0, 4, 5};
    measure(admission);
    EXPECT_GT(admission.most(), fewestFiles);
}

TEST_F(AdmissionTest, LooksOnceInAnInterval)
{
    Admission admission = made();
    const int asked = _asked;
    for (int look = 0; look < 10; ++look)
        admission.measure(_now += Admission::interval / 10, _files);
    EXPECT_EQ(_asked, asked + 1);
}

TEST_F(AdmissionTest, LearnsNothingOfATimeInWhichNoFileWaited)
{
    Admission admission = made();
    _now += std::chrono::hours(1);
    measure(admission);
    EXPECT_EQ(admission.most(), fewestFiles);
    measure(admission);
    EXPECT_GT(admission.most(), fewestFiles);
}

TEST_F(AdmissionTest, StaysAsItIsWhereTheDemandIsUnknown)
{
    Admission admission = made();
    measure(admission);
    const int most = admission.most();
    _demand = std::nan("");
    measure(admission, 10);
    EXPECT_EQ(admission.most(), most);
}
