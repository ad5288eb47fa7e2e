#include "session/DecodedStream.h"

#include <algorithm>
#include <numeric>
#include <type_traits>
#include <utility>

#include "media/SafeText.h"
#include "queues/BurstQueue.h"
#include "sinks/ReaderSink.h"

DecodedStream::DecodedStream(const InputFeed::Stream &stream, const ModkitPtr<IInputQueue> &queue,
                             const std::shared_ptr<Gate> &gate, const Settings &settings,
                             const Environment &environment)
    : _description(stream.description)
    , _kind(stream.kind())
    , _name(QString::fromUtf8(stream.description.origin))
    , _shownName(_name.toStdString())
    , _settings(settings)
    , _environment(environment)
    , _gate(gate)
    , _queue(new GatedQueue(queue, gate, settings.keyBlocksOnly))
    , _damageKey{stream.description.origin, stream.description.source}
    , _pace(settings.bursts || settings.burstPatience.count() > 0 ? environment.damage.watchPace(_damageKey) : nullptr)
    , _decoderQueue(makeDecoderQueue())
{
    if (_pace)
        _pace->setCodecThreads(settings.codecThreads);
}

DecodedStream::~DecodedStream()
{
    _environment.damage.forget(_damageKey);
}

ModkitPtr<IInputQueue> DecodedStream::makeDecoderQueue() const
{
    if (!_pace)
        return _queue;
    const auto length = [gate = _gate, pace = _pace, time = _settings.bursts,
                         longest = _settings.longestBurst](bool keyBlocks) {
        const int fitting = pace->packetsWithin(keyBlocks, longest > 0 ? BurstTime::chosen : time->longest());
        return std::min({gate->room(), longest > 0 ? longest : fitting, fitting});
    };
    return ModkitPtr<BurstQueue>(new BurstQueue(_queue, streamIdOf(_kind), length, _settings.burstPatience));
}

std::optional<std::string> DecodedStream::addOutput(const OutputSpec &spec, const SinkFactory::Input &input)
{
    const auto addCreated = [&](auto created) -> std::optional<std::string> {
        if (std::string *const error = std::get_if<std::string>(&created))
            return std::move(*error);
        add(spec.kindName(), std::get<0>(created), std::nullopt);
        return std::nullopt;
    };
    return _kind == StreamKind::Video ? addCreated(SinkFactory::createVideoSink(spec, input, _environment.workers))
                                      : addCreated(SinkFactory::createAudioSink(spec, input, _environment.workers));
}

bool DecodedStream::haveOutputsBegun() const
{
    return std::all_of(_outputs.begin(), _outputs.end(), [](const Output &output) { return output.sink->hasBegun(); });
}

std::optional<std::string> DecodedStream::outputError() const
{
    for (const Output &output : _outputs) {
        if (const auto error = output.sink->status().error)
            return SafeText::utf8(*error);
    }
    return std::nullopt;
}

void DecodedStream::addReader(const ReaderBuffer &buffer)
{
    if (_kind == StreamKind::Video)
        add("reader",
            ModkitPtr<VideoReaderSink>(new VideoReaderSink(_shownName, std::get<0>(buffer), _settings.changes)),
            buffer);
    else
        add("reader",
            ModkitPtr<AudioReaderSink>(new AudioReaderSink(_shownName, std::get<1>(buffer), _settings.changes)),
            buffer);
}

template <class Sink>
void DecodedStream::add(std::string kind, const ModkitPtr<Sink> &sink, std::optional<ReaderBuffer> reader)
{
    const auto decode = [this, sink] {
        if constexpr (std::is_base_of_v<IVideoOutputQueue, Sink>)
            return _environment.manager.createVideoDecoder(_decoderQueue, sink, _settings.creationFlags, _name);
        else
            return _environment.manager.createAudioDecoder(_decoderQueue, sink, _settings.creationFlags, _name);
    };
    _outputs.push_back({std::move(kind), sink, decode, {}, std::move(reader), frames()});
}

std::optional<std::string> DecodedStream::decodeIntoOutputs()
{
    if (!_decodedSince)
        _decodedSince = RecentRate::Instant::clock::now();
    _gate->close();
    std::optional<std::string> error;
    for (Output &output : _outputs) {
        if (!output.decode)
            continue;
        output.handle = std::exchange(output.decode, {})();
        if (output.handle.isNull())
            error = _shownName + ": the component gives no decoder for it";
    }
    _gate->open();
    return error;
}

void DecodedStream::removeReader(const ReaderBuffer &buffer)
{
    const auto found = std::find_if(_outputs.begin(), _outputs.end(),
                                    [&buffer](const Output &output) { return output.reader == buffer; });
    if (found == _outputs.end())
        return;
    _framesBefore = frames();
    _outputs.erase(found);
}

void DecodedStream::cancel() const
{
    if (_pace)
        _pace->stop();
}

void DecodedStream::dropDecoder()
{
    for (Output &output : _outputs)
        output.handle.reset();
}

void DecodedStream::endOutputs()
{
    for (Output &output : _outputs)
        output.sink->end();
}

void DecodedStream::hurryOutputs()
{
    for (Output &output : _outputs)
        output.sink->hurry();
}

bool DecodedStream::areOutputsComplete(std::chrono::steady_clock::time_point now) const
{
    bool areComplete = true;
    for (const Output &output : _outputs)
        areComplete = output.sink->isComplete(now) && areComplete;
    return areComplete;
}

void DecodedStream::finishOutputs()
{
    for (Output &output : _outputs)
        output.sink->finish();
}

qint64 DecodedStream::frames() const
{
    qint64 frames = _framesBefore;
    for (const Output &output : _outputs)
        frames = std::max(frames, output.framesBefore + static_cast<qint64>(output.sink->status().records));
    return frames;
}

qint64 DecodedStream::frames(const std::vector<decoding::Snapshot::Output> &outputs) const
{
    qint64 frames = _framesBefore;
    for (std::size_t place = 0; place < outputs.size(); ++place)
        frames = std::max(frames, _outputs[place].framesBefore + outputs[place].frames);
    return frames;
}

qint64 DecodedStream::damaged(const DamageCounts::Counts &counts)
{
    return static_cast<qint64>(std::accumulate(counts.begin(), counts.end(), quint64(0)));
}

void DecodedStream::noteFirstFrame(RecentRate::Instant now)
{
    if (_firstFrameAt)
        return;
    const qint64 count = frames();
    if (count == 0)
        return;
    _firstFrameAt = now;
    _rate.begin(count, now);
}

std::vector<decoding::Snapshot::Output> DecodedStream::outputs() const
{
    std::vector<decoding::Snapshot::Output> all;
    all.reserve(_outputs.size());
    for (const Output &output : _outputs) {
        const ISink::Status status = output.sink->status();
        decoding::Snapshot::Output &shown = all.emplace_back();
        shown.kind = output.kind;
        shown.frames = static_cast<std::int64_t>(status.records);
        shown.dropped = static_cast<std::int64_t>(status.dropped);
        shown.nullBlocks = static_cast<std::int64_t>(status.nullBlocks);
        shown.bytes = static_cast<std::int64_t>(status.bytesWritten);
        shown.waitedMs = static_cast<std::int64_t>(status.waitedMs);
        shown.failed = static_cast<std::int64_t>(status.failed);
        shown.failing = status.failing;
        if (status.error)
            shown.error = SafeText::utf8(*status.error); // may name a file whose path is no text
    }
    return all;
}
