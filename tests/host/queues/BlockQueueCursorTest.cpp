#include "QueueReader.h"
#include "StampedBlocks.h"
#include "queues/BlockQueue.h"
#include <gmock/gmock.h>

TEST(BlockQueueCursor, AnOldCursorReadsTheSameBlockWhileItIsKept)
{
    BlockQueue queue(2, roomy);
    appendStamps(queue, 0, 4);
    QueueReader slow{queue};
    QueueReader reader{queue};
    EXPECT_EQ(slow.takeStamp(), 0);
    EXPECT_EQ(slow.takeStamp(), 1);
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), 1);
    const QueueReader old = reader;
    EXPECT_EQ(reader.takeStamp(), 2);
    EXPECT_EQ(reader.takeStamp(), 3);
    EXPECT_EQ(old.look()->timestamp, 2);
    EXPECT_EQ(old.look()->timestamp, 2);
    EXPECT_EQ(reader.takeStamp(), 4);
    EXPECT_EQ(slow.takeStamp(), 2) << "the old copy brought the slow reader on";
}

TEST(BlockQueueCursor, ACursorBehindTheOldestBlockGoesOnAtTheOldest)
{
    BlockQueue queue(1, roomy);
    appendStamps(queue, 0, 9);
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    QueueReader old = reader;
    for (qint64 stamp = 1; stamp < 6; ++stamp)
        EXPECT_EQ(reader.takeStamp(), stamp);
    EXPECT_EQ(old.takeStamp(), 5);
    EXPECT_EQ(old.takeStamp(), 6);
    EXPECT_EQ(reader.takeStamp(), 6);
}

TEST(BlockQueueCursor, ACursorThatFellBehindLearnsHowManyBlocksItLost)
{
    BlockQueue queue(1, roomy);
    appendStamps(queue, 0, 299); // on past the end of the sequence numbers
    QueueReader surplus{queue};
    EXPECT_EQ(surplus.take()->lost, 0u);
    QueueReader reader{queue}; // the first one to come back, and so the one that counts
    for (qint64 stamp = 0; stamp <= 250; ++stamp)
        EXPECT_EQ(reader.take()->lost, 0u);

    for (int look = 0; look < 2; ++look) {
        EXPECT_EQ(surplus.look()->timestamp, 250);
        EXPECT_EQ(surplus.look()->lost, 249u);
    }
    EXPECT_EQ(surplus.take()->lost, 249u);
    EXPECT_EQ(surplus.take()->lost, 0u);
    EXPECT_EQ(QueueReader{queue}.look()->lost, 0u) << "a new reader has lost nothing";
    for (const quint32 neverThere : {0x7fffffffu, 0x80000000u, 0u - 102u}) {
        const QueueReader nonsense{queue, {neverThere, 0, false}};
        EXPECT_EQ(nonsense.look()->lost, 0u);
    }
}

TEST(BlockQueueCursor, AReaderTooManyIsServedFromTheOldestBlockAndHoldsNothingBack)
{
    BlockQueue queue(1, {2, 1000});
    appendStamps(queue, 0, 1);
    QueueReader reader{queue};
    EXPECT_EQ(reader.takeStamp(), 0);
    EXPECT_EQ(reader.takeStamp(), 1);
    QueueReader surplus{queue};
    EXPECT_EQ(surplus.takeStamp(), 1);
    EXPECT_EQ(surplus.takeStamp(), -1);
    for (qint64 stamp = 2; stamp < 20; ++stamp) {
        ASSERT_TRUE(queue.append(stamped(stamp)));
        EXPECT_EQ(reader.takeStamp(), stamp);
        EXPECT_EQ(reader.takeStamp(), -1);
    }
    ASSERT_TRUE(queue.append(stamped(20)));
    EXPECT_EQ(surplus.takeStamp(), 20);
    EXPECT_EQ(surplus.takeStamp(), -1);
    EXPECT_EQ(reader.takeStamp(), 20);
}

TEST(BlockQueueCursor, NonsenseCursorsAreServedAndTakeNobodysPlace)
{
    BlockQueue queue(1, {10, 1000});
    appendStamps(queue, 0, 9);
    for (const quint32 word0 : {0u, 1u, 0x7fffffffu, 0x80000000u, 0xffffff9cu, 0xffffffa0u, 0xffffffffu}) {
        for (const quint32 word1 : {0u, 1u, 2u, 0x7fffffffu, 0xffffffffu}) {
            QueueReader nonsense{queue, {word0, word1, false}};
            const auto block = nonsense.look();
            ASSERT_TRUE(block);
            EXPECT_EQ(block->timestamp, word0 == 0xffffffa0u ? 4 : 0);
        }
    }
    QueueReader reader{queue};
    for (qint64 stamp = 0; stamp < 10; ++stamp)
        EXPECT_EQ(reader.takeStamp(), stamp);
    EXPECT_EQ(reader.takeStamp(), -1);
    EXPECT_TRUE(queue.append(stamped(10)));
}
