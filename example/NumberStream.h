#ifndef EXAMPLE_NUMBERSTREAM_H
#define EXAMPLE_NUMBERSTREAM_H

#include "interfaces/IInputQueue.h"

/// An input queue of so many blocks of "video": each is a key block and holds its own number behind the fourcc. A
/// cursor's first word is the number of the block it stands before.
class NumberStream final : public IInputQueue {
public:
    static constexpr char fourcc[] = "NUMB";

    explicit NumberStream(quint32 blockCount)
        : _blockCount(blockCount)
    {
    }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        const quint32 number = cursor->word0;
        if (number == _blockCount)
            return false;
        *data = fourcc + QByteArray::number(number);
        *streamId = 0; // video
        *keyBlock = true;
        *timestamp = number;
        *blockTime = number;
        *lost = 0;
        *latency = 0;
        cursor->word0 = number + 1;
        return true;
    }

private:
    const quint32 _blockCount;
};

#endif
