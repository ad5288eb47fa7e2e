#ifndef HOST_FORMAT_SAMPLESHEADER_H
#define HOST_FORMAT_SAMPLESHEADER_H

#include <QtGlobal>

#include "interfaces/AudioSampleBuffer.h"

/// Stands at the beginning of the bytes of every run of samples that the reference host's codec decoders push. The
/// samples follow as the codec made them: planes of equal size one after the other, or one plane of interleaved ones.
/// Constant once the samples are pushed.
struct SamplesHeader {
    static constexpr quint32 currentMagic = 0x4d415344; // "DSAM"
    static constexpr quint32 currentVersion = 1;

    enum Flag : quint32 { Damaged = 1 };

    quint32 magic = currentMagic;
    quint32 version = currentVersion;
    quint32 flags = 0;
    qint32 sampleFormat = -1; // AVSampleFormat
    qint32 sampleRate = 0;    // Hz
    qint32 channelCount = 0;
    quint64 channelMask = 0; // AV_CH_...; 0 when the order is unknown
    qint32 sampleCount = 0;  // for each channel
    qint32 planeCount = 0;
    qint32 planeSize = 0;   // bytes
    qint32 planeOffset = 0; // of the first plane, in bytes from the beginning of this header
    qint64 pts = 0;         // in units of the time base; the smallest number when unknown
    qint32 timeBase[2] = {0, 1};

    /// @return the header of @p record; null when there are no bytes, or not of this version.
    static const SamplesHeader *of(const AudioSampleBuffer &record)
    {
        const auto *const header = reinterpret_cast<const SamplesHeader *>(record.data);
        return header && header->magic == currentMagic && header->version == currentVersion ? header : nullptr;
    }

    const quint8 *plane(int index) const
    {
        return reinterpret_cast<const quint8 *>(this) + planeOffset + qint64(index) * planeSize;
    }
};

#endif
