#ifndef HOST_SESSION_DECODEDSTREAM_H
#define HOST_SESSION_DECODEDSTREAM_H

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/DecodeReport.h"
#include "format/DamageCounts.h"
#include "indications/IndicationManager.h"
#include "interfaces/IDecodingManager.h"
#include "session/InputFeed.h"
#include "session/InputNames.h"
#include "sinks/ISink.h"
#include "sinks/SinkFactory.h"
#include "sinks/SinkWorkers.h"

/// One stream of an input: the component's handles of its decoder, and the outputs that the decoder pushes to.
/// Thread-bound but for `end`.
class DecodedStream final {
public:
    /// What the streams of a run share. Outlives them.
    struct Environment {
        const DecodeOptions &options;
        IDecodingManager &manager;
        SinkWorkers &workers;
        DamageCounts &damage;
        const IndicationManager *indications = nullptr; // null where there are none
    };

    /// Asks the component for a decoder that reads @p stream's queue, and makes its outputs.
    /// @param inputFiles that no output may be written to.
    /// @return the stream, or one line that names its input and says what is wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<DecodedStream>, std::string>
    create(const InputFeed::Stream &stream, const InputNames::Name &name, bool isLive,
           const std::shared_ptr<const FileSet> &inputFiles, const Environment &environment);

    DecodedStream(const DecodedStream &) = delete;
    DecodedStream &operator=(const DecodedStream &) = delete;
    ~DecodedStream();

    /// Drops the decoder, so that nothing reaches the outputs any more. To be called once, when the input is decoded or
    /// cancelled. Thread-safe.
    void dropDecoder();
    /// Completes the outputs; to be called once the decoder is dropped. Waits for the writing. Thread-safe.
    void completeOutputs();

    /// Whether the decoder has looked for a block by now, as far as indications tell. A paced decoder that finds blocks at
    /// once takes them for what was missed, and gives no output what it makes of them.
    bool isDecoderAwake() const;

    const MediaSource::Stream &description() const { return _description; }
    /// That its first output was given.
    qint64 frames() const;
    /// What could not be decoded, or not whole.
    qint64 damaged() const;
    /// Of its outputs.
    std::vector<DecodeReport::Output> outputs() const;

private:
    struct Output {
        std::string kind;
        ModkitPtr<ISink> sink;
    };

    DecodedStream(MediaSource::Stream description, const Environment &environment);

    template <class Sink, class CreateDecoder>
    std::optional<std::string>
    addOutput(const InputFeed::Stream &stream, const SinkFactory::Input &input, const OutputSpec &spec, bool isLive,
              SinkFactory::Result<Sink> (*createSink)(const OutputSpec &, const SinkFactory::Input &, SinkWorkers &),
              CreateDecoder createDecoder);

    const MediaSource::Stream _description;
    const Environment _environment;
    std::vector<Output> _outputs;              // constant once created
    std::vector<ModkitPtr<IDecoder>> _handles; // one for each output
};

#endif
