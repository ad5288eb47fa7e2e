#include "session/CountedTrouble.h"

#include <gmock/gmock.h>

using namespace std::chrono_literals;

namespace {

class CountedTroubleTest : public testing::Test {
protected:
    /// @return the count that it reports; 0 for nothing.
    std::int64_t after(std::chrono::milliseconds time, std::int64_t count)
    {
        const auto spell = _trouble.update(count, CountedTrouble::Instant(time), CountedTrouble::ClockInstant(time));
        if (spell)
            _since = spell->since;
        return spell ? spell->count : 0;
    }

    CountedTrouble _trouble;
    CountedTrouble::ClockInstant _since;
};

} // namespace

TEST_F(CountedTroubleTest, IsReportedWhenItBeginsAndNowAndThenWithItsCount)
{
    EXPECT_EQ(after(1s, 0), 0);
    EXPECT_EQ(_trouble.latest(), std::nullopt);
    EXPECT_EQ(after(2s, 3), 3);
    EXPECT_EQ(after(3s, 50), 0);
    EXPECT_EQ(after(12s, 147), 147);
    EXPECT_EQ(_since, CountedTrouble::ClockInstant(2s));
    EXPECT_EQ(after(13s, 147), 0);
    EXPECT_EQ(after(62s, 200), 200);
    EXPECT_EQ(_trouble.latest(), CountedTrouble::Instant(62s));
}

TEST_F(CountedTroubleTest, IsNotReportedAgainWhileNothingMoreComes)
{
    EXPECT_EQ(after(1s, 3), 3);
    EXPECT_EQ(after(11s, 3), 0);
    EXPECT_EQ(after(12s, 4), 0) << "the next time to tell is a minute after the beginning";
    EXPECT_EQ(after(61s, 4), 4);
}

TEST_F(CountedTroubleTest, IsNewsOnceItsSpellWasEnded)
{
    EXPECT_EQ(after(1s, 3), 3);
    _trouble.endSpell();
    EXPECT_EQ(after(2s, 3), 0);
    EXPECT_EQ(after(3s, 5), 2);
    EXPECT_EQ(_since, CountedTrouble::ClockInstant(3s));
}

TEST_F(CountedTroubleTest, EndsAfterAQuietMinuteAndIsNewsThen)
{
    EXPECT_EQ(after(1s, 3), 3);
    EXPECT_EQ(after(61s, 5), 2);
    EXPECT_EQ(_since, CountedTrouble::ClockInstant(61s));
}
