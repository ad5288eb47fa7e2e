#ifndef TESTS_HOST_QUEUES_LIVEQUEUEFIXTURE_H
#define TESTS_HOST_QUEUES_LIVEQUEUEFIXTURE_H

#include <chrono>
#include <utility>
#include <vector>

#include "QueueReader.h"
#include "queues/LiveQueue.h"
#include <gmock/gmock.h>

/// A queue under a clock of its own, and blocks whose time stamps are their numbers.
class LiveQueueFixture : public testing::Test {
protected:
    using Taken = std::pair<qint64, quint32>;

    static constexpr LiveQueue::Limits roomy = {1000, 1'000'000, std::chrono::milliseconds(400)};

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
    static std::vector<Taken> takeAll(QueueReader &reader)
    {
        std::vector<Taken> taken;
        while (const auto block = reader.take())
            taken.emplace_back(block->timestamp, block->lost);
        return taken;
    }

    static void expectTheSumHolds(const LiveQueue &queue)
    {
        const LiveQueue::Figures figures = queue.figures();
        EXPECT_EQ(figures.blocks, figures.taken + figures.lost + static_cast<quint64>(figures.heldBlocks));
    }

    LiveQueue::Instant now{std::chrono::milliseconds(5000)};
};

#endif
