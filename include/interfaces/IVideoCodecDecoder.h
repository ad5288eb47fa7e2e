#ifndef INTERFACES_IVIDEOCODECDECODER_H
#define INTERFACES_IVIDEOCODECDECODER_H

#include <QByteArray>
#include <QtGlobal>

#include "interfaces/IVideoOutputQueue.h"
#include "strata/base/modkit/modkit"

/// Decodes the blocks of one video stream. Created by IAVFormatFactory, held by one stream decoder, called and
/// destroyed on that decoder's thread, which has a stack of 102,400 bytes. No lock of the component is held while it is
/// destroyed.
class IVideoCodecDecoder {
public:
    virtual ~IVideoCodecDecoder() = default;

    /// Decodes one block and pushes whatever it yields to every given output queue, before it returns or during a
    /// later call. Blocks come in stream order. The stream decoder's output lock is held meanwhile: decode must not
    /// create or drop decoder handles, and while it runs, whoever adds or removes an output of this stream waits. Must
    /// not throw: nothing between this call and the thread's event loop catches.
    /// @param data the block, a key block beginning with its fourcc. The first block is the key block that the codec
    ///        decoder was created for; later key blocks may be shorter than a fourcc. Blocks may be missing between
    ///        two calls, because they were lost or because only key blocks are decoded to save time. Empty, with or
    ///        without the key flag: push what is still held back; destruction follows. The codec may keep the array;
    ///        it shares the queue's bytes.
    /// @param keyBlock whether decoding can start at this block.
    /// @param timestamp as the input queue reported it; 0 with the empty block that drains a codec before its
    ///        replacement.
    /// @param blockTime milliseconds, as the input queue reported it; 0 like @p timestamp.
    /// @param outputs the first of @p outputCount queues; valid for this call only and never null.
    /// @param outputCount 0 when nobody is to get the result: no output is registered, or the stream is still catching
    ///        up.
    virtual void decode(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                        const ModkitPtr<IVideoOutputQueue> *outputs, int outputCount) = 0;
};

#endif
