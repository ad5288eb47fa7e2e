#ifndef HOST_FORMAT_FORMATMANAGER_H
#define HOST_FORMAT_FORMATMANAGER_H

#include <memory>

#include "format/DamageCounts.h"
#include "interfaces/IAVFormatManager.h"

/// The reference host's format component: codec decoders for every fourcc (see Fourcc.h) that stands for what
/// libavcodec can decode. Thread-safe. Its codec decoders may outlive it; they share @ref DamageCounts only.
class FormatManager final : public IAVFormatManager {
public:
    /// Silences the libav libraries' own messages in the whole process: what went wrong is counted in @p damage, and
    /// reported once for each stream and kind, where libavcodec would write a line for every damaged picture.
    explicit FormatManager(std::shared_ptr<DamageCounts> damage);

    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}
    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override;
    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 fourcc) override;

private:
    const std::shared_ptr<DamageCounts> _damage;
};

#endif
