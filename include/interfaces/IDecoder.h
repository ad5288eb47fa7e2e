#ifndef INTERFACES_IDECODER_H
#define INTERFACES_IDECODER_H

/// A client's handle to decoding: while it lives, the stream decoder feeds the output queue that it was created with.
/// The release of the last ModkitPtr to it removes that output, and with the last output the decoder.
///
/// It may be released on any thread and at any time: while the decoding manager is being stopped, after that (it
/// changes nothing then), and as the last thing that keeps the manager alive. The release takes the manager's mutex,
/// and waits for a block that this stream's decoder is just decoding; when it returns, nothing more is pushed to the
/// output queue. Only a release while `stop` is running may return at once: what is just being decoded is then still
/// pushed, before `stop` returns. A decoder whose last output has gone ends on its own thread a little later, at the
/// latest within `stop`; only then does it let go of its input queue and its codec decoder.
///
/// The decoding manager must not be called, and no handle be created or released, while the calling thread holds a lock
/// of the manager or of a decoder: it would wait for itself, or two threads for each other. So none of this is allowed
/// - in the operations of a codec decoder, an output queue, an input queue, an indication, the indication manager and
///   the format manager, nor in a Qt message handler;
/// - in the destructor of an output queue, unless its owner keeps a reference until its handles are released;
/// - in the destructor of the format manager, of an indication, and of an input queue for which the creation of a
///   decoder has thrown and no later one succeeded.
/// In the destructor of a codec decoder and of any other input queue no lock is held, and all of it is allowed.
class IDecoder {
public:
    virtual ~IDecoder() = default;
};

#endif
