#ifndef INTERFACES_IDECODER_H
#define INTERFACES_IDECODER_H

/// A client's handle to decoding: while it lives, the stream decoder feeds the output queue that it was created with.
/// The release of the last ModkitPtr to it, on any thread, removes that output, and with the last output the decoder.
/// Must not be released from inside a codec decoder's decode, an output queue's push or the destructor of either.
class IDecoder {
public:
    virtual ~IDecoder() = default;
};

#endif
