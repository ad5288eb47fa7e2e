#include "app/InputRun.h"

#include <QString>

#include <algorithm>
#include <utility>

#include "interfaces/CreationFlags.h"

namespace {

// Much for one stream, little for hundreds.
constexpr BlockQueue::Limits queueLimits{64, 8 << 20};

int creationFlags(const DecodeOptions &options)
{
    return (options.paced ? CreationFlags::Paced : 0) |
           (options.excludeFromTuning ? CreationFlags::ExcludeFromTuning : 0);
}

MediaSource::Options sourceOptions(const DecodeOptions &options, const std::string &label)
{
    MediaSource::Options source;
    // Nobody would read a stream that no output takes.
    source.video = options.video && std::any_of(options.outputs.begin(), options.outputs.end(),
                                                [](const OutputSpec &output) { return output.takesVideo(); });
    source.audio = options.audio && std::any_of(options.outputs.begin(), options.outputs.end(),
                                                [](const OutputSpec &output) { return output.takesAudio(); });
    source.paced = options.paced;
    source.repeat = options.repeat;
    source.duration = options.duration;
    source.label = QString::fromStdString(label);
    return source;
}

} // namespace

std::variant<std::unique_ptr<InputRun>, std::string>
InputRun::open(const std::string &url, const InputNames::Name &name, const Environment &environment)
{
    auto opened = MediaSource::open(QString::fromStdString(url), sourceOptions(environment.options, name.shown));
    if (std::string *const error = std::get_if<std::string>(&opened))
        return std::move(*error);
    std::unique_ptr<InputRun> run(
        new InputRun(name, environment, std::move(std::get<std::unique_ptr<MediaSource>>(opened))));
    for (const MediaSource::Stream &stream : run->_source->streams()) {
        if (auto error = run->addStream(stream))
            return std::move(*error);
    }
    return run;
}

InputRun::InputRun(InputNames::Name name, const Environment &environment, std::unique_ptr<MediaSource> source)
    : _name(std::move(name))
    , _environment(environment)
    , _source(std::move(source))
    , _queue(new BlockQueue(static_cast<int>(_source->streams().size()), queueLimits))
{
}

InputRun::~InputRun()
{
    if (_finished)
        return;
    cancel();
    stopDecoding();
    completeOutputs();
}

std::optional<std::string> InputRun::addStream(const MediaSource::Stream &description)
{
    Stream &stream = _streams.emplace_back(Stream{description, {}, {}});
    for (const OutputSpec &spec : _environment.options.outputs) {
        std::optional<std::string> error;
        if (description.kind == "video" && spec.takesVideo())
            error = addOutput(stream, SinkFactory::createVideoSink, &IDecodingManager::createVideoDecoder, spec);
        else if (description.kind == "audio" && spec.takesAudio())
            error = addOutput(stream, SinkFactory::createAudioSink, &IDecodingManager::createAudioDecoder, spec);
        if (error)
            return error;
    }
    return std::nullopt;
}

template <class Sink, class CreateDecoder>
std::optional<std::string> InputRun::addOutput(Stream &stream,
                                               SinkFactory::Result<Sink> (*createSink)(const OutputSpec &,
                                                                                       const SinkFactory::Input &,
                                                                                       SinkWorkers &),
                                               CreateDecoder createDecoder, const OutputSpec &spec)
{
    const SinkFactory::Input input{QString::fromStdString(_name.stem), _source->startTimeUs(), _environment.inputFiles};
    auto created = createSink(spec, input, _environment.workers);
    if (std::string *const error = std::get_if<std::string>(&created))
        return std::move(*error);
    const ModkitPtr<Sink> &sink = std::get<ModkitPtr<Sink>>(created);
    const ModkitPtr<IDecoder> handle = (_environment.manager.*createDecoder)(
        _queue, sink, creationFlags(_environment.options), QString::fromUtf8(stream.description.origin));
    if (handle.isNull())
        return _name.shown + ": the component gives no decoder for its " + stream.description.kind;
    stream.outputs.push_back({spec.kindName(), sink});
    stream.handles.push_back(handle);
    return std::nullopt;
}

void InputRun::start()
{
    _startedAt = std::chrono::steady_clock::now();
    if (const auto error = _source->start(*_queue))
        cancel(); // The source goes on telling the error.
}

void InputRun::cancel()
{
    _cancelled = true;
    _queue->close();
    _source->requestStop();
}

void InputRun::stopDecoding()
{
    _source->join();
    for (Stream &stream : _streams)
        stream.handles.clear();
}

void InputRun::completeOutputs()
{
    for (Stream &stream : _streams) {
        for (Output &output : stream.outputs)
            output.sink->finish();
    }
    _finishedAt = std::chrono::steady_clock::now();
    _finished = true;
}

std::chrono::milliseconds InputRun::runningTime() const
{
    const auto end = _finished ? _finishedAt : std::chrono::steady_clock::now();
    return std::chrono::duration_cast<std::chrono::milliseconds>(end - _startedAt);
}

qint64 InputRun::frameCount(const Stream &stream)
{
    return stream.outputs.empty() ? 0 : static_cast<qint64>(stream.outputs.front().sink->status().records);
}

qint64 InputRun::damageCount(const Stream &stream) const
{
    qint64 damaged = 0;
    for (const quint64 count : _environment.damage.of(stream.description.origin))
        damaged += static_cast<qint64>(count);
    return damaged;
}

std::vector<std::string> InputRun::errors() const
{
    DecodeReport ofInput;
    ofInput.inputs.push_back(report());
    return ofInput.allErrors();
}

ProgressDisplay::Input InputRun::progress() const
{
    ProgressDisplay::Input input;
    input.name = _name.shown;
    // One that was cancelled goes on showing how far it came.
    if (_finished && !errors().empty())
        input.phase = ProgressDisplay::Input::Phase::Failed;
    else if (_finished && !_cancelled)
        input.phase = ProgressDisplay::Input::Phase::Done;
    if (_source->progress() > 0)
        input.progress = _source->progress();
    input.frames = _streams.empty() ? 0 : frameCount(_streams.front());
    const auto timeMs = runningTime().count();
    input.framesPerSecond = timeMs > 0 ? static_cast<double>(input.frames) * 1000 / static_cast<double>(timeMs) : 0;
    return input;
}

DecodeReport::Input InputRun::report() const
{
    DecodeReport::Input input;
    const BlockQueue::Figures figures = _queue->figures();
    input.name = _name.shown;
    input.packets = static_cast<qint64>(_source->packets());
    input.bytes = static_cast<qint64>(_source->bytes());
    input.peakQueuedBlocks = figures.peakBlocks;
    input.peakQueuedBytes = figures.peakBytes;
    if (figures.reads > 0)
        input.latency = DecodeReport::Latency{
            static_cast<double>(figures.latencySumMs) / static_cast<double>(figures.reads), figures.maxLatencyMs};
    input.error = _source->error();
    for (const Stream &stream : _streams) {
        DecodeReport::Stream told;
        told.index = stream.description.index;
        told.kind = stream.description.kind;
        told.codec = stream.description.codec;
        told.frames = frameCount(stream);
        told.damaged = damageCount(stream);
        told.durationMs = runningTime().count();
        for (const Output &output : stream.outputs) {
            const ISink::Status status = output.sink->status();
            told.outputs.push_back({output.kind, static_cast<qint64>(status.records),
                                    static_cast<qint64>(status.nullBlocks), static_cast<qint64>(status.bytesWritten),
                                    static_cast<qint64>(status.waitedMs), status.error});
        }
        input.streams.push_back(std::move(told));
    }
    return input;
}
