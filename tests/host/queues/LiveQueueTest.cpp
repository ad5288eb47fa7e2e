#include "queues/LiveQueue.h"

#include <QString>

#include <chrono>
#include <random>

#include "QueueReader.h"
#include "fakes/TestSeed.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// A queue under a clock of its own, and blocks whose time stamps are their numbers.
class LiveQueueTest : public testing::Test {
protected:
    static constexpr LiveQueue::Limits roomy = {1000, 1'000'000, milliseconds(400)};

    static LiveQueue::Block key(qint64 stamp, int size = 1) { return {QByteArray(size, 'k'), 0, true, stamp, 0, 0}; }
    static LiveQueue::Block more(qint64 stamp, int size = 1) { return {QByteArray(size, 'm'), 0, false, stamp, 0, 0}; }
    static LiveQueue::Block end(qint64 stamp) { return {QByteArray(), 0, false, stamp, 0, 0}; }

    LiveQueue::Clock clock()
    {
        return [this] { return now; };
    }

    /// A key block, stamped @p first, and the blocks that belong to it.
    static void appendGroup(LiveQueue &queue, qint64 first, int blocks)
    {
        EXPECT_TRUE(queue.append(key(first)));
        for (qint64 stamp = first + 1; stamp < first + blocks; ++stamp)
            EXPECT_TRUE(queue.append(more(stamp)));
    }

    /// Takes all there is. @return each block's time stamp and what was lost before it.
    static std::vector<std::pair<qint64, quint32>> takeAll(QueueReader &reader)
    {
        std::vector<std::pair<qint64, quint32>> taken;
        while (const auto block = reader.take())
            taken.emplace_back(block->timestamp, block->lost);
        return taken;
    }

    static void expectTheSumHolds(const LiveQueue &queue)
    {
        const LiveQueue::Figures figures = queue.figures();
        EXPECT_EQ(figures.blocks, figures.taken + figures.lost + static_cast<quint64>(figures.heldBlocks));
    }

    LiveQueue::Instant now{milliseconds(5000)};
};

using Taken = std::pair<qint64, quint32>;

TEST_F(LiveQueueTest, GivesTheBlocksInTheirOrderAndFreesThemAtOnce)
{
    LiveQueue queue(roomy, clock());
    const QByteArray bytes("coded");
    ASSERT_TRUE(queue.append({bytes, 8, true, 17, 40, 0}));
    QueueReader reader{queue};
    const auto block = reader.take();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->data.constData(), bytes.constData()) << "the bytes were copied";
    EXPECT_EQ(block->streamId, 8u);
    EXPECT_TRUE(block->keyBlock);
    EXPECT_EQ(block->timestamp, 17);
    EXPECT_EQ(block->blockTimeMs, 40);
    EXPECT_EQ(block->lost, 0u);
    EXPECT_EQ(queue.figures().heldBlocks, 1);
    EXPECT_FALSE(reader.take());
    EXPECT_EQ(queue.figures().heldBlocks, 0);
    EXPECT_EQ(queue.figures().heldBytes, 0);
    EXPECT_EQ(queue.figures().taken, 1u);
}

TEST_F(LiveQueueTest, TheOldestGroupOfPicturesGoesWhenThereAreTooManyBlocks)
{
    LiveQueue queue({6, 1000, milliseconds(400)}, clock());
    appendGroup(queue, 0, 3);
    appendGroup(queue, 3, 3);
    ASSERT_TRUE(queue.append(key(6)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{3, 3}, Taken{4, 0}, Taken{5, 0}, Taken{6, 0}));
    EXPECT_EQ(queue.figures().lost, 3u);
    EXPECT_EQ(queue.figures().peakBlocks, 6);
}

