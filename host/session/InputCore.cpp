#include "session/InputCore.h"

#include <algorithm>
#include <utility>

#include "session/InputRun.h"
#include "session/InputSet.h"
#include <decoding/Error.h>

namespace {

// Longer ones would be beyond what the clock counts.
constexpr std::chrono::milliseconds longestWait = std::chrono::hours(24 * 365);

template <class Frame>
constexpr StreamKind kindOfFrames = StreamKind::Video;
template <>
constexpr StreamKind kindOfFrames<decoding::AudioFrame> = StreamKind::Audio;

} // namespace

decoding::Input::Core::Core(std::string name, InputOptions options, bool isLive, std::shared_ptr<SessionJobs> jobs,
                            std::shared_ptr<ChangeNote> changes)
    : _name(std::move(name))
    , _options(std::move(options))
    , _isLive(isLive)
    , _jobs(std::move(jobs))
    , _changes(std::move(changes))
    , _gates{std::make_shared<Gate>(), std::make_shared<Gate>()}
{
}

decoding::Input::Core::~Core() = default;

bool decoding::Input::Core::has(StreamKind kind) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _status.has[indexOf(kind)];
}

decoding::VideoReader &decoding::Input::Core::video()
{
    return ownReader(_videoReader);
}

decoding::AudioReader &decoding::Input::Core::audio()
{
    return ownReader(_audioReader);
}

std::unique_ptr<decoding::VideoReader> decoding::Input::Core::addVideoReader()
{
    requireStream(StreamKind::Video);
    return makeReader<VideoFrame>();
}

std::unique_ptr<decoding::AudioReader> decoding::Input::Core::addAudioReader()
{
    requireStream(StreamKind::Audio);
    return makeReader<AudioFrame>();
}

template <class Frame>
decoding::FrameReader<Frame> &decoding::Input::Core::ownReader(std::unique_ptr<FrameReader<Frame>> &reader)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (reader)
            return *reader;
    }
    requireStream(kindOfFrames<Frame>);
    std::unique_ptr<FrameReader<Frame>> made = makeReader<Frame>();
    // Two threads may have made one each; the later one is dropped, without the lock.
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!reader)
        reader.swap(made);
    return *reader;
}

/// @throws Error when there is no such stream, or will be none.
void decoding::Input::Core::requireStream(StreamKind kind) const
{
    const std::string word = nameOf(kind);
    if (kind == StreamKind::Video ? !_options.video : !_options.audio)
        throw Error(_name + ": its " + word + " is not decoded, because InputOptions::" + word + " is false");
    const std::lock_guard<std::mutex> lock(_mutex);
    // Another connection of a live input may have what this one has not.
    if (_status.isKnown && !_isLive && !_status.has[indexOf(kind)])
        throw Error(_name + ": there is no " + word + " in it that can be decoded");
}

template <class Frame>
std::unique_ptr<decoding::FrameReader<Frame>> decoding::Input::Core::makeReader()
{
    using Source = typename FrameReader<Frame>::Source;
    using Buffer = typename Source::Buffer;
    constexpr StreamKind kind = kindOfFrames<Frame>;
    // A live input's burst comes all at once.
    const int capacity = std::max(_options.queuedFrames, _isLive ? _options.burst : 0);
    const auto buffer =
        std::make_shared<Buffer>(capacity, _isLive ? Overflow::DropOldest : Overflow::CloseGate, gate(kind));
    const std::weak_ptr<Core> weak = weak_from_this();
    const auto jobs = _jobs;
    // A job finds no run when the input has ended for good: then nothing more will come, nor is to be ended.
    const auto post = [weak, jobs](std::function<void(InputRun &)> job) {
        jobs->post([weak, job = std::move(job)](InputSet &inputs) {
            const std::shared_ptr<Core> core = weak.lock();
            if (InputRun *const run = core ? inputs.find(*core) : nullptr)
                job(*run);
        });
    };
    typename Source::Hooks hooks;
    hooks.start = [post] { post([](InputRun &run) { run.start(kind); }); };
    hooks.leave = [weak, post, buffer] {
        if (const std::shared_ptr<Core> core = weak.lock()) {
            const std::lock_guard<std::mutex> lock(core->_mutex);
            auto &buffers = core->_buffers;
            buffers.erase(std::remove(buffers.begin(), buffers.end(), ReaderBuffer(buffer)), buffers.end());
        }
        buffer->close();
        post([buffer](InputRun &run) { run.removeReader(kind, buffer); });
    };
    hooks.fail = [post](const std::string &what) { post([what](InputRun &run) { run.fail(what); }); };
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_readersClosed)
            buffer->close();
        _buffers.emplace_back(buffer);
    }
    post([buffer](InputRun &run) { run.addReader(kind, buffer); });
    return std::make_unique<FrameReader<Frame>>(std::make_shared<Source>(buffer, std::move(hooks), jobs->deliveries()));
}

std::optional<std::string> decoding::Input::Core::error() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _status.error;
}

void decoding::Input::Core::close()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (std::exchange(_closed, true))
            return;
    }
    closeReaders();
    _jobs->post([core = shared_from_this()](InputSet &inputs) {
        if (InputRun *const run = inputs.find(*core))
            run->close();
    });
}

void decoding::Input::Core::abandon()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _abandoned = true;
    }
    close();
    // It may have been closed long ago.
    _changes->set();
}

void decoding::Input::Core::closeReaders()
{
    std::vector<ReaderBuffer> buffers;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _readersClosed = true;
        buffers = _buffers;
    }
    for (const ReaderBuffer &buffer : buffers)
        std::visit([](const auto &queue) { queue->close(); }, buffer);
}

bool decoding::Input::Core::isFinished() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _status.finished;
}

bool decoding::Input::Core::waitUntilFinished(std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(_mutex);
    return _changed.wait_for(lock, std::min(timeout, longestWait), [this] { return _status.finished; });
}

std::optional<std::string> decoding::Input::Core::waitUntilKnown() const
{
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] { return _status.isKnown || _status.error || _status.finished || _closed; });
    if (_status.isKnown)
        return std::nullopt;
    return _status.error ? _status.error : _name + ": it was closed before it was open";
}

void decoding::Input::Core::setStatus(const Status &status)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const bool isNews = status.isKnown != _status.isKnown || status.finished != _status.finished ||
                        status.error != _status.error || status.has != _status.has;
    _status = status;
    if (isNews)
        _changed.notify_all();
}

bool decoding::Input::Core::isAbandoned() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _abandoned;
}
