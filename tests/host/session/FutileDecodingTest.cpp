#include "session/FutileDecoding.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

class FutileDecodingTest : public testing::Test {
protected:
    /// Two seconds, 25 blocks in each, of which so many of each kind come at a time. @return how often it is futile.
    int passes(qint64 frames, qint64 damaged, qint64 lost = 0)
    {
        int times = 0;
        for (int block = 0; block < 50; ++block) {
            _now += milliseconds(40);
            _frames += frames;
            _damaged += damaged;
            _lost += lost;
            times += _decoding.isFutile(_frames, _damaged, _lost, _now) ? 1 : 0;
        }
        return times;
    }

    FutileDecoding _decoding;
    FutileDecoding::Instant _now{milliseconds(1'000'000)};
    qint64 _frames = 0;
    qint64 _damaged = 0;
    qint64 _lost = 0;
};

} // namespace

TEST_F(FutileDecodingTest, IsNotedOnceWhenNothingButDamageComes)
{
    EXPECT_EQ(passes(1, 0), 0);
    EXPECT_EQ(passes(0, 1), 1);
    EXPECT_EQ(passes(0, 1), 0) << "not all the time";
    _now += std::chrono::seconds(30);
    EXPECT_EQ(passes(0, 1), 1);
}

TEST_F(FutileDecodingTest, IsNotedWithinHalfASecond)
{
    passes(1, 0);
    const FutileDecoding::Instant begin = _now;
    bool isFutile = false;
    while (!isFutile && _now - begin < std::chrono::seconds(5)) {
        _now += milliseconds(40);
        isFutile = _decoding.isFutile(_frames, ++_damaged, _lost, _now);
    }
    EXPECT_LE(_now - begin, milliseconds(500));
}

TEST_F(FutileDecodingTest, IsNotedOfPicturesNoneOfWhichIsWhole)
{
    passes(1, 0);
    EXPECT_EQ(passes(1, 1), 1);
}

TEST_F(FutileDecodingTest, IsNotedAgainOnceSomethingWholeCameMeanwhile)
{
    passes(1, 0);
    EXPECT_EQ(passes(0, 1), 1);
    EXPECT_EQ(passes(1, 0), 0);
    EXPECT_EQ(passes(0, 1), 1);
}

TEST_F(FutileDecodingTest, IsNotWhatLossesExplain)
{
    EXPECT_EQ(passes(0, 1, 1), 0);
}

TEST_F(FutileDecodingTest, IsNotAPauseNorAFewDamagedPictures)
{
    EXPECT_EQ(passes(0, 0), 0);
    _damaged += 5;
    EXPECT_EQ(passes(0, 0), 0);
    EXPECT_EQ(passes(2, 1), 0);
}
