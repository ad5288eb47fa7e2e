#ifndef DECODING_SNAPSHOT_H
#define DECODING_SNAPSHOT_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <decoding/Export.h>
#include <decoding/Mode.h>

namespace decoding {

/// What an input is about.
enum class State {
    Queued,     // a file whose turn to be opened has not come, because others are decoded
    Connecting, // nothing is known of its streams yet
    Ready,      // nobody has asked for a frame yet
    Running,
    Waiting, // a live input has lost its connection, and tries again
    Ended,
    Failed,
    NoDecoder // of a stream alone: nothing can decode it
};

/// @return the word that lists and reports use: "queued", "connecting", "ready", "running", "waiting", "ended",
///         "failed", "no-decoder". Thread-safe.
DECODING_EXPORT const char *toText(State state);

/// How a light of a decoder looks.
enum class Light { Black, Good, Warning, Bad };

/// A session at one moment: whoever shows or tells something of it reads this. Plain values; texts are UTF-8, and may
/// hold anything but what is secret. Counters only grow while an input lives, also when a live input connects again.
struct Snapshot {
    /// Something that went wrong.
    struct Trouble {
        std::chrono::system_clock::time_point at;
        std::string text; // one line, without the name of what it is about
    };

    /// One place that the frames of a stream go to.
    struct Output {
        std::string kind;                 // as Output::kindName; "reader" for a FrameReader
        std::int64_t frames = 0;          // for audio, runs of samples
        std::int64_t dropped = 0;         // of them, because it was slow, or took no more at its end
        std::int64_t nullBlocks = 0;      // breaks in the stream
        std::int64_t bytes = 0;           // written to files
        std::int64_t waitedMs = 0;        // that the decoder was given nothing until it had room
        std::optional<std::string> error; // the first
        std::int64_t failed = 0;          // frames that could not be written, and are not among the dropped
        bool failing = false;             // the latest was one of them
    };

    /// From a block's arrival in its queue to its reading by the decoder.
    struct Latency {
        double averageMs = 0;
        std::int64_t lastMs = 0; // of the latest block, or how long the next one has waited
        std::int64_t maximumMs = 0;
    };

    /// The lights of a decoder, in this order.
    enum LightIndex { ModeLight, LostLight, CycleLight, LatencyLight, KeyBlockLight, NullBlockLight, PushedLight };
    static constexpr std::size_t lightCount = 7;
    using Lights = std::array<Light, lightCount>;

    struct Stream {
        std::string name;  // "<input> video" or "<input> audio"
        int index = 0;     // within the input
        std::string kind;  // "video" or "audio"
        std::string codec; // the present one, as are width and height
        int width = 0;     // of its pictures, in pixels; 0 when unknown or without pictures
        int height = 0;
        std::string missingCodec; // that there is no decoder for, such as "NOPE"; empty when there is one
        std::int64_t frames = 0;
        bool lacksFrames = false; // none has come, though its decoder began five seconds ago
        std::int64_t damaged = 0; // blocks, pictures and runs of samples
        std::optional<std::chrono::milliseconds> sinceDamage; // the latest; nothing when there was none
        std::int64_t lost = 0; // blocks of a live input that came faster than they could be decoded, or not at all
        std::int64_t late = 0; // of them: because the decoder was too slow
        std::optional<double> framesPerSecond;   // lately; nothing while it is unknown
        std::chrono::milliseconds delivering{0}; // since its first frame, or from that to its end
        std::optional<Latency> latency;          // of all streams that share its queue; nothing when no block was read
        Mode mode = Mode::Performance;
        bool tuned = true;            // whether switches of the mode concern it
        std::optional<Lights> lights; // nothing while there is no decoder, or without SessionOptions::lights
        std::string thread;           // the name of its decoder thread, where lights tell it
        std::vector<Output> outputs;
        std::optional<Trouble> lastError; // with it and its outputs, also when that is over

        /// @return the codec, and the size of pictures, such as "h264 1280x720".
        DECODING_EXPORT std::string form() const;
        /// @return over all outputs, the frames that could not be written.
        DECODING_EXPORT std::int64_t notWritten() const;
        /// @return the errors of its outputs, each with the number of frames that are missing there.
        DECODING_EXPORT std::vector<std::string> outputErrors() const;
    };

    struct Input {
        std::string name;
        State state = State::Connecting;
        bool live = false;
        std::optional<std::string> error;      // what is wrong now, or ended it too early: one line that names it
        std::optional<double> progress;        // part of a file that is read, 0 to 1
        std::chrono::milliseconds decoding{0}; // since its decoders began, or for as long as they worked
        std::optional<Trouble> lastError;      // also when that is over; those of its streams are theirs
        std::int64_t connections = 0;          // that a live input made
        std::int64_t packets = 0;              // read
        std::int64_t bytes = 0;                // read
        std::int64_t peakQueuedBlocks = 0;     // in its fullest queue
        std::int64_t peakQueuedBytes = 0;
        std::optional<Latency> latency; // over its streams
        std::vector<Stream> streams;    // video first; those that are or were decoded
        bool decoded = false;           // nothing more will be decoded; outputs may still be written
        bool finished = false;          // nothing of it changes any more, unless a stream is read that was not yet

        /// @return everything that makes it a failure, a line each: its error, then for each stream the damage, which a
        ///         live input may have without failing, that there is no decoder for it, that a live video has ended
        ///         without a picture, which is no failure in its first second, and the errors of its outputs with the
        ///         number of frames that are missing there.
        DECODING_EXPORT std::vector<std::string> errors() const;
        /// @return what went wrong last with the input or this stream of it.
        DECODING_EXPORT const std::optional<Trouble> &lastErrorOf(const Stream &stream) const;
        /// @return the state of one of its streams: its own, unless that has no decoder.
        State stateOf(const Stream &stream) const { return stream.missingCodec.empty() ? state : State::NoDecoder; }
    };

    struct Thread {
        std::string name;
        int decoders = 0;
    };

    /// A share of what decoding can use: 1.0 is every decoder thread busy, or where there are fewer cores, every core.
    struct Load {
        double now = std::numeric_limits<double>::quiet_NaN();
        std::int64_t samples = 0; // that were taken, one a second; the average and the maximum are theirs
        double average = 0;
        double maximum = 0;
    };

    struct Message {
        std::int64_t number = 0; // counts from 1 since the session's start
        std::chrono::system_clock::time_point at;
        std::string text;     // one line
        bool isError = false; // one of Input::errors, which whoever reports at the end tells again
    };

    std::chrono::system_clock::time_point at; // when it was taken
    std::chrono::milliseconds running{0};     // since the session's start
    Mode mode = Mode::Performance;
    std::string governor; // what switches the mode by itself and when, in a few words; empty when nothing does
    Load load;            // as the component counts it: without what it decodes in less than a millisecond
    Load measuredLoad;    // processor time of the decoder threads, which the governor goes by
    int decoders = 0;
    std::vector<Thread> threads;   // that have decoders, where lights tell it
    std::vector<Input> inputs;     // in the order in which they were opened, except for closed ones
    std::vector<Message> messages; // the latest, the newest at the end
};

} // namespace decoding

#endif
