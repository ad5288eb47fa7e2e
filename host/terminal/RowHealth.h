#ifndef HOST_TERMINAL_ROWHEALTH_H
#define HOST_TERMINAL_ROWHEALTH_H

#include "terminal/StreamRow.h"

/// How well a stream is, judged by its state, its lights and its figures: the lights tell nothing of what becomes of a
/// block that was given to be decoded. Values only.
struct RowHealth {
    /// The worse, the greater. From Late on, somebody should look at the stream.
    enum Degree {
        Well,
        Ready,
        Over,
        Queued,
        Connecting,
        /// Some blocks lost, or a latency that was, or is, not what it should be.
        Uneasy,
        Late,
        Losing,
        /// Pictures or samples are not what was coded, or cannot be decoded.
        Damaged,
        /// Another light is red.
        Faulty,
        /// An output cannot be written.
        NotWritten,
        /// It runs, and gives no frames.
        Still,
        NoDecoder,
        Waiting,
        Failed
    };

    /// A stream is late by its present latency: the latency light alone shows the worst since the start, and does not
    /// go out again.
    [[nodiscard]] static RowHealth of(const StreamRow &row);

    bool isUnwell() const { return degree >= Late; }
    /// @return a few words for people; empty for a stream that is well.
    const char *text() const;

    Degree degree = Well;
};

#endif
