#ifndef HOST_TERMINAL_STREAMROW_H
#define HOST_TERMINAL_STREAMROW_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <decoding/Snapshot.h>

/// One row of the board: a stream of a snapshot; or an input that has none yet, or never had. A view into the snapshot,
/// to be used as long as that is neither changed nor destroyed. Reentrant.
class StreamRow final {
public:
    using Lights = decoding::Snapshot::Lights;

    /// @return the rows of all inputs, in the order of the snapshot.
    [[nodiscard]] static std::vector<StreamRow> of(const decoding::Snapshot &snapshot);

    /// An input without streams.
    explicit StreamRow(const decoding::Snapshot::Input &input);
    /// @param stream of @p input.
    StreamRow(const decoding::Snapshot::Input &input, const decoding::Snapshot::Stream &stream);

    /// By it a selection finds the row again.
    const std::string &name() const { return *_name; }
    decoding::State state() const { return _input->stateOf(*_stream); }
    /// @return one line about what is wrong, without the name of the input before it, since it is shown beside the
    ///         name; empty when nothing is.
    [[nodiscard]] std::string trouble() const;

    const std::optional<Lights> &lights() const { return _stream->lights; }
    std::int64_t frames() const { return _stream->frames; }
    std::optional<double> framesPerSecond() const { return _stream->framesPerSecond; }
    /// Whether it is time that a frame had come, and none has.
    bool lacksFrames() const { return _stream->lacksFrames; }
    std::int64_t lost() const { return _stream->lost; }
    std::int64_t damaged() const { return _stream->damaged; }
    /// Whether it is being damaged now, or is a file that has failed by damage.
    bool isDamaged() const;
    std::int64_t notWritten() const { return _stream->notWritten(); }
    /// Whether an output cannot be written now.
    bool isFailingToWrite() const;
    std::int64_t connections() const { return _input->connections; }
    std::string form() const { return _stream->form(); }
    /// @return the latest trouble with the time of the day before it, also when it is over; empty when there was none.
    [[nodiscard]] std::string lastError() const;
    std::optional<std::int64_t> latencyMs() const;
    std::optional<std::int64_t> worstLatencyMs() const;
    /// @return false for a stream in a mode of its own, which no switch concerns.
    bool isTuned() const { return _stream->tuned; }
    decoding::Mode mode() const { return _stream->mode; }
    /// @return the word for the mode, or "fixed".
    const char *modeText() const { return isTuned() ? decoding::toText(mode()) : "fixed"; }
    const std::string &threadName() const { return _stream->thread; }

private:
    // Never null.
    const decoding::Snapshot::Input *_input;
    const decoding::Snapshot::Stream *_stream; // one without figures where the input has none
    const std::string *_name;
};

#endif
