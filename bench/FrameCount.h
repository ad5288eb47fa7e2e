#ifndef BENCH_FRAMECOUNT_H
#define BENCH_FRAMECOUNT_H

#include <QtGlobal>

#include <cstdint>

/// Counts the frames of one stream, and takes a checksum of what is seen of them, so that two ways to decode the same
/// stream can be seen to give the same. A plain value for one thread at a time.
class FrameCount final {
public:
    /// @param checking also takes the checksum, which reads every byte of the picture's luma.
    explicit FrameCount(bool checking = false)
        : _checking(checking)
    {
    }

    void add(const std::uint8_t *luma, int stride, quint32 width, quint32 height)
    {
        ++_frames;
        if (!_checking)
            return;
        for (quint32 row = 0; row < height; ++row) {
            for (quint32 column = 0; column < width; ++column)
                _checksum = (_checksum ^ luma[column]) * 1099511628211U;
            luma += stride;
        }
    }

    quint64 frames() const { return _frames; }
    quint64 checksum() const { return _checksum; }

private:
    bool _checking;
    quint64 _frames = 0;
    quint64 _checksum = 14695981039346656037U;
};

#endif
