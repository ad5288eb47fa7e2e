#include "sinks/SinkFactory.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <type_traits>
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

/// Of a live stream, which cannot wait for its output: a second or so, while a disk or a machine is busy.
constexpr int liveRecords = 32;
/// Of one that can: runs of samples are small, and decoded many at a time.
constexpr int waitingRunsOfSamples = 64;

OutputPlace placeOf(const OutputSpec &spec, const SinkFactory::Input &input)
{
    OutputPlace place;
    place.base = (std::filesystem::path(spec.directory) / input.stem.toStdString()).string();
    place.inputs = input.inputs;
    place.existing = input.existing;
    place.isStandardOutput = spec.isStandardOutput();
    return place;
}

template <class Handle, class Header>
auto backlogOf(std::unique_ptr<IRecordWriter<Header>> writer, const OutputPlace &place, const SinkFactory::Input &input,
               const SinkWorkers &workers)
{
    SinkLimits limits;
    limits.gate = input.gate;
    if (!limits.gate)
        limits.records = std::max(liveRecords, input.burst);
    else if (std::is_same_v<Header, SamplesHeader>)
        limits.records = waitingRunsOfSamples;
    return std::make_shared<Backlog<Handle, Header>>(std::move(writer), limits, place.watch, workers.pool(),
                                                     input.changes);
}

ModkitPtr<VideoSink> videoSink(const std::string &name, std::unique_ptr<IRecordWriter<PictureHeader>> writer,
                               const OutputPlace &place, const SinkFactory::Input &input, const SinkWorkers &workers)
{
    return ModkitPtr<VideoSink>(
        new VideoSink(name, backlogOf<VideoFrameHandle>(std::move(writer), place, input, workers), input.changes));
}

} // namespace

SinkFactory::Result<VideoSink> SinkFactory::createVideoSink(const OutputSpec &spec, const Input &input,
                                                            const SinkWorkers &workers)
{
    const std::string name = input.stem.toStdString() + " video";
    if (!spec.takesVideo())
        return name + ": wav takes no pictures";
    if (spec.kind == OutputSpec::Null)
        return ModkitPtr<VideoSink>(new VideoSink(name, nullptr, input.changes));
    const OutputPlace place = placeOf(spec, input);
    if (spec.kind == OutputSpec::Png)
        return videoSink(name, std::make_unique<SnapshotWriter>(place, spec.snapshotInterval), place, input, workers);
    return videoSink(name, std::make_unique<PictureFileWriter>(place, pictureFormats.at(spec.kind), input.startTimeUs),
                     place, input, workers);
}

SinkFactory::Result<AudioSink> SinkFactory::createAudioSink(const OutputSpec &spec, const Input &input,
                                                            const SinkWorkers &workers)
{
    const std::string name = input.stem.toStdString() + " audio";
    if (!spec.takesAudio())
        return name + ": y4m and png take no samples";
    if (spec.kind == OutputSpec::Null)
        return ModkitPtr<AudioSink>(new AudioSink(name, nullptr, input.changes));
    const OutputPlace place = placeOf(spec, input);
    auto writer = std::make_unique<SampleFileWriter>(place, sampleFormats.at(spec.kind), input.startTimeUs);
    return ModkitPtr<AudioSink>(new AudioSink(
        name, backlogOf<AudioSampleHandle, SamplesHeader>(std::move(writer), place, input, workers), input.changes));
}
