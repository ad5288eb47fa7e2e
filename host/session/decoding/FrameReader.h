#ifndef DECODING_FRAMEREADER_H
#define DECODING_FRAMEREADER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <decoding/AudioFrame.h>
#include <decoding/Export.h>
#include <decoding/VideoFrame.h>

namespace decoding {

/// Gives out the frames of one stream, in their order. Between the decoder and its reader stands a queue with room for
/// InputOptions::queuedFrames. While it is full, a file's decoder is given nothing more to decode, and a live stream's
/// oldest frame is dropped for the new one and counted. So a slow reader costs its own stream alone, and holds up no
/// call. But a file's stream waits for its slowest reader: each one that has been made is read on or destroyed, or the
/// others get nothing more either.
///
/// The input begins to decode a stream when one of its readers is first asked for a frame, a descriptor or delivery. A
/// file's stream begins at its beginning (where both streams of a file are read, it is opened once for each); readers
/// that are there by then see every frame, those that come later begin where the stream is.
///
/// Pull with `next`, wait for `descriptor` to be readable, or have frames pushed to a callback. Thread-safe; each frame
/// goes to one caller.
template <class Frame>
class DECODING_EXPORT FrameReader {
public:
    /// Waits for a frame. @return nothing when no more will come: the stream has ended, has failed (Input::error()
    ///         tells) or was closed. Of a closed input, what is still queued is dropped.
    /// @throws Error when frames are delivered to a callback, as do the other `next` and `descriptor`.
    std::optional<Frame> next();

    /// Waits for @p timeout at most; does not wait at all when it is not positive.
    /// @return nothing when none came in time, or no more will come: hasEnded() tells which.
    std::optional<Frame> next(std::chrono::milliseconds timeout);

    /// @return whether `next` will give nothing from now on.
    bool hasEnded() const;

    /// @return a file descriptor that is readable whenever `next` would not wait: a frame is there, or none will come.
    ///         For poll, select and event loops; it belongs to the reader, and nobody may read, write or close it.
    /// @throws Error when the system has no more descriptors.
    int descriptor() const;

    /// Has every frame from now on given to @p callback, on threads that all readers of the session share, one call at
    /// a time and in order. There are as many threads as callbacks that wait or last long, and one more for each
    /// processor at most, beside a spare one: however long a callback takes, it delays this stream only. When the
    /// stream has ended, @p ended is called once, behind the last frame. Once only, and instead of the calls above.
    ///
    /// What a callback throws ends the input with an error. Close and destroy whatever you like from within a callback.
    /// Closing the input, or destroying the reader, on another thread does not wait for a callback that is running or
    /// about to; @p ended tells when no more will come, and both callbacks are then destroyed on one of these threads.
    /// The session's destructor waits for that, unless a callback calls it.
    /// @throws Error when frames are delivered already, without a callback, or when there is no thread for the first
    ///         reader that asks; a thread that the system refuses later makes callbacks wait for each other.
    void deliver(std::function<void(const Frame &frame)> callback, std::function<void()> ended = {});

    /// @return frames that the decoder has made for this reader, and those of them that were dropped because it was
    ///         slow.
    std::int64_t frames() const;
    std::int64_t dropped() const;

    class Source;
    /// Readers are made by inputs.
    explicit FrameReader(std::shared_ptr<Source> source);
    FrameReader(const FrameReader &) = delete;
    FrameReader &operator=(const FrameReader &) = delete;
    /// Leaves the stream, which goes on for its other readers. Not while another thread calls it: Input::close wakes
    /// that one.
    ~FrameReader();

private:
    const std::shared_ptr<Source> _source;
};

extern template class FrameReader<VideoFrame>;
extern template class FrameReader<AudioFrame>;

using VideoReader = FrameReader<VideoFrame>;
using AudioReader = FrameReader<AudioFrame>;

} // namespace decoding

#endif