TEST_F(LiveQueueTest, AsManyGroupsGoAsTheBytesOfTheNewBlockTake)
{
    LiveQueue queue({100, 10, milliseconds(400)}, clock());
    for (qint64 stamp = 0; stamp < 5; ++stamp)
        ASSERT_TRUE(queue.append(key(stamp, 2)));
    ASSERT_TRUE(queue.append(key(5, 5)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{3, 3}, Taken{4, 0}, Taken{5, 0}));
    EXPECT_EQ(queue.figures().peakBytes, 10);
}

TEST_F(LiveQueueTest, ABlockOfAnySizeIsTakenAlone)
{
    LiveQueue queue({100, 10, milliseconds(400)}, clock());
    appendGroup(queue, 0, 3);
    ASSERT_TRUE(queue.append(key(3, 1000)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{3, 3}));
}

TEST_F(LiveQueueTest, WhereNoKeyBlockFollowsAllGoesAndOnlyAKeyBlockIsTaken)
{
    LiveQueue queue({3, 1000, milliseconds(400)}, clock());
    appendGroup(queue, 0, 3);
    EXPECT_FALSE(queue.append(more(3)));
    EXPECT_FALSE(queue.append(more(4)));
    QueueReader reader{queue};
    EXPECT_FALSE(reader.take());
    EXPECT_EQ(queue.figures().lost, 5u);
    ASSERT_TRUE(queue.append(key(5)));
    ASSERT_TRUE(queue.append(more(6)));
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{5, 5}, Taken{6, 0}));
}

TEST_F(LiveQueueTest, ABlockThatHasWaitedTooLongTakesItsGroupWithIt)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 3);
    now += milliseconds(200);
    appendGroup(queue, 3, 3);
    now += milliseconds(200);
    ASSERT_TRUE(queue.append(more(6)));
    EXPECT_EQ(queue.figures().lost, 0u);
    now += milliseconds(1);
    EXPECT_EQ(queue.figures().waitingMs, 401);
    ASSERT_TRUE(queue.append(more(7)));
    EXPECT_EQ(queue.figures().waitingMs, 201);
    QueueReader reader{queue};
    const auto block = reader.take();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->timestamp, 3);
    EXPECT_EQ(block->lost, 3u);
    EXPECT_EQ(block->latencyMs, 201);
}

TEST_F(LiveQueueTest, LateAreThoseThatASlowReaderHasLostWithTheirGroups)
{
    LiveQueue queue(roomy, clock());
    EXPECT_FALSE(queue.append(more(0))); // nobody could decode it, however fast
    appendGroup(queue, 1, 3);
    now += milliseconds(401);
    EXPECT_FALSE(queue.append(more(4)));
    EXPECT_FALSE(queue.append(more(5)));
    EXPECT_EQ(queue.figures().late, 5u);
    appendGroup(queue, 6, 2);
    EXPECT_TRUE(queue.append(end(8)));
    EXPECT_FALSE(queue.append(more(9)));
    LiveQueue::Block afterGap = key(10);
    afterGap.lostBefore = 3;
    EXPECT_TRUE(queue.append(afterGap));
    EXPECT_EQ(queue.figures().late, 5u);
    EXPECT_EQ(queue.figures().lost, 10u);
}

