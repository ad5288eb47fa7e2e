#ifndef HOST_SINKS_MEDIAFORM_H
#define HOST_SINKS_MEDIAFORM_H

#include <QtGlobal>

#include <string>

/// What the packets in a media file are like: uncompressed pictures, or interleaved 16-bit samples.
struct MediaForm {
    // Of pictures; the width is 0 with samples.
    int width = 0; // in pixels
    int height = 0;
    int pixelFormat = -1; // AVPixelFormat
    int sampleAspectNumerator = 0;
    int sampleAspectDenominator = 1;
    int frameRateNumerator = 0; // never 0 with pictures
    int frameRateDenominator = 1;
    int colorRange = 0; // AVColorRange

    // Of samples.
    int sampleRate = 0; // Hz
    int channelCount = 0;
    quint64 channelMask = 0; // AV_CH_...; 0 when the order is unknown

    bool operator==(const MediaForm &other) const;
    /// Such as "yuv420p 352x288".
    std::string text() const;
};

#endif
