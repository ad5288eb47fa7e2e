#include <random>

#include "LiveQueueFixture.h"
#include "fakes/RecordedMessages.h"
#include "fakes/TestSeed.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

using LiveQueueReaderTest = LiveQueueFixture;

TEST_F(LiveQueueReaderTest, AReaderThatFollowsAnotherBeginsAtTheOldestKeyBlock)
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

TEST_F(LiveQueueReaderTest, AFreshReaderMayDeclineItsFirstBlock)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 2);
    QueueReader reader{queue};
    EXPECT_EQ(reader.look()->timestamp, 0);
    EXPECT_EQ(reader.look()->timestamp, 0);
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{1, 0}));
}

TEST_F(LiveQueueReaderTest, OnceAnotherHasBegunAReaderGetsNothingMoreAndAWarningSaysSo)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 4);
    QueueReader first{queue};
    QueueReader second{queue};
    RecordedMessages messages;
    EXPECT_EQ(first.takeStamp(), 0);
    EXPECT_EQ(second.takeStamp(), 0);
    EXPECT_THAT(messages.take(), ElementsAre());
    EXPECT_FALSE(first.take());
    EXPECT_FALSE(first.take());
    EXPECT_THAT(messages.take(), ElementsAre(testing::AllOf(testing::StartsWith("warning: Two decoders read one"),
                                                            testing::HasSubstr("each needs a queue of its own"))));
    EXPECT_THAT(takeAll(second), ElementsAre(Taken{1, 0}, Taken{2, 0}, Taken{3, 0}));
    expectTheSumHolds(queue);
}

TEST_F(LiveQueueReaderTest, ReadersThatFollowEachOtherNeedNoWarning)
{
    LiveQueue queue(roomy, clock());
    RecordedMessages messages;
    int served = 0;
    for (qint64 stamp = 0; stamp < 70'000; ++stamp) { // more than there are tickets
        queue.append(key(stamp));
        QueueReader reader{queue};
        const bool isDeclined = stamp % 2 == 0 && reader.look();
        served += reader.takeStamp() == stamp && !reader.take() && (isDeclined || stamp % 2 != 0) ? 1 : 0;
    }
    EXPECT_EQ(served, 70'000);
    EXPECT_THAT(messages.take(), ElementsAre());
    EXPECT_EQ(queue.figures().taken, 70'000u);
}

TEST_F(LiveQueueReaderTest, TheSlowerOfTwoCopiesOfACursorGoesOnAtAKeyBlock)
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

TEST_F(LiveQueueReaderTest, ACursorFromNowhereGoesOnAtAKeyBlock)
{
    LiveQueue queue(roomy, clock());
    appendGroup(queue, 0, 2);
    for (const quint32 word1 : {1u, 0x10001u, 0xffffffffu}) {
        const auto block = QueueReader{queue, {7, word1, false}}.look();
        ASSERT_TRUE(block);
        EXPECT_EQ(block->timestamp, 0);
    }
    QueueReader reader{queue};
    EXPECT_THAT(takeAll(reader), ElementsAre(Taken{0, 0}, Taken{1, 0}));
}

TEST_F(LiveQueueReaderTest, LatencyIsTheTimeSinceTheAppend)
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

TEST_F(LiveQueueReaderTest, ClosedItTakesAndGivesNothing)
{
    LiveQueue queue(roomy, clock());
    ASSERT_TRUE(queue.append(key(0)));
    queue.close();
    EXPECT_FALSE(queue.append(key(1)));
    QueueReader reader{queue};
    EXPECT_FALSE(reader.take());
}

TEST_F(LiveQueueReaderTest, EndedItIsDrainedOnceTheReaderCameBackAfterTheLastBlock)
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

TEST_F(LiveQueueReaderTest, EveryBlockIsEitherReadOrReportedAsLostWhateverHappens)
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
        // The reader has a key block and has missed nothing since, except for what the source missed.
        bool inGroup = false;
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
