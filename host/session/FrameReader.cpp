#include <algorithm>
#include <exception>
#include <utility>
#include <variant>

#include "session/FrameMemory.h"
#include "session/ReaderSource.h"
#include <decoding/Error.h>
#include <decoding/FrameReader.h>

namespace decoding {

namespace {

// As good as no limit, and no instant is too far away for the clock.
constexpr std::chrono::hours longestTimeout(24 * 365);

template <class Frame, class Handle>
std::optional<Frame> frameOf(const std::optional<Handle> &record)
{
    if (!record)
        return std::nullopt;
    return makeFrame(*record);
}

} // namespace

template <class Frame>
FrameReader<Frame>::Source::Source(std::shared_ptr<Buffer> buffer, Hooks hooks,
                                   std::shared_ptr<DeliveryThreads> threads)
    : _buffer(std::move(buffer))
    , _hooks(std::move(hooks))
    , _threads(std::move(threads))
{
}

template <class Frame>
std::optional<Frame> FrameReader<Frame>::Source::next()
{
    beginToPull();
    return frameOf<Frame>(_buffer->take());
}

template <class Frame>
std::optional<Frame> FrameReader<Frame>::Source::next(std::chrono::milliseconds timeout)
{
    beginToPull();
    if (timeout.count() <= 0)
        return frameOf<Frame>(_buffer->tryTake());
    return frameOf<Frame>(
        _buffer->take(std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(timeout, longestTimeout)));
}

template <class Frame>
int FrameReader<Frame>::Source::descriptor()
{
    beginToPull();
    const std::variant<int, std::string> descriptor = _buffer->descriptor();
    if (const std::string *const reason = std::get_if<std::string>(&descriptor))
        throw Error("a reader has " + *reason);
    return std::get<int>(descriptor);
}

template <class Frame>
void FrameReader<Frame>::Source::deliver(std::function<void(const Frame &frame)> callback, std::function<void()> ended)
{
    if (!callback)
        throw Error("frames cannot be delivered without a callback");
    if (_delivers.exchange(true))
        throw Error("the frames of this reader are delivered to a callback already");
    std::function<void()> wake =
        _threads->add([source = this->shared_from_this(), callback = std::move(callback), ended = std::move(ended)] {
            return source->deliverNext(callback, ended);
        });
    if (!wake) {
        _delivers = false;
        throw Error("frames cannot be delivered: the system has no thread left");
    }
    _buffer->callWhenReadable(std::move(wake));
    start();
}

/// Gives out one frame, or the end.
template <class Frame>
DeliveryThreads::Next FrameReader<Frame>::Source::deliverNext(const std::function<void(const Frame &frame)> &callback,
                                                              const std::function<void()> &ended)
{
    using Next = DeliveryThreads::Next;
    if (const std::optional<Handle> record = _buffer->tryTake()) {
        callBack([&] { callback(makeFrame(*record)); });
        return _buffer->isReadable() ? Next::More : Next::Wait;
    }
    if (!_buffer->hasEnded())
        return Next::Wait;
    callBack([&] {
        if (ended)
            ended();
    });
    return Next::Done;
}

template <class Frame>
void FrameReader<Frame>::Source::leave()
{
    _buffer->close();
    if (_hooks.leave)
        _hooks.leave();
}

template <class Frame>
void FrameReader<Frame>::Source::beginToPull()
{
    if (_delivers)
        throw Error("the frames of this reader are delivered to a callback");
    start();
}

template <class Frame>
void FrameReader<Frame>::Source::start()
{
    if (!_started.load(std::memory_order_relaxed) && !_started.exchange(true) && _hooks.start)
        _hooks.start();
}

/// Calls what belongs to the program. Nothing that it throws gets out.
template <class Frame>
template <class Call>
void FrameReader<Frame>::Source::callBack(const Call &call)
{
    std::string thrown;
    try {
        call();
        return;
    } catch (const std::exception &exception) {
        thrown = exception.what();
    } catch (...) {
        thrown = "something that is no std::exception";
    }
    _buffer->close();
    if (_hooks.fail)
        _hooks.fail(thrown);
}

template <class Frame>
FrameReader<Frame>::FrameReader(std::shared_ptr<Source> source)
    : _source(std::move(source))
{
}

template <class Frame>
FrameReader<Frame>::~FrameReader()
{
    _source->leave();
}

// The next four keep what they use: a callback may destroy this reader while a call goes on.
template <class Frame>
std::optional<Frame> FrameReader<Frame>::next()
{
    const std::shared_ptr<Source> source = _source;
    return source->next();
}

template <class Frame>
std::optional<Frame> FrameReader<Frame>::next(std::chrono::milliseconds timeout)
{
    const std::shared_ptr<Source> source = _source;
    return source->next(timeout);
}

template <class Frame>
int FrameReader<Frame>::descriptor() const
{
    const std::shared_ptr<Source> source = _source;
    return source->descriptor();
}

template <class Frame>
void FrameReader<Frame>::deliver(std::function<void(const Frame &frame)> callback, std::function<void()> ended)
{
    const std::shared_ptr<Source> source = _source;
    source->deliver(std::move(callback), std::move(ended));
}

template <class Frame>
bool FrameReader<Frame>::hasEnded() const
{
    return _source->buffer().hasEnded();
}

template <class Frame>
std::int64_t FrameReader<Frame>::frames() const
{
    return _source->buffer().frames();
}

template <class Frame>
std::int64_t FrameReader<Frame>::dropped() const
{
    return _source->buffer().dropped();
}

template class FrameReader<VideoFrame>;
template class FrameReader<AudioFrame>;

} // namespace decoding
