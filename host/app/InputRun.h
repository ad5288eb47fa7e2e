#ifndef HOST_APP_INPUTRUN_H
#define HOST_APP_INPUTRUN_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "app/CommandLine.h"
#include "app/DecodeReport.h"
#include "app/InputNames.h"
#include "app/ProgressDisplay.h"
#include "format/DamageCounts.h"
#include "interfaces/IDecodingManager.h"
#include "queues/BlockQueue.h"
#include "queues/MediaSource.h"
#include "sinks/ISink.h"
#include "sinks/SinkFactory.h"
#include "sinks/SinkWorkers.h"

/// One input on its way from its source through the component to its outputs. Thread-bound; the source, the decoders and
/// the writers run on threads of their own.
class InputRun final {
public:
    /// What the inputs of a run share. Outlives them.
    struct Environment {
        const DecodeOptions &options;
        IDecodingManager &manager;
        SinkWorkers &workers;
        const DamageCounts &damage;
        /// The files that are read, all of them.
        std::shared_ptr<const FileSet> inputFiles;
    };

    /// Opens @p url, asks the component for a decoder of each of its streams, and makes their outputs. Blocks for 10
    /// seconds at most. @return the input, or one line that names it and says what is wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<InputRun>, std::string>
    open(const std::string &url, const InputNames::Name &name, const Environment &environment);

    InputRun(const InputRun &) = delete;
    InputRun &operator=(const InputRun &) = delete;
    /// Cancels what is still running, and completes its outputs.
    ~InputRun();

    /// Begins to read. Once only.
    void start();

    /// Has reading and decoding stop at once, with what is decoded so far. Does not wait.
    void cancel();

    /// Whether all there is to decode was decoded and pushed to the outputs.
    bool isDecoded() const { return _queue->isDrained(); }

    /// Drops the decoders, so that nothing reaches the outputs any more. Call it once the input is decoded or cancelled.
    void stopDecoding();
    /// Completes the outputs. Call it once decoding is stopped. Waits for the writing.
    void completeOutputs();
    bool isFinished() const { return _finished; }

    /// @return what went wrong with the input and its outputs so far.
    std::vector<std::string> errors() const;
    ProgressDisplay::Input progress() const;
    DecodeReport::Input report() const;

private:
    struct Output {
        std::string kind;
        ModkitPtr<ISink> sink;
    };
    struct Stream {
        MediaSource::Stream description;
        std::vector<Output> outputs;
        std::vector<ModkitPtr<IDecoder>> handles; // one for each output
    };

    InputRun(InputNames::Name name, const Environment &environment, std::unique_ptr<MediaSource> source);

    std::optional<std::string> addStream(const MediaSource::Stream &description);
    template <class Sink, class CreateDecoder>
    std::optional<std::string>
    addOutput(Stream &stream,
              SinkFactory::Result<Sink> (*createSink)(const OutputSpec &, const SinkFactory::Input &, SinkWorkers &),
              CreateDecoder createDecoder, const OutputSpec &spec);
    std::chrono::milliseconds runningTime() const;
    static qint64 frameCount(const Stream &stream);
    qint64 damageCount(const Stream &stream) const;

    const InputNames::Name _name;
    const Environment _environment;
    const std::unique_ptr<MediaSource> _source;
    const ModkitPtr<BlockQueue> _queue;
    std::vector<Stream> _streams; // constant once opened, but for the handles
    std::chrono::steady_clock::time_point _startedAt;
    std::chrono::steady_clock::time_point _finishedAt;
    bool _cancelled = false;
    bool _finished = false;
};

#endif
