#include "queues/GatedQueue.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "QueueReader.h"
#include "fakes/FakeInputQueue.h"
#include "queues/BlockQueue.h"
#include "queues/LiveQueue.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

FakeInputQueue::Block block(qint64 stamp, bool keyBlock, quint32 lost = 0)
{
    FakeInputQueue::Block made;
    made.data = keyBlock ? "key" : "more";
    made.keyBlock = keyBlock;
    made.timestamp = stamp;
    made.blockTime = stamp * 40;
    made.streamId = 8;
    made.lost = lost;
    made.latency = stamp + 100;
    return made;
}

FakeInputQueue::Block endOfStream(qint64 stamp, quint32 lost = 0)
{
    FakeInputQueue::Block made = block(stamp, false, lost);
    made.data.clear();
    return made;
}

class GatedQueueTest : public testing::Test {
protected:
    const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    CallLog log;
    const ModkitPtr<FakeInputQueue> inner{new FakeInputQueue(&log)};
};

void expectUntouched(IInputQueue &queue)
{
    QByteArray data("before");
    quint32 streamId = 5;
    quint32 lost = 6;
    bool keyBlock = true;
    qint64 timestamp = 7;
    qint64 blockTime = 8;
    qint64 latency = 9;
    QueueCursor cursor;
    EXPECT_FALSE(queue.readBlock(&data, &streamId, &keyBlock, &timestamp, &blockTime, &cursor, nullptr, nullptr, &lost,
                                 &latency));
    EXPECT_EQ(data, "before");
    EXPECT_EQ(streamId, 5U);
    EXPECT_EQ(lost, 6U);
    EXPECT_TRUE(keyBlock);
    EXPECT_EQ(timestamp, 7);
    EXPECT_EQ(blockTime, 8);
    EXPECT_EQ(latency, 9);
    EXPECT_EQ(cursor.word0, 0U);
    EXPECT_EQ(cursor.word1, 0U);
    EXPECT_TRUE(cursor.flag);
}

} // namespace

TEST_F(GatedQueueTest, PassesEveryBlockOnAsItIs)
{
    inner->append(block(1, false, 3));
    inner->append(block(2, true));
    for (const bool keyBlocksOnly : {false, true}) {
        GatedQueue queue(inner, gate, keyBlocksOnly);
        QueueReader reader{queue};
        if (!keyBlocksOnly) {
            const auto first = reader.take();
            ASSERT_TRUE(first);
            EXPECT_EQ(first->timestamp, 1);
            EXPECT_FALSE(first->keyBlock);
            EXPECT_EQ(first->lost, 3U);
        }
        const auto second = reader.take();
        ASSERT_TRUE(second);
        EXPECT_EQ(second->data, "key");
        EXPECT_EQ(second->streamId, 8U);
        EXPECT_TRUE(second->keyBlock);
        EXPECT_EQ(second->timestamp, 2);
        EXPECT_EQ(second->blockTimeMs, 80);
        EXPECT_EQ(second->lost, keyBlocksOnly ? 3U : 0U);
        EXPECT_EQ(second->latencyMs, 102);
        EXPECT_EQ(reader.takeStamp(), -1);
    }
}

TEST_F(GatedQueueTest, FindsNothingWhileTheGateIsClosedAndLeavesTheOtherQueueAlone)
{
    inner->append(block(1, true));
    for (const bool keyBlocksOnly : {false, true}) {
        GatedQueue queue(inner, gate, keyBlocksOnly);
        gate->close();
        expectUntouched(queue);
        EXPECT_TRUE(log.take().empty());
        gate->open();
        EXPECT_EQ(QueueReader{queue}.takeStamp(), 1);
        log.take();
    }
}

TEST_F(GatedQueueTest, LeavesEverythingUntouchedWhereItHasPassedOverAllThereIs)
{
    inner->append(block(1, false));
    inner->append(block(2, false));
    GatedQueue queue(inner, gate, true);
    expectUntouched(queue);
    EXPECT_THAT(log.take(), ElementsAre("read 0", "read 1", "read none"));
}

TEST_F(GatedQueueTest, PassesOverAllButKeyBlocksAndEmptyOnes)
{
    for (const auto &one : {block(1, false), block(2, true), block(3, false), endOfStream(4), block(5, true)})
        inner->append(one);
    GatedQueue queue(inner, gate, true);
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 2);
    EXPECT_EQ(reader.takeStamp(), 4);
    EXPECT_EQ(reader.takeStamp(), 5);
    EXPECT_EQ(reader.takeStamp(), -1);
}

TEST_F(GatedQueueTest, GoesOnBehindWhatItHasPassedAlthoughTheDecoderKeepsItsCursor)
{
    inner->append(block(1, true));
    GatedQueue queue(inner, gate, true);
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 1);
    inner->append(block(2, false));
    inner->append(block(3, false));
    EXPECT_EQ(reader.takeStamp(), -1);
    log.take();
    EXPECT_EQ(reader.takeStamp(), -1);
    inner->append(block(4, true));
    EXPECT_EQ(reader.takeStamp(), 4);
    EXPECT_THAT(log.take(), ElementsAre("read none", "read 3"));
}

