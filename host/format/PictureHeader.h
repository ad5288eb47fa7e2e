#ifndef HOST_FORMAT_PICTUREHEADER_H
#define HOST_FORMAT_PICTUREHEADER_H

#include <QtGlobal>

#include "interfaces/VideoFrameBuffer.h"

/// Stands at the beginning of the bytes of every picture that the reference host's codec decoders push, so that each
/// picture describes itself, whatever the pictures before it were like. Constant once the picture is pushed.
struct PictureHeader {
    static constexpr quint32 currentMagic = 0x43495044; // "DPIC"
    static constexpr quint32 currentVersion = 1;

    enum Flag : quint32 {
        KeyPicture = 1,
        /// The decoder has concealed damage in it.
        Damaged = 2
    };

    quint32 magic = currentMagic;
    quint32 version = currentVersion;
    quint32 flags = 0;
    quint32 size = 0;        // bytes of the block that this header begins
    qint32 pixelFormat = -1; // AVPixelFormat
    qint32 width = 0;        // of the visible picture, in pixels
    qint32 height = 0;
    qint32 planeOffset[4] =
        {};                // of the first visible row, in bytes from the beginning of this header; 0: no such plane
    qint32 stride[4] = {}; // from one row to the next, in bytes; negative when the rows lie upside down
    qint64 pts = 0;        // in units of the time base; the smallest number when unknown
    qint64 duration = 0;   // in units of the time base; 0 when unknown
    qint32 timeBase[2] = {0, 1};
    qint32 frameRate[2] = {0, 1};         // 0 / 1 when unknown
    qint32 sampleAspectRatio[2] = {0, 1}; // 0 / 1 when unknown
    qint32 colorRange = 0;                // AVColorRange, and so on
    qint32 colorPrimaries = 2;
    qint32 colorTransfer = 2;
    qint32 colorSpace = 2;

    /// @return the header of @p record; null when its bytes do not begin with one of this version.
    static const PictureHeader *of(const VideoFrameBuffer &record)
    {
        const auto *const header = static_cast<const PictureHeader *>(record.data);
        return header && record.size >= sizeof(PictureHeader) && header->magic == currentMagic &&
                       header->version == currentVersion
                   ? header
                   : nullptr;
    }

    /// The first visible byte of @p plane; null when there is no such plane.
    const quint8 *plane(int index) const
    {
        return planeOffset[index] ? reinterpret_cast<const quint8 *>(this) + planeOffset[index] : nullptr;
    }
};

#endif
