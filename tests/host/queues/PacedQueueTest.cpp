#include "queues/PacedQueue.h"

#include <chrono>
#include <functional>
#include <vector>

#include "QueueReader.h"
#include "StampedBlocks.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::ElementsAreArray;

/// A queue of blocks, one each 40 ms, and a decoder that paces by the wall clock.
class Film {
public:
    void append(bool keyBlock, quint32 streamId = 0)
    {
        EXPECT_TRUE(_blocks->append({QByteArray(1, 'x'), streamId, keyBlock, _stamp, 7000 + 40 * _stamp}));
        ++_stamp;
    }

    /// Appends a block when it is due, every 40 ms, and has the decoder look each millisecond.
    /// @param keyInterval blocks from one key block to the next. @return how late each block was taken.
    std::vector<qint64> play(int blocks, int keyInterval)
    {
        std::vector<qint64> lateMs;
        for (qint64 nowMs = 0; nowMs < 40 * blocks + 1000; ++nowMs) {
            if (nowMs % 40 == 0 && nowMs < 40 * blocks)
                append(_stamp % keyInterval == 0);
            if (!isStopped && decoderTakes())
                lateMs.push_back(nowMs - 40 * static_cast<qint64>(lateMs.size()));
            pass(milliseconds(1));
            atMs(nowMs);
        }
        return lateMs;
    }

    /// One look at the queue, as a paced stream decoder does it. @return whether it took a block.
    bool decoderTakes()
    {
        const auto block = _decoder.look();
        if (!block)
            return false;
        betweenLooks();
        if (block->keyBlock) {
            _referenceMs = block->blockTimeMs;
            _reference = _wall;
        } else if (_wall < _reference + milliseconds(block->blockTimeMs - _referenceMs)) {
            return false;
        }
        _decoder.cursor = block->cursor;
        return true;
    }

    void pass(milliseconds time)
    {
        _steady += time;
        _wall += time;
    }
    void stepWallClock(hours by) { _wall += by; }

    std::vector<qint64> givenTimes(int blocks)
    {
        std::vector<qint64> times;
        for (int block = 0; block < blocks; ++block)
            times.push_back(_decoder.take()->blockTimeMs);
        return times;
    }

    std::function<void(qint64 nowMs)> atMs = [](qint64) {};
    std::function<void()> betweenLooks = [] {}; // the queue's at the clock, and the decoder's
    std::function<void()> betweenClocks = [] {};
    bool isStopped = false;

private:
    qint64 _stamp = 0;
    std::chrono::steady_clock::time_point _steady{hours(5)};
    std::chrono::system_clock::time_point _wall{hours(500000)};
    const ModkitPtr<BlockQueue> _blocks{new BlockQueue(1, roomy)};
    PacedQueue _queue{_blocks, 0, [this] { return _steady; },
                      [this] {
                          const auto wall = _wall;
                          betweenClocks();
                          return wall;
                      }};
    QueueReader _decoder{_queue};
    qint64 _referenceMs = 0;
    std::chrono::system_clock::time_point _reference;
};

std::vector<qint64> blocksInTime(std::size_t count)
{
    return std::vector<qint64>(count, 0);
}

TEST(PacedQueue, BlockTimesStayWhileTheClocksAgreeAndNothingIsLate)
{
    Film film;
    film.append(true);
    EXPECT_THAT(film.givenTimes(1), ElementsAre(7000));
    film.append(false);
    film.pass(milliseconds(129));
    film.append(true);
    EXPECT_THAT(film.givenTimes(2), ElementsAre(7040, 7080)) << "a key block was taken for late";
}

TEST(PacedQueue, EachBlockIsTakenWhenItIsDue)
{
    EXPECT_THAT(Film().play(50, 10), ElementsAreArray(blocksInTime(50)));
}

TEST(PacedQueue, BlocksAreTakenWhenTheyAreDueWhereverTheWallClockIsSet)
{
    for (const int keyInterval : {1, 10, 1000}) {
        for (const int direction : {-1, 1}) {
            Film film;
            film.atMs = [&](qint64 nowMs) {
                if (nowMs == 630 || nowMs == 700)
                    film.stepWallClock(hours(direction));
                else if (nowMs == 1500)
                    film.stepWallClock(hours(-3 * direction));
            };
            EXPECT_THAT(film.play(50, keyInterval), ElementsAreArray(blocksInTime(50)))
                << keyInterval << ' ' << direction;
        }
    }
}

TEST(PacedQueue, AStepBetweenItsLookAtTheClockAndTheDecodersMakesNoBlockLate)
{
    for (const int direction : {-1, 1}) {
        Film film;
        int looks = 0;
        film.betweenLooks = [&] {
            if (++looks == 11) // at a key block
                film.stepWallClock(hours(direction));
        };
        EXPECT_THAT(film.play(50, 10), ElementsAreArray(blocksInTime(50))) << direction;
    }
}

TEST(PacedQueue, WhatIsBehindALateKeyBlockIsTakenWhenItIsDue)
{
    Film film;
    film.atMs = [&](qint64 nowMs) { film.isStopped = nowMs >= 330 && nowMs < 730; };
    const std::vector<qint64> lateMs = film.play(50, 10);
    ASSERT_EQ(lateMs.size(), 50u);
    for (std::size_t block = 0; block < lateMs.size(); ++block) {
        const qint64 dueMs = 40 * static_cast<qint64>(block);
        // It was stopped during blocks 9 to 18, and takes one in a millisecond afterwards.
        if (dueMs < 330 || dueMs > 750)
            EXPECT_EQ(lateMs[block], 0) << block;
        else
            EXPECT_LE(lateMs[block], 731 - dueMs + static_cast<qint64>(block)) << block;
    }
}

TEST(PacedQueue, AnInterruptionBetweenTheClocksIsNoStep)
{
    Film film;
    film.append(true);
    film.append(false);
    film.append(false);
    EXPECT_THAT(film.givenTimes(1), ElementsAre(7000));
    film.betweenClocks = [&film] { film.pass(milliseconds(2000)); };
    EXPECT_THAT(film.givenTimes(1), ElementsAre(7040));
    film.betweenClocks = [] {};
    EXPECT_THAT(film.givenTimes(1), ElementsAre(7080));
}

TEST(PacedQueue, BlocksOfOtherStreamsStayAsTheyAre)
{
    Film film;
    film.append(true);
    film.append(true, 8);
    film.append(false);
    EXPECT_THAT(film.givenTimes(1), ElementsAre(7000));
    film.pass(milliseconds(5000));
    film.stepWallClock(hours(-1));
    EXPECT_THAT(film.givenTimes(2), ElementsAre(7040, 7080 - 3'600'000));
}

} // namespace
