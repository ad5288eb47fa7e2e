#ifndef HOST_SINKS_DECODEDCLIP_H
#define HOST_SINKS_DECODEDCLIP_H

#include <QtGlobal>

#include <string>
#include <vector>

#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"

/// The decoded streams of a media file.
struct DecodedClip {
    explicit DecodedClip(const std::string &path) { read(path); }

    qint64 startTimeUs = 0;
    std::vector<VideoFrameHandle> pictures;
    std::vector<AudioSampleHandle> samples;

private:
    void read(const std::string &path);
};

#endif
