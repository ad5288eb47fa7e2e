#ifndef HOST_SOURCES_STREAMDESCRIPTION_H
#define HOST_SOURCES_STREAMDESCRIPTION_H

#include <QtGlobal>

#include <string>
#include <tuple>

/// One stream of a media file, as far as messages and reports show it.
struct StreamDescription {
    int index = -1; // within the file, counted from 0
    std::string kind;
    std::string codec;
    quint32 fourcc = 0; // 0: none
    int width = 0;      // pixels; 0 when not of video
    int height = 0;
    int frameRateNumerator = 0; // frames in a second, 0 / 1 when unknown or not of video
    int frameRateDenominator = 1;
    int sampleRate = 0; // Hz; 0 when not of audio
    int channels = 0;
    std::string obstacle;     // why it cannot be decoded; empty when it can
    std::string missingCodec; // the codec that there is no decoder for, where that is why

    auto members() const
    {
        return std::tie(index, kind, codec, fourcc, width, height, frameRateNumerator, frameRateDenominator, sampleRate,
                        channels, obstacle, missingCodec);
    }
    bool operator==(const StreamDescription &other) const { return members() == other.members(); }
    bool operator!=(const StreamDescription &other) const { return members() != other.members(); }
};

#endif
