#ifndef HOST_SESSION_READERSOURCE_H
#define HOST_SESSION_READERSOURCE_H

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "session/DeliveryThreads.h"
#include "sinks/FrameBuffer.h"
#include <decoding/FrameReader.h>

namespace decoding {

/// What a reader shares with the threads that deliver its frames: the buffer that the session fills, and ways back to
/// the session, which may be gone. Made by std::make_shared; thread-safe.
template <class Frame>
class __attribute__((visibility("hidden"))) FrameReader<Frame>::Source final
    : public std::enable_shared_from_this<FrameReader<Frame>::Source> {
public:
    using Handle = std::conditional_t<std::is_same_v<Frame, VideoFrame>, VideoFrameHandle, AudioSampleHandle>;
    using Buffer = FrameBuffer<Handle>;

    /// Called on any thread, also when the session is gone; none may throw, and each may be empty.
    struct Hooks {
        /// Begins to decode the stream. Called once, when the first frame, descriptor or delivery is asked for.
        std::function<void()> start;
        /// The reader is gone, and its buffer closed. Called once.
        std::function<void()> leave;
        /// A callback has thrown: the input is to end with an error. @param text what it threw. The reader gets nothing
        /// more in any case.
        std::function<void(const std::string &text)> fail;
    };

    /// @param buffer never null. @param threads of the session, never null.
    Source(std::shared_ptr<Buffer> buffer, Hooks hooks, std::shared_ptr<DeliveryThreads> threads);

    const Buffer &buffer() const { return *_buffer; }

    // For the reader, as it documents them.

    std::optional<Frame> next();
    std::optional<Frame> next(std::chrono::milliseconds timeout);
    int descriptor();
    void deliver(std::function<void(const Frame &frame)> callback, std::function<void()> ended);
    /// The reader is gone.
    void leave();

private:
    void beginToPull();
    void start();
    DeliveryThreads::Next deliverNext(const std::function<void(const Frame &frame)> &callback,
                                      const std::function<void()> &ended);
    template <class Call>
    void callBack(const Call &call);

    const std::shared_ptr<Buffer> _buffer;
    const Hooks _hooks;
    const std::shared_ptr<DeliveryThreads> _threads;

    std::atomic<bool> _started{false};
    std::atomic<bool> _delivers{false};
};

} // namespace decoding

#endif