TEST_F(LiveQueueTest, ASlowReaderNeverFindsABlockThatWaitedLongerThanTheLimit)
{
    LiveQueue queue(roomy, clock());
    QueueReader reader{queue};
    quint64 taken = 0;
    quint64 lost = 0;
    for (int picture = 0; picture < 2000; ++picture) {
        now += milliseconds(40);
        queue.append(picture % 25 == 0 ? key(picture) : more(picture));
        // It manages one block of two.
        if (picture % 2 != 0)
            continue;
        if (const auto block = reader.take()) {
            ++taken;
            lost += block->lost;
            EXPECT_EQ(block->timestamp, static_cast<qint64>(taken + lost - 1));
            EXPECT_LE(block->latencyMs, 400);
        }
    }
    EXPECT_GT(lost, 500u);
    EXPECT_GT(taken, 500u);
    EXPECT_FALSE(queue.figures().worstLatencyMs > 400);
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueTest, ADeclinedBlockIsReadAgainWithTheSameLossWhateverWasDroppedMeanwhile)
{
    LiveQueue queue({3, 1000, milliseconds(400)}, clock());
    QueueReader reader{queue};
    appendGroup(queue, 0, 3);
    EXPECT_EQ(reader.takeStamp(), 0);
    ASSERT_TRUE(reader.look());
    appendGroup(queue, 3, 3);
    for (int time = 0; time < 2; ++time) {
        const auto again = reader.look();
        ASSERT_TRUE(again);
        EXPECT_EQ(again->timestamp, 1);
        EXPECT_EQ(again->lost, 0u);
    }
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{1, 0}, Taken{3, 1}, Taken{4, 0}, Taken{5, 0}));
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueTest, ABlockThatIsBeingDecodedDoesNotCountAsWaiting)
{
    LiveQueue queue(roomy, clock());
    QueueReader reader{queue};
    ASSERT_TRUE(queue.append(key(0)));
    EXPECT_EQ(reader.takeStamp(), 0);
    now += milliseconds(900);
    ASSERT_TRUE(queue.append(more(1)));
    EXPECT_EQ(reader.takeStamp(), 1);
}

TEST_F(LiveQueueTest, WhatTheSourceLostIsToldAndWhatFollowsIsPassedOn)
{
    LiveQueue queue(roomy, clock());
    ASSERT_TRUE(queue.append(key(0)));
    LiveQueue::Block block = more(3);
    block.lostBefore = 2;
    ASSERT_TRUE(queue.append(block));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{3, 2}));
    EXPECT_EQ(queue.figures().lost, 2u);
    EXPECT_EQ(queue.figures().blocks, 4u);
}

TEST_F(LiveQueueTest, TheSourcesLossesAndTheQueuesAddUp)
{
    LiveQueue queue({2, 1000, milliseconds(400)}, clock());
    LiveQueue::Block block = key(2);
    block.lostBefore = 2;
    ASSERT_TRUE(queue.append(block));
    ASSERT_TRUE(queue.append(more(3)));
    block = more(7);
    block.lostBefore = 3;
    EXPECT_FALSE(queue.append(block));
    ASSERT_TRUE(queue.append(key(8)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{8, 8}));
}

TEST_F(LiveQueueTest, AtTheBeginningAndBehindAnEmptyBlockOnlyAKeyBlockIsTaken)
{
    LiveQueue queue(roomy, clock());
    EXPECT_FALSE(queue.append(more(0)));
    appendGroup(queue, 1, 2);
    ASSERT_TRUE(queue.append(end(3)));
    EXPECT_FALSE(queue.append(more(4)));
    ASSERT_TRUE(queue.append(key(5)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{1, 1}, Taken{2, 0}, Taken{3, 0}, Taken{5, 1}));
}

TEST_F(LiveQueueTest, BehindAnEmptyBlockOnlyAKeyBlockIsTakenAlsoWhenRoomHadToBeMade)
{
    LiveQueue queue({4, 1000, milliseconds(400)}, clock());
    appendGroup(queue, 0, 2);
    appendGroup(queue, 2, 2);
    ASSERT_TRUE(queue.append(end(4)));
    EXPECT_FALSE(queue.append(more(5)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{2, 2}, Taken{3, 0}, Taken{4, 0}));
}

