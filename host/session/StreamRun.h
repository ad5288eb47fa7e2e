#ifndef HOST_SESSION_STREAMRUN_H
#define HOST_SESSION_STREAMRUN_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/DecodedStream.h"
#include "session/FeedRun.h"
#include "session/FutileDecoding.h"
#include "session/TroubleWatch.h"
#include <decoding/Output.h>

/// One kind of stream of an input, whether or not the input has it: who reads it, what it comes from, and its decoding
/// from the opening of its outputs until all have left it. Thread-bound.
class StreamRun final {
public:
    /// What it is opened with.
    struct Opening {
        DecodedStream::Settings settings;
        std::shared_ptr<Gate> gate;
        SinkFactory::Input input; // without the start time
        const std::vector<decoding::Output> &outputs;
    };
    /// One that is or was decoded, or would be if there were a decoder for it.
    struct Shown {
        const MediaSource::Stream &description;
        const DecodedStream *stream; // null while nobody reads it
        const FeedRun &run;
        qint64 framesBefore; // what came until all readers had left it
        qint64 damagedBefore;
        const TroubleWatch &troubles;
    };

    explicit StreamRun(StreamKind kind);
    StreamRun(const StreamRun &) = delete;
    StreamRun &operator=(const StreamRun &) = delete;

    StreamKind kind() const { return _kind; }

    // Who reads it.

    /// A reader wants frames.
    void start() { _isStarted = true; }
    /// Whether there are readers, one of which wants frames.
    bool isWanted() const { return _isStarted && !_readers.empty(); }
    bool hasReaders() const { return !_readers.empty(); }
    /// @return what is wrong with its decoder, if anything.
    [[nodiscard]] std::optional<std::string> addReader(const ReaderBuffer &buffer);
    void removeReader(const ReaderBuffer &buffer);
    /// Nothing will come for them, or nothing more.
    void endReaders() const;

    // What it comes from.

    /// Null before there is one.
    FeedRun *feed() const { return _feed; }
    /// @param isFresh it knows of no streams yet.
    void comeFrom(FeedRun &feed, bool isFresh);
    /// @p feed tells that it has, or now has, @p stream.
    void describe(const FeedRun &feed, const InputFeed::Stream &stream);
    /// Whether it is to come from @p feed, which does not have it.
    bool isMissingIn(const FeedRun &feed) const { return _feed == &feed && !_known; }
    /// There is no decoder for what its input has.
    void setUndecodable(std::optional<MediaSource::Stream> stream) { _undecodable = std::move(stream); }

    // Its decoding.

    /// Whether its outputs can be opened.
    bool isReady() const { return !_opening && !_stream && _feed && _known && _feed->isOpenForOutputs(); }
    /// Begins to open those outputs that take it. @return what is wrong with them at once.
    [[nodiscard]] std::optional<std::string> open(Opening opening, const DecodedStream::Environment &environment);
    bool isOpening() const { return _opening != nullptr; }
    /// Whether its outputs are open. @return what is wrong with them, if anything.
    bool haveOutputsBegun() const { return _opening->haveOutputsBegun(); }
    std::optional<std::string> outputError() const { return _opening->outputError(); }
    /// Gives up opening it.
    void dropOpening() { _opening.reset(); }
    /// Decodes it into the outputs that were opened, and for its readers. @return what is wrong with its decoder.
    [[nodiscard]] std::optional<std::string> decode();
    bool isDecoded() const { return _stream != nullptr; }
    /// Has outputs that are opening end with the feed, which is not cancelled yet.
    void close();
    /// Nobody reads it any more. Whoever comes next begins anew: with a live input where it is then, with a file at its
    /// beginning.
    void leave();
    /// To be called often: whether what comes is decoded in vain, because it is not what it was described as.
    [[nodiscard]] bool isFutile(std::chrono::steady_clock::time_point now);
    void noteFirstFrame(std::chrono::steady_clock::time_point now);

    // What is known of it.

    /// @param front the feed that opened the input. @return nothing for one that the input does not have.
    std::optional<Shown> shown(const FeedRun &front) const;
    /// @param inputName for people.
    TroubleWatch::Figures figures(const std::string &inputName) const;
    TroubleWatch &troubles() { return _troubles; }

private:
    const StreamKind _kind;
    bool _isStarted = false;
    std::vector<ReaderBuffer> _readers;
    FeedRun *_feed = nullptr;
    std::optional<InputFeed::Stream> _known;
    FutileDecoding _decoding;
    std::unique_ptr<DecodedStream> _opening;         // until its outputs are open
    DecodedStream *_stream = nullptr;                // while it is, or was, decoded; the feed's
    std::optional<MediaSource::Stream> _undecodable; // that there is no decoder for at present
    TroubleWatch _troubles;
    // Of the streams that all readers have left.
    std::optional<MediaSource::Stream> _description;
    qint64 _frames = 0;
    qint64 _damaged = 0;
};

#endif
