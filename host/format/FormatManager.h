#ifndef HOST_FORMAT_FORMATMANAGER_H
#define HOST_FORMAT_FORMATMANAGER_H

#include "interfaces/IAVFormatManager.h"

/// The reference host's format component. It supports no fourcc yet: every request for a codec decoder is answered
/// with an empty pointer. Thread-safe.
class FormatManager final : public IAVFormatManager {
public:
    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}
    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override;
    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 fourcc) override;
};

#endif
