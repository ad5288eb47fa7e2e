#ifndef HOST_SINKS_SINKFACTORY_H
#define HOST_SINKS_SINKFACTORY_H

#include <QString>

#include <memory>
#include <string>
#include <variant>

#include "sinks/OutputPlace.h"
#include "sinks/OutputSpec.h"
#include "sinks/Sink.h"
#include "sinks/SinkWorkers.h"
#include "strata/base/modkit/modkit"

/// Makes sinks. Workers create the files right away, with the directory where it is missing; what is wrong with that,
/// the sink tells:
///
/// | kind     | files of pictures                             | files of samples                      |
/// |----------|-----------------------------------------------|---------------------------------------|
/// | framemd5 | `<stem>.video.framemd5`                       | `<stem>.audio.framemd5`               |
/// | y4m      | `<stem>.y4m`, `<stem>.part2.y4m` on a change      |                                       |
/// | raw      | `<stem>.video.raw`                            | `<stem>.audio.raw`                    |
/// | wav      |                                               | `<stem>.wav`, `<stem>.part2.wav` on a change |
/// | png      | `<stem>-0001.png`, ...                        |                                       |
///
/// Pictures are written as they are decoded, without padding; samples as interleaved 16-bit ones.
///
/// A framemd5 file is to the letter what `ffmpeg -i X -map 0:N -vsync passthrough -autoscale 0 -bitexact -f framemd5`
/// writes for the same stream, but that: time stamps may differ where the container has discontinuities that the tool
/// smooths over, or has no time stamps, and those of samples by less than the container's unit where that is coarser
/// than a sample; and where size, pixel format, sample rate or channels change in mid-stream, the tool may convert to
/// what the stream began with, while here what was decoded is hashed.
namespace SinkFactory {

/// What is written.
struct Input {
    /// Begins the file names; differs between the inputs of a run.
    QString stem;
    /// The container's start time in microseconds, which becomes 0 in the files, 0 when unknown.
    qint64 startTimeUs = 0;
    /// What no output may be written to; may be null.
    std::shared_ptr<const InputFiles> inputs = {};
    /// As SinkLimits has it.
    std::shared_ptr<Gate> gate = {};
    OutputFile::Existing existing = OutputFile::Existing::Replace;
    /// Records of a live stream that may come all at once.
    int burst = 0;
    /// Set as Sink and Backlog have it; may be null.
    std::shared_ptr<ChangeNote> changes = {};
};

template <class Sink>
using Result = std::variant<ModkitPtr<Sink>, std::string>;

/// @param workers write for it. @return the sink, or one line that says why there can be none.
[[nodiscard]] Result<VideoSink> createVideoSink(const OutputSpec &spec, const Input &input, const SinkWorkers &workers);
[[nodiscard]] Result<AudioSink> createAudioSink(const OutputSpec &spec, const Input &input, const SinkWorkers &workers);

} // namespace SinkFactory

#endif
