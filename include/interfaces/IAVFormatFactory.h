#ifndef INTERFACES_IAVFORMATFACTORY_H
#define INTERFACES_IAVFORMATFACTORY_H

#include <QtGlobal>

#include "interfaces/IAudioCodecDecoder.h"
#include "interfaces/IVideoCodecDecoder.h"
#include "strata/base/modkit/modkit"

/// Creates codec decoders by fourcc. Always reached as the second base of an IAVFormatManager, so it is not deleted
/// through this type.
///
/// A fourcc is the first four bytes of a key block read as a little-endian number: 'H' '2' '6' '4' is 0x34363248. The
/// create operations are called from decoder threads, several at once, so they must be thread-safe; they may take
/// their time (only that decoder's thread waits) but must not throw, and must not create or drop decoder handles.
class IAVFormatFactory {
public:
    // Never called by the decoding manager: they keep the places of operations of other users.
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    virtual void reserved3() = 0;
    virtual void reserved4() = 0;

    /// @return a new codec decoder of the caller's own, or an empty pointer when @p fourcc is not supported.
    virtual ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) = 0;

    /// @return a new codec decoder of the caller's own, or an empty pointer when @p fourcc is not supported.
    virtual ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 fourcc) = 0;

protected:
    ~IAVFormatFactory() = default;
};

#endif
