#ifndef HOST_SESSION_DECODEDSTREAM_H
#define HOST_SESSION_DECODEDSTREAM_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "format/DamageCounts.h"
#include "interfaces/IDecodingManager.h"
#include "queues/BurstTime.h"
#include "queues/Gate.h"
#include "queues/GatedQueue.h"
#include "session/InputFeed.h"
#include "session/RecentRate.h"
#include "sinks/FrameBuffer.h"
#include "sinks/ISink.h"
#include "sinks/OutputSpec.h"
#include "sinks/SinkFactory.h"
#include "sinks/SinkWorkers.h"
#include <decoding/Snapshot.h>

/// What waits for one reader.
using ReaderBuffer = std::variant<std::shared_ptr<PictureBuffer>, std::shared_ptr<SamplesBuffer>>;

/// One stream of an input: the component's handles of its decoder, and the outputs that the decoder pushes to. The
/// decoder lives as long as it has outputs. Thread-bound except where noted.
class DecodedStream final {
public:
    /// What the streams of a session share. Outlives them.
    struct Environment {
        IDecodingManager &manager;
        const SinkWorkers &workers;
        DamageCounts &damage;
        int threads = 1; // that decode
    };
    struct Settings {
        int creationFlags = 0;
        bool keyBlocksOnly = false;
        std::shared_ptr<ChangeNote> changes = {}; // set by its outputs; may be null
        /// Of whose time bursts of packets are decoded; null: packet by packet.
        std::shared_ptr<const BurstTime> bursts = {};
        int longestBurst = 0; // packets, within BurstTime::chosen; 0: as many as the time of `bursts` allows
        /// How long packets wait for each other to fill a burst; then they need no `bursts`.
        std::chrono::milliseconds burstPatience{0};
        int codecThreads = 1; // of libavcodec, where packets come in bursts
    };

    /// @param queue that the decoder is to read. @param gate closed by outputs without room.
    DecodedStream(const InputFeed::Stream &stream, const ModkitPtr<IInputQueue> &queue,
                  const std::shared_ptr<Gate> &gate, const Settings &settings, const Environment &environment);
    DecodedStream(const DecodedStream &) = delete;
    DecodedStream &operator=(const DecodedStream &) = delete;
    ~DecodedStream();

    /// Makes an output that writes, and has its file created. @return one line that names the input and says what is
    /// wrong.
    [[nodiscard]] std::optional<std::string> addOutput(const OutputSpec &spec, const SinkFactory::Input &input);
    /// Whether the files of all outputs were created, or could not be.
    bool haveOutputsBegun() const;
    /// What is wrong with one of them, if anything.
    std::optional<std::string> outputError() const;
    /// Makes one for a reader, whose buffer is ended with the stream.
    void addReader(const ReaderBuffer &buffer);
    /// Has the component decode into the outputs that were added since the last call. The decoder is given nothing to
    /// decode meanwhile, so that it begins with all of them. @return as above.
    [[nodiscard]] std::optional<std::string> decodeIntoOutputs();
    /// Does nothing when it has no such reader. Waits for the block that is being decoded.
    void removeReader(const ReaderBuffer &buffer);

    /// Has the decoder leave the rest of its burst. To be called when the input is cancelled.
    void cancel() const;
    /// Drops the decoder, so that nothing reaches the outputs any more. To be called once, when the input is decoded or
    /// cancelled, on any thread, while nobody changes the outputs.
    void dropDecoder();
    /// Completes the outputs; to be called once the decoder is dropped. The writing goes on. The next three are as
    /// ISink has them.
    void endOutputs();
    void hurryOutputs();
    bool areOutputsComplete(std::chrono::steady_clock::time_point now) const;
    /// As endOutputs, and waits for the writing.
    void finishOutputs();

    /// Whether the decoder has looked for a block by now. A paced decoder that finds blocks at once takes them for what
    /// was missed, and gives no output what it makes of them.
    bool isDecoderAwake() const { return _queue->wasRead(); }

    StreamKind kind() const { return _kind; }
    /// Of its decoder: "<input> video" or "<input> audio".
    const QString &name() const { return _name; }
    /// The same in UTF-8.
    const std::string &shownName() const { return _shownName; }
    const MediaSource::Stream &description() const { return _description; }
    /// It has become another one under way; what was asked for stays.
    void setDescription(const MediaSource::Stream &description) { _description = description; }
    /// That have come while anybody took them.
    qint64 frames() const;
    /// The same, of what outputs() has just returned, so that each output is asked once only.
    qint64 frames(const std::vector<decoding::Snapshot::Output> &outputs) const;
    /// @return how often something of @p counts could not be decoded, or not whole.
    static qint64 damaged(const DamageCounts::Counts &counts);
    /// What its codec decoder tells of it.
    DamageCounts::Condition condition() const { return _environment.damage.conditionOf(_damageKey); }
    /// Of its outputs.
    std::vector<decoding::Snapshot::Output> outputs() const;

    /// When its decoder began.
    const std::optional<RecentRate::Instant> &decodedSince() const { return _decodedSince; }
    /// Notes the first frame, which the rate counts from. To be called often.
    void noteFirstFrame(RecentRate::Instant now);
    /// When the first frame was noted.
    const std::optional<RecentRate::Instant> &firstFrameAt() const { return _firstFrameAt; }
    RecentRate &rate() { return _rate; }
    const RecentRate &rate() const { return _rate; }

private:
    struct Output {
        std::string kind;
        ModkitPtr<ISink> sink;
        std::function<ModkitPtr<IDecoder>()> decode; // into it; called once
        ModkitPtr<IDecoder> handle;                  // empty before
        std::optional<ReaderBuffer> reader;
        qint64 framesBefore = 0; // that the stream had when this output came
    };

    ModkitPtr<IInputQueue> makeDecoderQueue() const;
    template <class Sink>
    void add(std::string kind, const ModkitPtr<Sink> &sink, std::optional<ReaderBuffer> reader);

    // Constant after construction, except for the first.
    MediaSource::Stream _description;
    const StreamKind _kind;
    const QString _name;
    const std::string _shownName;
    const Settings _settings;
    const Environment _environment;
    const std::shared_ptr<Gate> _gate;
    const ModkitPtr<GatedQueue> _queue;
    const DamageCounts::Stream _damageKey;
    const std::shared_ptr<DecodingPace> _pace;  // null: packet by packet
    const ModkitPtr<IInputQueue> _decoderQueue; // _queue, or its bursts

    std::vector<Output> _outputs;
    qint64 _framesBefore = 0; // frames() when an output left last
    RecentRate _rate;
    std::optional<RecentRate::Instant> _decodedSince;
    std::optional<RecentRate::Instant> _firstFrameAt;
};

#endif
