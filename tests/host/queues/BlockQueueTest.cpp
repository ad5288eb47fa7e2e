#include "queues/BlockQueue.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "Eventually.h"
#include "QueueReader.h"
#include "StampedBlocks.h"
#include <gmock/gmock.h>

namespace {

/// An append on a thread of its own, which is expected to wait.
struct WaitingAppend {
    WaitingAppend(BlockQueue &queue, const BlockQueue::Block &block)
        : result(std::async(std::launch::async, [&queue, block] { return queue.append(block); }))
    {
    }

    bool isWaiting(std::chrono::milliseconds forMs = std::chrono::milliseconds(50))
    {
        return result.wait_for(forMs) == std::future_status::timeout;
    }

    std::future<bool> result;
};

TEST(BlockQueue, ABlockComesOutAsItWentIn)
{
    BlockQueue queue(1, roomy);
    const QByteArray data("abc");
    ASSERT_TRUE(queue.append({data, 8, true, -7, 1234}));
    const auto block = QueueReader{queue}.take();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->data, data);
    EXPECT_EQ(block->data.constData(), data.constData()) << "the bytes were copied";
    EXPECT_EQ(block->streamId, 8u);
    EXPECT_TRUE(block->keyBlock);
    EXPECT_EQ(block->timestamp, -7);
    EXPECT_EQ(block->blockTimeMs, 1234);
    EXPECT_EQ(block->lost, 0u);
}

TEST(BlockQueue, AnEmptyQueueLeavesEverythingUntouched)
{
    BlockQueue queue(1, roomy);
    QByteArray data("before");
    quint32 streamId = 5, lost = 6;
    bool keyBlock = true;
    qint64 timestamp = 7, blockTime = 8, latency = 9;
    QueueCursor cursor;
    EXPECT_FALSE(queue.readBlock(&data, &streamId, &keyBlock, &timestamp, &blockTime, &cursor, nullptr, nullptr, &lost,
                                 &latency));
    EXPECT_EQ(data, "before");
    EXPECT_EQ(streamId, 5u);
    EXPECT_TRUE(keyBlock);
    EXPECT_EQ(timestamp, 7);
    EXPECT_EQ(blockTime, 8);
    EXPECT_EQ(lost, 6u);
    EXPECT_EQ(latency, 9);
    EXPECT_TRUE(cursor.flag);
    EXPECT_EQ(cursor.word0, 0u);
    EXPECT_EQ(cursor.word1, 0u);
}

TEST(BlockQueue, BlocksComeInOrderPastTheWrapOfSequenceNumbers)
{
    BlockQueue queue(1, {10, 1000});
    QueueReader reader{queue};
    bool wrapped = false;
    for (qint64 stamp = 0; stamp < 500; ++stamp) {
        ASSERT_TRUE(queue.append(stamped(stamp)));
        const quint32 before = reader.cursor.word0;
        ASSERT_EQ(reader.takeStamp(), stamp);
        wrapped = wrapped || (stamp > 0 && reader.cursor.word0 < before);
        ASSERT_EQ(reader.takeStamp(), -1);
    }
    EXPECT_TRUE(wrapped);
    EXPECT_EQ(queue.figures().peakBlocks, 1);
}

TEST(BlockQueue, TwoReadersAtBothSidesOfTheWrapGetEveryBlock)
{
    BlockQueue queue(2, roomy);
    appendStamps(queue, 0, 199);
    QueueReader ahead{queue};
    QueueReader behind{queue};
    for (qint64 stamp = 0; stamp < 200; ++stamp)
        ASSERT_EQ(ahead.takeStamp(), stamp);
    for (qint64 stamp = 0; stamp < 200; ++stamp)
        ASSERT_EQ(behind.takeStamp(), stamp);
}

TEST(BlockQueue, LatencyIsTheTimeSinceTheBlockCame)
{
    BlockQueue queue(1, roomy);
    const auto before = std::chrono::steady_clock::now();
    ASSERT_TRUE(queue.append(stamped(0)));
    const QueueReader reader{queue};
    const auto passedMs = [before] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count();
    };
    EXPECT_LE(reader.look()->latencyMs, passedMs());
    ASSERT_TRUE(eventually([&] { return reader.look()->latencyMs >= 20; }));
    EXPECT_GE(passedMs(), 20);
}

TEST(BlockQueue, FiguresHoldTheLatencyOfTheReadsThatWereKept)
{
    BlockQueue queue(1, roomy);
    appendStamps(queue, 0, 1);
    QueueReader reader{queue};
    ASSERT_TRUE(eventually([&] { return reader.look()->latencyMs >= 20; }));
    const auto first = reader.take();
    const auto second = reader.take();
    EXPECT_EQ(queue.figures().reads, 1u) << "the second may be declined yet";
    ASSERT_FALSE(reader.take());
    const BlockQueue::Figures figures = queue.figures();
    EXPECT_EQ(figures.reads, 2u);
    EXPECT_EQ(figures.latencySumMs, first->latencyMs + second->latencyMs);
    EXPECT_EQ(figures.maxLatencyMs, std::max(first->latencyMs, second->latencyMs));
}

