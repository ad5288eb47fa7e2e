#ifndef HOST_SINKS_SAMPLECONVERTER_H
#define HOST_SINKS_SAMPLECONVERTER_H

#include "format/SamplesHeader.h"
#include "media/AvPointers.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

/// Gives samples another format, by libswresample in its default way; rate and channels stay as they are. Keeps what it
/// has prepared for the samples before. Reentrant.
class SampleConverter final {
public:
    /// @return whether the header describes samples that are there.
    [[nodiscard]] static bool isSound(const SamplesHeader &samples);

    /// @param samples that are sound. @param planes with room for as many samples in @p format: one for each channel
    ///        when it is planar. @return whether that was possible.
    [[nodiscard]] bool convert(const SamplesHeader &samples, AVSampleFormat format, quint8 **planes);

private:
    bool prepare(const SamplesHeader &samples, AVSampleFormat format);

    AvPointer<SwrContext> _context;
    // What _context takes and makes.
    int _sampleFormat = -1;
    int _sampleRate = 0;
    int _channelCount = 0;
    quint64 _channelMask = 0;
    AVSampleFormat _format = AV_SAMPLE_FMT_NONE;
};

#endif
