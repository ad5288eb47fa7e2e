#include "sinks/SinkFactory.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "sinks/PictureFileWriter.h"
#include "sinks/SampleFileWriter.h"
#include "sinks/SnapshotWriter.h"

namespace {

const std::map<OutputSpec::Kind, FileFormat> pictureFormats = {
    {OutputSpec::FrameMd5, {"framemd5", ".video.framemd5", AV_CODEC_ID_RAWVIDEO, true}},
    // That muxer takes the rows from where they are.
    {OutputSpec::Y4m, {"yuv4mpegpipe", ".y4m", AV_CODEC_ID_WRAPPED_AVFRAME, false}},
    {OutputSpec::Raw, {"rawvideo", ".video.raw", AV_CODEC_ID_RAWVIDEO, true}},
};

const std::map<OutputSpec::Kind, FileFormat> sampleFormats = {
    {OutputSpec::FrameMd5, {"framemd5", ".audio.framemd5", AV_CODEC_ID_PCM_S16LE, true}},
    {OutputSpec::Raw, {"s16le", ".audio.raw", AV_CODEC_ID_PCM_S16LE, true}},
    {OutputSpec::Wav, {"wav", ".wav", AV_CODEC_ID_PCM_S16LE, false, maxRiffBytes}},
};

std::optional<std::string> createDirectory(const QString &path)
{
    errno = 0;
    if (QDir().mkpath(path))
        return std::nullopt;
    return "cannot create the directory " + path.toStdString() + ": " +
           (QFileInfo::exists(path) ? "a file is in the way" : std::generic_category().message(errno));
}

OutputPlace placeOf(const OutputSpec &spec, const SinkFactory::Input &input)
{
    return {QDir(spec.directory).filePath(input.stem).toStdString(), input.inputs};
}

template <class Sink>
ModkitPtr<Sink> writingSink(const std::string &name, std::unique_ptr<typename Sink::Writer> writer,
                            SinkWorkers &workers)
{
    return ModkitPtr<Sink>(new Sink(name, std::move(writer), workers.next()));
}

/// @return a sink that writes through a muxer by the @p FileWriter.
template <class Sink, class FileWriter>
SinkFactory::Result<Sink> fileSink(const std::string &name, const OutputPlace &place, const FileFormat &format,
                                   qint64 startTimeUs, SinkWorkers &workers)
{
    auto writer = std::make_unique<FileWriter>(place, format, startTimeUs);
    if (auto error = writer->create())
        return *error;
    return writingSink<Sink>(name, std::move(writer), workers);
}

} // namespace

SinkFactory::Result<VideoSink> SinkFactory::createVideoSink(const OutputSpec &spec, const Input &input,
                                                            SinkWorkers &workers)
{
    const std::string name = input.stem.toStdString() + " video";
    if (!spec.takesVideo())
        return name + ": wav takes no pictures";
    if (spec.kind == OutputSpec::Null)
        return ModkitPtr<VideoSink>(new VideoSink(name, nullptr, nullptr));
    if (auto error = createDirectory(spec.directory))
        return *error;
    if (spec.kind == OutputSpec::Png)
        return writingSink<VideoSink>(
            name, std::make_unique<SnapshotWriter>(placeOf(spec, input), spec.snapshotInterval), workers);
    return fileSink<VideoSink, PictureFileWriter>(name, placeOf(spec, input), pictureFormats.at(spec.kind),
                                                  input.startTimeUs, workers);
}

SinkFactory::Result<AudioSink> SinkFactory::createAudioSink(const OutputSpec &spec, const Input &input,
                                                            SinkWorkers &workers)
{
    const std::string name = input.stem.toStdString() + " audio";
    if (!spec.takesAudio())
        return name + ": y4m and png take no samples";
    if (spec.kind == OutputSpec::Null)
        return ModkitPtr<AudioSink>(new AudioSink(name, nullptr, nullptr));
    if (auto error = createDirectory(spec.directory))
        return *error;
    return fileSink<AudioSink, SampleFileWriter>(name, placeOf(spec, input), sampleFormats.at(spec.kind),
                                                 input.startTimeUs, workers);
}