TEST(BlockQueue, ABlockIsKeptUntilItsReaderReadsOnPastIt)
{
    BlockQueue queue(1, {1, 1000});
    ASSERT_TRUE(queue.append(stamped(0)));
    WaitingAppend next(queue, stamped(1));
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_TRUE(next.isWaiting()) << "the block that was read last may be declined yet";
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_TRUE(next.result.get());
    EXPECT_EQ(reader.takeStamp(), 1);
}

TEST(BlockQueue, ADeclinedBlockIsReadAgain)
{
    BlockQueue queue(1, roomy);
    appendStamps(queue, 0, 2);
    QueueReader reader{queue};
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(reader.look()->timestamp, 0);
    EXPECT_EQ(reader.takeStamp(), 0);
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(reader.look()->timestamp, 1);
    EXPECT_EQ(reader.takeStamp(), 1);
    EXPECT_EQ(reader.takeStamp(), 2);
}

TEST(BlockQueue, DecliningTheFirstBlockTakesNoReadersPlace)
{
    BlockQueue queue(2, {3, 1000});
    appendStamps(queue, 0, 2);
    QueueReader paced{queue};
    for (int time = 0; time < 1000; ++time)
        ASSERT_EQ(paced.look()->timestamp, 0);
    QueueReader other{queue};
    WaitingAppend next(queue, stamped(3));
    for (qint64 stamp = 0; stamp < 3; ++stamp)
        EXPECT_EQ(other.takeStamp(), stamp);
    EXPECT_EQ(other.takeStamp(), -1);
    EXPECT_TRUE(next.isWaiting()) << "blocks went although the paced reader has taken none";
    for (qint64 stamp = 0; stamp < 3; ++stamp)
        EXPECT_EQ(paced.takeStamp(), stamp);
    EXPECT_TRUE(next.result.get()) << "a declined first read took the paced reader's place";
}

TEST(BlockQueue, AReaderDisposedOfAfterItsFirstBlockIsReplaced)
{
    BlockQueue queue(1, {2, 1000});
    appendStamps(queue, 0, 1);
    EXPECT_EQ(QueueReader{queue}.takeStamp(), 0);
    QueueReader successor{queue};
    WaitingAppend next(queue, stamped(2));
    EXPECT_EQ(successor.takeStamp(), 0);
    EXPECT_EQ(successor.takeStamp(), 1);
    EXPECT_TRUE(next.result.get());
    EXPECT_EQ(successor.takeStamp(), 2);
}

TEST(BlockQueue, NothingGoesBeforeEveryReaderHasCome)
{
    BlockQueue queue(2, {2, 1000});
    appendStamps(queue, 0, 1);
    QueueReader first{queue};
    EXPECT_EQ(first.takeStamp(), 0);
    EXPECT_EQ(first.takeStamp(), 1);
    EXPECT_EQ(first.takeStamp(), -1);
    WaitingAppend next(queue, stamped(2));
    EXPECT_TRUE(next.isWaiting());
    QueueReader second{queue};
    EXPECT_EQ(second.takeStamp(), 0);
    EXPECT_EQ(second.takeStamp(), 1);
    EXPECT_TRUE(next.result.get());
}

TEST(BlockQueue, AppendWaitsAtTheLimitOfBytes)
{
    BlockQueue queue(1, {100, 10});
    ASSERT_TRUE(queue.append(stamped(0, 6)));
    ASSERT_TRUE(queue.append(stamped(1, 4)));
    WaitingAppend next(queue, stamped(2, 1));
    EXPECT_TRUE(next.isWaiting());
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), 1);
    EXPECT_TRUE(next.result.get());
    EXPECT_EQ(queue.figures().peakBytes, 10);
    EXPECT_EQ(queue.figures().bytes, 11u);
    EXPECT_EQ(queue.figures().blocks, 3u);
}

TEST(BlockQueue, AppendThatWaitsIsWokenOnceForManyBlocks)
{
    BlockQueue queue(1, {8, 1000});
    appendStamps(queue, 0, 7);
    WaitingAppend next(queue, stamped(8));
    EXPECT_TRUE(next.isWaiting());
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), 1);
    EXPECT_TRUE(next.isWaiting()) << "seven are held";
    EXPECT_EQ(reader.takeStamp(), 2);
    EXPECT_TRUE(next.result.get());
}

TEST(BlockQueue, ABlockLargerThanTheLimitPassesAlone)
{
    BlockQueue queue(1, {100, 10});
    ASSERT_TRUE(queue.append(stamped(0, 1)));
    WaitingAppend large(queue, stamped(1, 1000));
    EXPECT_TRUE(large.isWaiting());
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_TRUE(large.result.get());
    EXPECT_EQ(reader.takeStamp(), 1);
    EXPECT_EQ(queue.figures().peakBytes, 1000);
}