TEST_F(LiveQueueTest, AnEmptyBlockOutlivesThePicturesAroundIt)
{
    LiveQueue queue({4, 1000, milliseconds(400)}, clock());
    QueueReader reader{queue};
    appendGroup(queue, 0, 2);
    EXPECT_EQ(reader.takeStamp(), 0);
    ASSERT_TRUE(queue.append(end(2)));
    appendGroup(queue, 3, 4);
    // Now the blocks 1 and 3 to 6 are dropped for the next one.
    ASSERT_TRUE(queue.append(key(7)));
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{2, 1}, Taken{7, 4}));
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueTest, OfEmptyBlocksWithNothingLeftBetweenOneIsKept)
{
    LiveQueue queue({2, 1000, milliseconds(400)}, clock());
    QueueReader reader{queue};
    ASSERT_TRUE(queue.append(key(0)));
    EXPECT_EQ(reader.takeStamp(), 0);
    ASSERT_TRUE(queue.append(end(1)));
    appendGroup(queue, 2, 2);
    ASSERT_TRUE(queue.append(end(4)));
    EXPECT_FALSE(queue.append(end(99))) << "an empty block behind an empty one says nothing";
    ASSERT_TRUE(queue.append(key(5)));
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{4, 3}, Taken{5, 0}));
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueTest, AnEmptyBlockIsTakenByAFullQueueAndBeforeAnythingElseItSaysNothing)
{
    LiveQueue queue({2, 1000, milliseconds(400)}, clock());
    EXPECT_FALSE(queue.append(end(99)));
    appendGroup(queue, 0, 2);
    ASSERT_TRUE(queue.append(end(2)));
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{1, 0}, Taken{2, 0}));
    EXPECT_FALSE(queue.append(end(99)));
}

TEST_F(LiveQueueTest, AnEmptyBlockComesAlsoWhenAllBeforeItWasDropped)
{
    LiveQueue queue({2, 1000, milliseconds(400)}, clock());
    QueueReader reader{queue};
    appendGroup(queue, 0, 2);
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), 1);
    appendGroup(queue, 2, 2);
    EXPECT_FALSE(queue.append(more(4)));
    ASSERT_TRUE(queue.append(end(5)));
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{5, 3}));
}

TEST_F(LiveQueueTest, AReaderThatFollowsAnotherBeginsAtTheOldestKeyBlock)
{
    LiveQueue queue(roomy, clock());
    QueueReader former{queue};
    appendGroup(queue, 0, 4);
    appendGroup(queue, 4, 2);
    EXPECT_EQ(former.takeStamp(), 0);
    EXPECT_EQ(former.takeStamp(), 1);
    QueueReader reader{queue};
    // The former reader never came back for more than the second block.
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{4, 3}, Taken{5, 0}));
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueTest, AFreshReaderMayDeclineItsFirstBlock)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 2);
    QueueReader reader{queue};
    EXPECT_EQ(reader.look()->timestamp, 0);
    EXPECT_EQ(reader.look()->timestamp, 0);
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{1, 0}));
}

TEST_F(LiveQueueTest, TheSlowerOfTwoReadersGoesOnAtAKeyBlock)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 4);
    appendGroup(queue, 4, 2);
    QueueReader slow{queue};
    EXPECT_EQ(slow.takeStamp(), 0);
    QueueReader fast = slow;
    for (qint64 stamp = 1; stamp < 4; ++stamp)
        EXPECT_EQ(fast.takeStamp(), stamp);
    const auto block = slow.take();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->timestamp, 4);
    EXPECT_EQ(block->lost, 3u);
    EXPECT_EQ(fast.takeStamp(), 4);
}

TEST_F(LiveQueueTest, ACursorFromNowhereGoesOnAtAKeyBlock)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 2);
    for (const quint32 word1 : {1u, 0xffffffffu}) {
        QueueReader nonsense{queue, {7, word1, false}};
        EXPECT_EQ(nonsense.look()->timestamp, 0);
    }
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{1, 0}));
}

TEST_F(LiveQueueTest, LatencyIsTheTimeSinceTheAppend)
{
    LiveQueue queue(roomy, clock());
    QueueReader reader{queue};
    for (const int waitedMs : {30, 250, 0}) {
        ASSERT_TRUE(queue.append(key(0)));
        now += milliseconds(waitedMs);
        EXPECT_EQ(reader.take()->latencyMs, waitedMs);
    }
    EXPECT_FALSE(reader.take());
    EXPECT_EQ(queue.figures().latencyMs, 0);
    EXPECT_EQ(queue.figures().latencySumMs, 280);
    EXPECT_EQ(queue.figures().worstLatencyMs, 250);
}

