#include "session/DecodedStream.h"

#include <utility>

#include "interfaces/CreationFlags.h"

namespace {

int creationFlags(const DecodeOptions &options, bool isLive)
{
    // What a live source sends is due when it comes.
    return (options.paced && !isLive ? CreationFlags::Paced : 0) |
           (options.excludeFromTuning ? CreationFlags::ExcludeFromTuning : 0);
}

} // namespace

std::variant<std::unique_ptr<DecodedStream>, std::string>
DecodedStream::create(const InputFeed::Stream &stream, const InputNames::Name &name, bool isLive,
                      const std::shared_ptr<const FileSet> &inputFiles, const Environment &environment)
{
    std::unique_ptr<DecodedStream> created(new DecodedStream(stream.description, environment));
    const SinkFactory::Input input{QString::fromStdString(name.stem), stream.startTimeUs, inputFiles};
    for (const OutputSpec &spec : environment.options.outputs) {
        std::optional<std::string> error;
        if (stream.description.kind == "video" && spec.takesVideo())
            error = created->addOutput(stream, input, spec, isLive, SinkFactory::createVideoSink,
                                       &IDecodingManager::createVideoDecoder);
        else if (stream.description.kind == "audio" && spec.takesAudio())
            error = created->addOutput(stream, input, spec, isLive, SinkFactory::createAudioSink,
                                       &IDecodingManager::createAudioDecoder);
        if (error)
            return *error;
    }
    return created;
}

DecodedStream::DecodedStream(MediaSource::Stream description, const Environment &environment)
    : _description(std::move(description))
    , _environment(environment)
{
}

DecodedStream::~DecodedStream()
{
    _environment.damage.forget(_description.origin);
}

template <class Sink, class CreateDecoder>
std::optional<std::string> DecodedStream::addOutput(
    const InputFeed::Stream &stream, const SinkFactory::Input &input, const OutputSpec &spec, bool isLive,
    SinkFactory::Result<Sink> (*createSink)(const OutputSpec &, const SinkFactory::Input &, SinkWorkers &),
    CreateDecoder createDecoder)
{
    auto created = createSink(spec, input, _environment.workers);
    if (std::string *const error = std::get_if<std::string>(&created))
        return std::move(*error);
    const ModkitPtr<Sink> &sink = std::get<ModkitPtr<Sink>>(created);
    const ModkitPtr<IDecoder> handle = (_environment.manager.*createDecoder)(
        stream.queue, sink, creationFlags(_environment.options, isLive), QString::fromUtf8(stream.description.origin));
    if (handle.isNull())
        return QString::fromUtf8(stream.description.origin).toStdString() + ": the component gives no decoder for it";
    _outputs.push_back({spec.kindName(), sink});
    _handles.push_back(handle);
    return std::nullopt;
}

void DecodedStream::dropDecoder()
{
    // The manager is locked while it waits for the block in progress: a disk that hangs would hold up everybody else.
    for (Output &output : _outputs)
        output.sink->waitNoMore();
    _handles.clear();
}

void DecodedStream::completeOutputs()
{
    for (Output &output : _outputs)
        output.sink->finish();
}

bool DecodedStream::isDecoderAwake() const
{
    if (!_environment.indications)
        return true;
    // Of decoders with the same name, the last is the present one.
    return _environment.indications->isSetByNamedThread(QString::fromUtf8(_description.origin),
                                                        QStringLiteral("DecoderCycle"));
}

qint64 DecodedStream::frames() const
{
    return _outputs.empty() ? 0 : static_cast<qint64>(_outputs.front().sink->status().records);
}

qint64 DecodedStream::damaged() const
{
    qint64 damaged = 0;
    for (const quint64 count : _environment.damage.of(_description.origin))
        damaged += static_cast<qint64>(count);
    return damaged;
}

std::vector<DecodeReport::Output> DecodedStream::outputs() const
{
    std::vector<DecodeReport::Output> told;
    for (const Output &output : _outputs) {
        const ISink::Status status = output.sink->status();
        told.push_back({output.kind, static_cast<qint64>(status.records), static_cast<qint64>(status.nullBlocks),
                        static_cast<qint64>(status.bytesWritten), static_cast<qint64>(status.waitedMs), status.error});
    }
    return told;
}