TEST(BlockQueue, EmptyBlocksDoNotWait)
{
    BlockQueue queue(1, {1, 10});
    ASSERT_TRUE(queue.append(stamped(0)));
    EXPECT_TRUE(queue.append({QByteArray(), 0, false, 0, 0}));
    QueueReader reader{queue};
    EXPECT_FALSE(reader.take()->data.isEmpty());
    EXPECT_TRUE(reader.take()->data.isEmpty());
}

TEST(BlockQueue, TellsNoReaderOfLossesAfterMoreBlocksThanItsCursorsCanCount)
{
    BlockQueue queue(2, roomy, {}, quint64(1) << 32);
    appendStamps(queue, 0, 2);
    QueueReader ahead{queue};
    QueueReader behind{queue};
    EXPECT_EQ(behind.takeStamp(), 0);
    for (qint64 stamp = 0; stamp <= 2; ++stamp) {
        const auto block = ahead.take();
        ASSERT_TRUE(block);
        EXPECT_EQ(block->timestamp, stamp);
        EXPECT_EQ(block->lost, 0U) << "the oldest block is before it, and held";
    }
}

TEST(BlockQueue, CloseWakesAppendAndEndsReading)
{
    BlockQueue queue(1, {1, 10});
    ASSERT_TRUE(queue.append(stamped(0)));
    WaitingAppend next(queue, stamped(1));
    EXPECT_TRUE(next.isWaiting());
    queue.close();
    EXPECT_FALSE(next.result.get());
    EXPECT_FALSE(queue.append({QByteArray(), 0, false, 0, 0}));
    EXPECT_FALSE(QueueReader{queue}.take());
}

TEST(BlockQueue, CutShortItTakesOnlyTheEndsOfStreams)
{
    BlockQueue queue(1, {1, 10});
    ASSERT_TRUE(queue.append(stamped(0)));
    WaitingAppend next(queue, stamped(1));
    EXPECT_TRUE(next.isWaiting());
    queue.cutShort();
    EXPECT_FALSE(next.result.get());
    EXPECT_TRUE(queue.append({QByteArray(), 0, false, 0, 0}));
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_TRUE(reader.take()->data.isEmpty());
}

TEST(BlockQueue, IsDrainedWhenEveryReaderCameBackAfterTheLastBlock)
{
    BlockQueue queue(2, roomy);
    appendStamps(queue, 0, 0);
    QueueReader first{queue};
    QueueReader second{queue};
    EXPECT_EQ(first.takeStamp(), 0);
    EXPECT_EQ(first.takeStamp(), -1);
    EXPECT_EQ(second.takeStamp(), 0);
    queue.end();
    EXPECT_FALSE(queue.append(stamped(1)));
    EXPECT_FALSE(queue.isDrained() || queue.isEmpty()) << "the second reader may still decode it";
    EXPECT_EQ(second.takeStamp(), -1);
    EXPECT_TRUE(queue.isDrained() && queue.isEmpty());
}

TEST(BlockQueue, IsNotDrainedBeforeItsEnd)
{
    BlockQueue queue(1, roomy);
    EXPECT_FALSE(queue.isDrained());
    EXPECT_TRUE(queue.isEmpty());
    queue.end();
    EXPECT_TRUE(queue.isDrained());
}

TEST(BlockQueue, TwoReadersAndAWriterOnThreadsMeetWithinTheLimits)
{
    constexpr qint64 count = 20'000;
    BlockQueue queue(2, {16, 100});
    std::thread writer([&queue] {
        for (qint64 stamp = 0; stamp < count; ++stamp)
            ASSERT_TRUE(queue.append(stamped(stamp, 1 + static_cast<int>(stamp % 30))));
        queue.end();
    });
    const auto readAll = [&queue](int declineEvery) {
        QueueReader reader{queue};
        for (qint64 stamp = 0; stamp < count;) {
            const auto block = reader.look();
            if (!block) {
                std::this_thread::yield();
                continue;
            }
            ASSERT_EQ(block->timestamp, stamp);
            ASSERT_EQ(block->data.size(), 1 + stamp % 30);
            if (stamp % declineEvery == 0) {
                ASSERT_EQ(reader.look()->timestamp, stamp);
            }
            reader.cursor = block->cursor;
            ++stamp;
        }
        ASSERT_FALSE(reader.take());
    };
    std::thread secondReader(readAll, 7);
    readAll(3);
    secondReader.join();
    writer.join();
    EXPECT_TRUE(queue.isDrained());
    EXPECT_LE(queue.figures().peakBlocks, 16);
    EXPECT_LE(queue.figures().peakBytes, 100);
    EXPECT_GT(queue.figures().peakBlocks, 0);
    EXPECT_EQ(queue.figures().blocks, static_cast<quint64>(count));
}

} // namespace