TEST_F(GatedQueueTest, GivesTheSameBlockAgainToADecoderThatDeclinesIt)
{
    inner->append(block(1, false, 2));
    inner->append(block(2, true, 5));
    GatedQueue queue(inner, gate, true);
    QueueReader reader{queue};
    for (int round = 0; round < 3; ++round) {
        const auto seen = reader.look();
        ASSERT_TRUE(seen);
        EXPECT_EQ(seen->timestamp, 2);
        EXPECT_EQ(seen->lost, 7U);
    }
    EXPECT_EQ(reader.takeStamp(), 2);
    EXPECT_EQ(reader.takeStamp(), -1);
}

TEST_F(GatedQueueTest, ReadsAgainWhatComesAfterAnOldCursor)
{
    for (const auto &one : {block(1, true), block(2, false), block(3, true), block(4, false)})
        inner->append(one);
    GatedQueue queue(inner, gate, true);
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 1);
    const QueueCursor old = reader.cursor;
    EXPECT_EQ(reader.takeStamp(), 3);
    EXPECT_EQ(reader.takeStamp(), -1);
    QueueReader again{queue, old};
    EXPECT_EQ(again.takeStamp(), 3);
    inner->append(block(5, true));
    EXPECT_EQ(again.takeStamp(), 5);
    EXPECT_EQ(reader.takeStamp(), 5);
}

TEST_F(GatedQueueTest, TellsOfWhatWasLostBeforePassedBlocksOnce)
{
    for (const auto &one : {block(1, true, 1), block(2, false, 2), block(3, false, 4)})
        inner->append(one);
    GatedQueue queue(inner, gate, true);
    QueueReader reader{queue};
    EXPECT_EQ(reader.take()->lost, 1U);
    EXPECT_FALSE(reader.take());
    inner->append(block(4, false, 8));
    EXPECT_FALSE(reader.take());
    inner->append(endOfStream(5, 16));
    inner->append(block(6, true, 32));
    EXPECT_EQ(reader.take()->lost, 30U);
    EXPECT_EQ(reader.take()->lost, 32U);
}

TEST_F(GatedQueueTest, KnowsWhetherItWasReadAlsoWhereNothingWasFound)
{
    GatedQueue queue(inner, gate, false);
    EXPECT_FALSE(queue.wasRead());
    // Not before the other queue has answered: a source that begins meanwhile would be found.
    inner->duringRead = [&queue] { EXPECT_FALSE(queue.wasRead()); };
    EXPECT_FALSE(QueueReader{queue}.take());
    EXPECT_TRUE(queue.wasRead());

    GatedQueue closed(inner, gate, true);
    gate->close();
    EXPECT_FALSE(QueueReader{closed}.take());
    EXPECT_TRUE(closed.wasRead());
}

TEST_F(GatedQueueTest, ABlockQueueLetsGoOfWhatIsPassedOver)
{
    const ModkitPtr<BlockQueue> blocks(new BlockQueue(1, {3, 1000}));
    GatedQueue queue(blocks, gate, true);
    QueueReader reader{queue};
    std::atomic<bool> isAppended{true};
    std::thread writer([&] {
        for (qint64 stamp = 1; stamp <= 40; ++stamp)
            isAppended = isAppended && blocks->append({QByteArray("x"), 0, stamp % 20 == 0, stamp, 0});
        blocks->end();
    });
    // The fresh cursor stands before all the passed ones, of which the queue cannot hold as many.
    std::vector<qint64> stamps;
    while (!blocks->isDrained()) {
        if (const auto found = reader.take())
            stamps.push_back(found->timestamp);
    }
    writer.join();
    EXPECT_TRUE(isAppended);
    EXPECT_THAT(stamps, ElementsAre(20, 40));
}

TEST_F(GatedQueueTest, ALiveQueueCountsPassedBlocksAsTakenAndTellsTheLostOnes)
{
    const ModkitPtr<LiveQueue> blocks(new LiveQueue(LiveQueue::Limits()));
    GatedQueue queue(blocks, gate, true);
    QueueReader reader{queue};
    EXPECT_TRUE(blocks->append({"k", 0, true, 1, 0, 0}));
    EXPECT_TRUE(blocks->append({"m", 0, false, 2, 0, 0}));
    EXPECT_TRUE(blocks->append({"m", 0, false, 3, 0, 4}));
    EXPECT_EQ(reader.takeStamp(), 1);
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_EQ(blocks->figures().taken, 3U);
    EXPECT_TRUE(blocks->append({"k", 0, true, 4, 0, 1}));
    const auto next = reader.take();
    ASSERT_TRUE(next);
    EXPECT_EQ(next->timestamp, 4);
    EXPECT_EQ(next->lost, 5U);

    // Another decoder follows, and misses nothing that the first one has read.
    EXPECT_TRUE(blocks->append({"k", 0, true, 5, 0, 0}));
    EXPECT_EQ(reader.takeStamp(), 5);
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_TRUE(blocks->append({"k", 0, true, 6, 0, 0}));
    const auto first = QueueReader{queue}.take();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->timestamp, 6);
    EXPECT_EQ(first->lost, 0U);
}
