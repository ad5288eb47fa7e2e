#ifndef INTERFACES_IINPUTQUEUE_H
#define INTERFACES_IINPUTQUEUE_H

#include <QByteArray>
#include <QtGlobal>

#include "interfaces/QueueCursor.h"
#include "strata/base/modkit/modkit"

/// The compressed blocks of a stream, or of several streams told apart by stream id (0 is video, 8 is audio).
/// Implemented by whoever receives the stream; shared by ModkitPtr, and held by the stream decoder for its whole life.
/// Any number of decoders read one queue, each with a cursor of its own. The last reference may be dropped on a decoder
/// thread, without a lock. Only where the creation of a decoder has thrown is it dropped by `stop` under the decoding
/// manager's lock: the destructor must not call the manager then, nor create or drop decoder handles.
///
/// A key block, at which decoding can start, begins with its fourcc (4 bytes). An empty block (no bytes) ends the
/// stream: the codec decoder is drained and discarded, and the next key block starts another one.
class IInputQueue : public IPolymorph {
public:
    /// Reads the block after @p cursor into the out-parameters and advances @p cursor past it. Thread-safe; called a
    /// thousand times a second for every stream decoder, from its decoder thread, so it must neither block nor throw.
    /// No out-parameter but the two reserved ones is null.
    /// @param data the block. Share the queue's own array: the decoder neither changes nor copies its bytes.
    /// @param streamId which of the queue's streams the block belongs to.
    /// @param timestamp passed on to the codec decoder untouched.
    /// @param blockTime milliseconds on a clock of the stream's own; a paced decoder releases blocks by it.
    /// @param cursor a copy of the decoder's cursor. The block counts as taken only when the decoder keeps this copy:
    ///        a block that it declines is read again from the same cursor.
    /// @param reserved1 always null. @param reserved2 always null.
    /// @param lost how many blocks of the stream were lost between the previous block and this one.
    /// @param latency milliseconds from the block's arrival in the queue to this call.
    /// @return false, all out-parameters untouched, when no block follows the cursor.
    virtual bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                           QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency) = 0;
};

#endif
