#ifndef MANAGER_DECODERREGISTRY_H
#define MANAGER_DECODERREGISTRY_H

#include <QHash>

#include "interfaces/IInputQueue.h"

class BaseSingleStreamDecoder;

/// The live stream decoders of one kind: by input queue, one decoder each, and by handle id, one id for each output. A
/// plain value without a lock; a copy is cheap, its tables are shared until one side changes. The decoders are not
/// owned.
///
/// Every decoder in the id table stands in the queue table, and has as many ids as it has outputs. The queue table may
/// hold a null decoder where one is about to be registered, or where its construction failed.
class DecoderRegistry {
public:
    using const_iterator = QHash<ModkitPtr<IInputQueue>, BaseSingleStreamDecoder *>::const_iterator;

    /// @return the decoder of @p queue; otherwise null, and a place is reserved for the decoder that the next
    ///         registerOutput brings. The two calls belong together.
    BaseSingleStreamDecoder *findOrReserve(const ModkitPtr<IInputQueue> &queue);

    /// Puts @p decoder into the place that findOrReserve found or made. @return the id of its new output.
    /// @throws std::bad_alloc with nothing changed.
    int registerOutput(BaseSingleStreamDecoder *decoder);

    /// Removes the output @p id from its decoder. @return the decoder when that was its last output: it is no longer
    /// registered, and is to be disposed of. Null when it still serves other outputs or the id is unknown.
    BaseSingleStreamDecoder *releaseOutput(int id);

    /// Removes any one entry of the queue table, with the reference to its queue. @return its decoder; null when the
    /// table is empty, or for a reserved place.
    BaseSingleStreamDecoder *takeFirst();

    /// Empties both tables. Ids go on where they were.
    void clear();

    /// @return number of input queues with a decoder or a reserved place.
    int count() const;

    /// Walks the decoders of the queue table, null ones included. Walk a copy.
    const_iterator begin() const;
    const_iterator end() const;

private:
    QHash<ModkitPtr<IInputQueue>, BaseSingleStreamDecoder *> _byQueue;
    QHash<int, BaseSingleStreamDecoder *> _byId;
    int _nextId = 0;
    // The entry that findOrReserve found or made last.
    QHash<ModkitPtr<IInputQueue>, BaseSingleStreamDecoder *>::iterator _current;
};

#endif
