#ifndef DECODING_AUDIOFRAME_H
#define DECODING_AUDIOFRAME_H

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include <decoding/Export.h>
#include <decoding/Plane.h>

namespace decoding {

/// A run of decoded samples. Copies share its memory, as those of VideoFrame do. Thread-safe except for assignment and
/// destruction of one and the same copy.
class DECODING_EXPORT AudioFrame {
public:
    static constexpr std::int64_t noTimestamp = std::numeric_limits<std::int64_t>::min();

    /// In Hz.
    int sampleRate() const;
    int channels() const;
    /// @return which channels they are, a bit for each, as in WAV files (1: front left, 2: front right ...); 0 when it
    ///         is not known.
    std::uint64_t channelMask() const;
    /// For each channel.
    int samples() const;

    /// @return libavutil's name for the samples: "s16", "flt" and others with all channels in one plane, sample by
    ///         sample; "s16p", "fltp" and others with a plane for each channel.
    std::string sampleFormat() const;
    int planeCount() const;
    /// @param index from 0 to planeCount() - 1. @return one row; of another index, a plane without data.
    Plane plane(int index) const;

    /// @return when its first sample is to be heard, as VideoFrame::seconds().
    double seconds() const;
    /// @return the same in units of the time base; noTimestamp when that is not known.
    std::int64_t timestamp() const;
    /// In seconds. Never 0 / 1 where there is a time stamp.
    Rational timeBase() const;

    /// Whether a part of it was missing and has been made up.
    bool isDamaged() const;

    /// @return a copy in memory of its own with the samples in @p sampleFormat: "s16", "flt", "fltp" ...
    /// @throws Error for a format that does not exist or cannot be converted to.
    AudioFrame convertTo(const std::string &sampleFormat) const;

    class Memory;
    /// Frames are made by the library.
    explicit AudioFrame(std::shared_ptr<const Memory> memory);
    AudioFrame(const AudioFrame &);
    AudioFrame(AudioFrame &&) noexcept;
    AudioFrame &operator=(const AudioFrame &);
    AudioFrame &operator=(AudioFrame &&) noexcept;
    ~AudioFrame();

private:
    std::shared_ptr<const Memory> _memory; // never null but after a move
};

} // namespace decoding

#endif
