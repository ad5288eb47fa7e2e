#include "session/FeedRun.h"

#include <algorithm>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

// A decoder looks for a block every millisecond; one that does not for so long never will.
constexpr std::chrono::seconds awakeLimit(30);

} // namespace

FeedRun::FeedRun(std::unique_ptr<InputFeed> feed, const Environment &environment, std::shared_ptr<ChangeNote> changes)
    : _feed(std::move(feed))
    , _environment(environment)
    , _changes(std::move(changes))
{
}

FeedRun::~FeedRun()
{
    if (_phase == Phase::Finished)
        return;
    cancel();
    if (_phase == Phase::Running)
        end();
    else if (_phase == Phase::Ending)
        _ending.wait();
    for (const auto &stream : _streams)
        stream->hurryOutputs();
    for (const auto &stream : _streams)
        stream->finishOutputs();
}

void FeedRun::open(std::unique_ptr<BurstTime::Share> burstShare)
{
    _burstShare = std::move(burstShare);
    _feed->open();
}

DecodedStream &FeedRun::add(std::unique_ptr<DecodedStream> stream)
{
    if (!_decodersSince)
        _decodersSince = Clock::now();
    _streams.push_back(std::move(stream));
    return *_streams.back();
}

void FeedRun::remove(const DecodedStream &stream)
{
    _feed->leave(stream.kind());
    _streams.erase(std::find_if(_streams.begin(), _streams.end(),
                                [&stream](const auto &candidate) { return candidate.get() == &stream; }));
}

void FeedRun::poll()
{
    if (_phase == Phase::Running) {
        if (!_cancelled)
            _feed->retry();
        if (!_cancelled && !_startedAt)
            startOnceDecodersAreAwake();
        if (_cancelled || _feed->isDrained())
            beginEnding();
    } else if (_phase == Phase::Ending && _ending.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        for (const auto &stream : _streams)
            stream->endOutputs();
        _phase = Phase::Completing;
    }
    if (_phase == Phase::Completing)
        completeOutputs();
    if (waitsForDecoders() || _phase == Phase::Completing)
        _changes->set();
}

void FeedRun::completeOutputs()
{
    const Clock::time_point now = Clock::now();
    bool areComplete = true;
    for (const auto &stream : _streams) {
        if (_hurries || _feed->isLive())
            stream->hurryOutputs();
        areComplete = stream->areOutputsComplete(now) && areComplete;
    }
    if (!areComplete)
        return;
    _endedAt = now;
    _phase = Phase::Finished;
}

void FeedRun::startOnceDecodersAreAwake()
{
    if (_streams.empty())
        return;
    const auto asleep =
        std::find_if(_streams.begin(), _streams.end(), [](const auto &stream) { return !stream->isDecoderAwake(); });
    if (asleep == _streams.end()) {
        _startedAt = Clock::now();
        _feed->start();
    } else if (Clock::now() - *_decodersSince > awakeLimit) {
        _error = (*asleep)->shownName() +
                 ": its decoder does not read; the component has no thread for it, or is stuck in another stream";
        cancel();
    }
}

void FeedRun::cancel()
{
    _hurries = true;
    if (!isRunning())
        return;
    _cancelled = true;
    _feed->cancel();
    for (const auto &stream : _streams)
        stream->cancel();
}

void FeedRun::leave()
{
    _isLeft = isRunning();
    cancel();
}

void FeedRun::beginEnding()
{
    auto ending = std::make_shared<std::packaged_task<void()>>([this] { end(); });
    _ending = ending->get_future();
    _phase = Phase::Ending;
    _burstShare.reset();
    _environment.enders.post([ending, changes = _changes] {
        (*ending)();
        changes->set();
    });
}

/// On a thread of the enders.
void FeedRun::end()
{
    _feed->wait();
    for (const auto &stream : _streams)
        stream->dropDecoder();
}

InputFeed::Status FeedRun::status() const
{
    InputFeed::Status status = _feed->status();
    if (_error)
        status.error = _error;
    if (_phase == Phase::Finished || _error)
        status.state = InputFeed::State::Ended;
    else if (status.state == InputFeed::State::Ended && !_streams.empty())
        status.state = InputFeed::State::Delivering; // to outputs that are not complete yet
    return status;
}

std::chrono::milliseconds FeedRun::runningTime() const
{
    if (!_startedAt)
        return std::chrono::milliseconds(0);
    return timeSince(*_startedAt);
}

std::chrono::milliseconds FeedRun::timeSince(std::chrono::steady_clock::time_point instant) const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(_endedAt.value_or(Clock::now()) - instant);
}
