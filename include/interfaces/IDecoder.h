#ifndef INTERFACES_IDECODER_H
#define INTERFACES_IDECODER_H

/// A client's handle to decoding: while it lives, the stream decoder feeds the output queue that it was created with.
/// The release of the last ModkitPtr to it, on any thread, removes that output, and with the last output the decoder.
/// Must not be created or released from inside what decoders and the decoding manager call under their locks: the
/// operations and the destructors of codec decoders, output queues, input queues, indications and the format manager.
class IDecoder {
public:
    virtual ~IDecoder() = default;
};

#endif
