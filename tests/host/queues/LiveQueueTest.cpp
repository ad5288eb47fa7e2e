#include "LiveQueueFixture.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

using LiveQueueTest = LiveQueueFixture;

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

TEST_F(LiveQueueTest, WhatTheSourceLostIsReportedAndWhatFollowsIsPassedOn)
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

} // namespace
