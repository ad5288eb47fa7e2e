#include "session/RecentRate.h"

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::DoubleNear;
using testing::Optional;

namespace {

class RecentRateTest : public testing::Test {
protected:
    std::optional<double> after(RecentRate::Instant::duration time, qint64 count)
    {
        _rate.update(count, RecentRate::Instant(time), 5s);
        return _rate.perSecond();
    }

    RecentRate _rate;
};

} // namespace

TEST_F(RecentRateTest, IsUnknownForTheFirstSecond)
{
    EXPECT_EQ(after(0s, 7), std::nullopt);
    EXPECT_EQ(after(899ms, 31), std::nullopt);
    EXPECT_THAT(after(2s, 31), Optional(DoubleNear(12.0, 0.001)));
}

TEST_F(RecentRateTest, IsKnownAfterASecondThatWasALittleShort)
{
    after(0s, 0);
    EXPECT_THAT(after(950ms, 19), Optional(DoubleNear(20.0, 0.001)));
}

TEST_F(RecentRateTest, StaysWhileNothingComesUntilThePauseIsTooLong)
{
    after(0s, 0);
    after(2s, 24);
    EXPECT_THAT(after(2500ms, 25), Optional(DoubleNear(12.0, 0.001))) << "a second has not passed";
    EXPECT_THAT(after(3s, 24), Optional(DoubleNear(12.0, 0.001)));
    EXPECT_THAT(after(6999ms, 24), Optional(DoubleNear(12.0, 0.001)));
    EXPECT_THAT(after(7s, 24), Optional(0.0));
}

TEST_F(RecentRateTest, IsThatOfTheTimeSinceTheLastButOneWhereFramesAreFarApart)
{
    after(0s, 0);
    after(1s, 1);
    EXPECT_THAT(after(5s, 2), Optional(DoubleNear(0.25, 0.001)));
}

TEST_F(RecentRateTest, CountsFromTheFirstTime)
{
    after(0s, 0);
    after(3s, 0);
    _rate.begin(1, RecentRate::Instant(3500ms));
    EXPECT_EQ(after(4s, 13), std::nullopt) << "half a second is too short to tell";
    EXPECT_THAT(after(5s, 38), Optional(DoubleNear(37 / 1.5, 0.001)));
}
