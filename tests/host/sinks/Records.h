#ifndef HOST_SINKS_RECORDS_H
#define HOST_SINKS_RECORDS_H

#include <QByteArray>

#include <vector>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

/// Records as this host's codec decoders push them.
namespace Records {

enum class Rows { TopDown, BottomUp };

/// @return a picture whose packed bytes are @p packed, with rows that are padded by other bytes. It is number @p pts of
/// a stream of 25 pictures in a second.
VideoFrameHandle picture(AVPixelFormat format, int width, int height, const QByteArray &packed, qint64 pts,
                         Rows rows = Rows::TopDown);

/// @return a small grey one, where it matters only that it is a picture.
VideoFrameHandle picture(qint64 pts);

/// @return the packed bytes of a picture that differ with @p seed.
QByteArray packedBytes(AVPixelFormat format, int width, int height, int seed);

/// @return interleaved 16-bit samples at @p pts in units of samples.
AudioSampleHandle samples(const std::vector<qint16> &values, int rate, int channels, qint64 pts);

/// @return a record with @p frame's picture or samples. @param timeBase of its time stamp.
VideoFrameHandle pictureOf(const AVFrame &frame, AVRational timeBase, AVRational frameRate);
AudioSampleHandle samplesOf(const AVFrame &frame, AVRational timeBase);

/// @return a record whose bytes say nothing.
VideoFrameHandle foreignPicture();
AudioSampleHandle foreignSamples();

/// For tests that change what a record says before it is pushed.
PictureHeader &headerOf(const VideoFrameHandle &record);
SamplesHeader &headerOf(const AudioSampleHandle &record);

} // namespace Records

#endif
