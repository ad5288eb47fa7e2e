#include "session/InputRun.h"

#include <algorithm>
#include <utility>

#include "session/FileFeed.h"
#include "session/LiveFeed.h"

namespace {

using Clock = std::chrono::steady_clock;

bool anyOutput(const DecodeOptions &options, bool (OutputSpec::*takes)() const)
{
    return std::any_of(options.outputs.begin(), options.outputs.end(),
                       [takes](const OutputSpec &output) { return (output.*takes)(); });
}

std::unique_ptr<InputFeed> makeFeed(const std::string &url, const std::string &label, const DecodeOptions &options,
                                    JobThreads &openers)
{
    // Nobody would read a stream that no output takes.
    const bool video = options.video && anyOutput(options, &OutputSpec::takesVideo);
    const bool audio = options.audio && anyOutput(options, &OutputSpec::takesAudio);
    const QString address = QString::fromStdString(url);
    if (LiveSource::isLive(address)) {
        LiveSource::Options live;
        live.video = video;
        live.audio = audio;
        live.duration = options.duration;
        live.label = QString::fromStdString(label);
        return std::make_unique<LiveFeed>(address, live, options.maxLatency);
    }
    MediaSource::Options file;
    file.video = video;
    file.audio = audio;
    file.paced = options.paced;
    file.repeat = options.repeat;
    file.duration = options.duration;
    file.label = QString::fromStdString(label);
    return std::make_unique<FileFeed>(address, file, openers);
}

} // namespace

InputRun::InputRun(const std::string &url, InputNames::Name name, const Environment &environment)
    : _name(std::move(name))
    , _environment(environment)
    , _feed(makeFeed(url, _name.shown, environment.streams.options, environment.openers))
{
    _files.add(url);
}

InputRun::~InputRun()
{
    if (_phase == Phase::Finished)
        return;
    cancel();
    if (_phase == Phase::Running)
        end();
    else
        _ending.wait();
}

void InputRun::poll(const std::shared_ptr<const FileSet> &inputFiles)
{
    if (_phase == Phase::Running) {
        if (!_cancelled)
            addStreams(inputFiles);
        if (!_cancelled && !_startedAt)
            startOnceDecodersAreAwake();
        if (_cancelled || _feed->isDrained())
            beginEnding();
    } else if (_phase == Phase::Ending && _ending.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        _endedAt = Clock::now();
        _phase = Phase::Finished;
    }
}

void InputRun::addStreams(const std::shared_ptr<const FileSet> &inputFiles)
{
    for (const InputFeed::Stream &stream : _feed->takeStreams()) {
        auto created = DecodedStream::create(stream, _name, isLive(), inputFiles, _environment.streams);
        if (std::string *const error = std::get_if<std::string>(&created)) {
            _error = std::move(*error);
            cancel();
            return;
        }
        _streams.push_back(std::move(std::get<std::unique_ptr<DecodedStream>>(created)));
    }
}

void InputRun::startOnceDecodersAreAwake()
{
    const bool isAwake =
        std::all_of(_streams.begin(), _streams.end(), [](const auto &stream) { return stream->isDecoderAwake(); });
    if (_streams.empty() || !isAwake)
        return;
    _startedAt = Clock::now();
    _feed->start();
}

void InputRun::cancel()
{
    if (!isRunning())
        return;
    _cancelled = true;
    _feed->cancel();
}

void InputRun::beginEnding()
{
    auto ending = std::make_shared<std::packaged_task<void()>>([this] { end(); });
    _ending = ending->get_future();
    _phase = Phase::Ending;
    // Where the system gives no thread, better here than never.
    if (!_environment.enders.post([ending] { (*ending)(); }))
        (*ending)();
}

/// On a thread of the enders.
void InputRun::end()
{
    _feed->wait();
    for (const auto &stream : _streams)
        stream->dropDecoder();
    for (const auto &stream : _streams)
        stream->completeOutputs();
}

InputFeed::Status InputRun::status() const
{
    InputFeed::Status status = _feed->status();
    if (_error)
        status.error = _error;
    if (_phase == Phase::Finished || _error)
        status.state = InputFeed::State::Ended;
    else if (status.state == InputFeed::State::Ended && isOpen())
        status.state = InputFeed::State::Delivering; // to outputs that are not complete yet
    return status;
}

std::vector<std::string> InputRun::takeReports()
{
    return _feed->takeReports();
}

std::vector<std::string> InputRun::errors() const
{
    DecodeReport ofInput;
    ofInput.inputs.push_back(report());
    return ofInput.allErrors();
}

std::chrono::milliseconds InputRun::runningTime() const
{
    if (!_startedAt)
        return std::chrono::milliseconds(0);
    return std::chrono::duration_cast<std::chrono::milliseconds>(_endedAt.value_or(Clock::now()) - *_startedAt);
}

ProgressDisplay::Input InputRun::progress() const
{
    ProgressDisplay::Input input;
    input.name = _name.shown;
    // One that was cancelled goes on showing how far it came.
    if (isFinished() && !errors().empty())
        input.phase = ProgressDisplay::Input::Phase::Failed;
    else if (isFinished() && !_cancelled)
        input.phase = ProgressDisplay::Input::Phase::Done;
    input.progress = _feed->status().progress;
    input.frames = _streams.empty() ? 0 : _streams.front()->frames();
    const auto timeMs = runningTime().count();
    input.framesPerSecond = timeMs > 0 ? static_cast<double>(input.frames) * 1000 / static_cast<double>(timeMs) : 0;
    return input;
}

std::vector<InputRun::StreamView> InputRun::streams() const
{
    std::vector<StreamView> views;
    for (const auto &stream : _streams)
        views.push_back({stream->description().origin.toStdString(), stream->description().kind, stream->frames(),
                         stream->damaged(), _feed->figures(stream->description().streamId)});
    return views;
}

DecodeReport::Input InputRun::report() const
{
    const InputFeed::Status status = this->status();
    DecodeReport::Input input;
    input.name = _name.shown;
    input.live = isLive();
    input.packets = status.packets;
    input.bytes = status.bytes;
    input.connections = status.connections;
    input.peakQueuedBlocks = status.peakQueuedBlocks;
    input.peakQueuedBytes = status.peakQueuedBytes;
    const InputFeed::Figures figures = _feed->figures();
    if (figures.reads > 0)
        input.latency = DecodeReport::Latency{
            static_cast<double>(figures.latencySumMs) / static_cast<double>(figures.reads), figures.maxLatencyMs};
    input.error = status.error;
    for (const auto &stream : _streams) {
        const MediaSource::Stream &description = stream->description();
        DecodeReport::Stream told;
        told.index = description.index;
        told.kind = description.kind;
        told.codec = description.codec;
        told.frames = stream->frames();
        told.damaged = stream->damaged();
        told.lost = _feed->figures(description.streamId).lost;
        told.durationMs = runningTime().count();
        told.outputs = stream->outputs();
        input.streams.push_back(std::move(told));
    }
    return input;
}