TEST_F(LiveQueueTest, ClosedItTakesAndGivesNothing)
{
    LiveQueue queue(roomy, clock());
    ASSERT_TRUE(queue.append(key(0)));
    queue.close();
    EXPECT_FALSE(queue.append(key(1)));
    QueueReader reader{queue};
    EXPECT_FALSE(reader.take());
}

TEST_F(LiveQueueTest, EndedItIsDrainedOnceTheReaderCameBackAfterTheLastBlock)
{
    LiveQueue queue(roomy, clock());
    QueueReader reader{queue};
    ASSERT_TRUE(queue.append(key(0)));
    queue.end();
    EXPECT_FALSE(queue.append(key(1)));
    EXPECT_FALSE(queue.isDrained());
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_FALSE(queue.isDrained());
    EXPECT_FALSE(reader.take());
    EXPECT_TRUE(queue.isDrained());
}

TEST_F(LiveQueueTest, EveryBlockIsEitherReadOrToldAsLostWhateverHappens)
{
    std::mt19937_64 random(testSeed());
    const auto chance = [&random](int percent) { return static_cast<int>(random() % 100) < percent; };
    for (int run = 0; run < 300; ++run) {
        LiveQueue queue({2 + static_cast<int>(random() % 30), 20 + static_cast<qint64>(random() % 200),
                         milliseconds(20 + random() % 400)},
                        clock());
        QueueReader reader{queue};
        const int keyPercent = run % 5 == 0 ? 100 : 10;
        const int readPercent = static_cast<int>(random() % 100);
        qint64 stamp = 0; // of the next block
        quint64 accounted = 0;
        bool inGroup = false; // the reader has a key block and has missed nothing since, but for what the source missed
        for (int step = 0; step < 400; ++step) {
            now += milliseconds(random() % 20);
            LiveQueue::Block block = chance(keyPercent) ? key(stamp, 1 + static_cast<int>(random() % 20)) : more(stamp);
            if (chance(4))
                block = end(stamp);
            else if (chance(5))
                block.lostBefore = static_cast<quint32>(random() % 4);
            block.timestamp = stamp + block.lostBefore;
            queue.append(block);
            stamp = static_cast<qint64>(queue.figures().blocks);
            while (chance(readPercent)) {
                const auto looked = reader.look();
                if (!looked)
                    break;
                if (chance(20)) {
                    EXPECT_EQ(reader.look()->timestamp, looked->timestamp);
                    EXPECT_EQ(reader.look()->lost, looked->lost);
                    continue;
                }
                reader.cursor = looked->cursor;
                accounted += looked->lost + 1;
                ASSERT_EQ(static_cast<quint64>(looked->timestamp) + 1, accounted) << "run " << run;
                const bool empty = looked->data.isEmpty();
                ASSERT_TRUE(inGroup || looked->keyBlock || empty) << "run " << run << " block " << looked->timestamp;
                ASSERT_TRUE(looked->lost <= 3 || looked->keyBlock || empty);
                inGroup = !empty;
            }
            expectTheSumHolds(queue);
        }
        queue.end();
        for (const auto &[last, lost] : takeAll(reader)) {
            accounted += lost + 1;
            ASSERT_EQ(static_cast<quint64>(last) + 1, accounted);
        }
        const LiveQueue::Figures figures = queue.figures();
        EXPECT_EQ(figures.taken + figures.lost, figures.blocks);
        EXPECT_EQ(figures.heldBlocks, 0);
        EXPECT_EQ(figures.heldBytes, 0);
        EXPECT_TRUE(queue.isDrained());
    }
}

} // namespace
