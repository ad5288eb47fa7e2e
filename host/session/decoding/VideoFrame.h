#ifndef DECODING_VIDEOFRAME_H
#define DECODING_VIDEOFRAME_H

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include <decoding/Export.h>
#include <decoding/Plane.h>

namespace decoding {

/// A decoded picture. Copies share its memory, which is the decoder's own: nothing is copied, nothing may be changed,
/// and it lives as long as any copy, also when its reader, input and session are gone. Frames that are kept keep their
/// memory from being used again: a 1080p picture takes 3 MB. Thread-safe except for assignment and destruction of one
/// and the same copy.
class DECODING_EXPORT VideoFrame {
public:
    static constexpr std::int64_t noTimestamp = std::numeric_limits<std::int64_t>::min();

    /// Of the visible picture, in pixels.
    int width() const;
    int height() const;

    /// @return libavutil's name for how pixels lie in the planes: "yuv420p", "nv12", "gray", "rgb24" ...
    std::string pixelFormat() const;
    int planeCount() const;
    /// @param index from 0 to planeCount() - 1. @return of another one, a plane without data.
    Plane plane(int index) const;

    /// @return when it is to be shown, in seconds on the clock of its container, whose first picture need not be at 0;
    ///         NaN when that is not known.
    double seconds() const;
    /// @return the same in units of the time base; noTimestamp when that is not known.
    std::int64_t timestamp() const;
    /// In seconds. Never 0 / 1 where there is a time stamp.
    Rational timeBase() const;
    /// @return frames in a second, as the container tells it; 0 / 1 when it does not.
    Rational frameRate() const;
    /// @return width by height of one pixel; 0 / 1 when it is not known.
    Rational sampleAspectRatio() const;

    /// Whether it was decoded from itself alone.
    bool isKeyFrame() const;
    /// Whether a part of it was missing and has been made up.
    bool isDamaged() const;

    /// @return a copy in memory of its own, scaled to @p width by @p height pixels, in @p pixelFormat, one of
    ///         libavutil's names: "rgb24", "bgr24", "rgba", "gray", "yuv420p" ... Colours keep the range and the matrix
    ///         that the stream names, BT.601 where it names none.
    /// @throws Error for a size that is not positive, and for a format that does not exist or cannot be converted to.
    VideoFrame convertTo(const std::string &pixelFormat, int width, int height) const;

    class Memory;
    /// Frames are made by the library.
    explicit VideoFrame(std::shared_ptr<const Memory> memory);
    VideoFrame(const VideoFrame &);
    VideoFrame(VideoFrame &&) noexcept;
    VideoFrame &operator=(const VideoFrame &);
    VideoFrame &operator=(VideoFrame &&) noexcept;
    ~VideoFrame();

private:
    std::shared_ptr<const Memory> _memory; // never null but after a move
};

} // namespace decoding

#endif
