#ifndef HOST_SINKS_RECORDSIZE_H
#define HOST_SINKS_RECORDSIZE_H

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"

/// @return the bytes that a record takes in memory.
inline quint64 recordSize(const VideoFrameBuffer &record, const PictureHeader & /*header*/)
{
    return record.size;
}

inline quint64 recordSize(const AudioSampleBuffer & /*record*/, const SamplesHeader &header)
{
    return static_cast<quint64>(header.planeOffset + qint64(header.planeCount) * header.planeSize);
}

#endif
