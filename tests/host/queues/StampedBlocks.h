#ifndef TESTS_HOST_QUEUES_STAMPEDBLOCKS_H
#define TESTS_HOST_QUEUES_STAMPEDBLOCKS_H

#include "queues/BlockQueue.h"
#include <gmock/gmock.h>

constexpr BlockQueue::Limits roomy = {10'000, 1'000'000};

inline BlockQueue::Block stamped(qint64 stamp, int size = 1)
{
    return {QByteArray(size, 'x'), 0, false, stamp, stamp * 40};
}

inline void appendStamps(BlockQueue &queue, qint64 first, qint64 last)
{
    for (qint64 stamp = first; stamp <= last; ++stamp)
        ASSERT_TRUE(queue.append(stamped(stamp)));
}

#endif
