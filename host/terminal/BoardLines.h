#ifndef HOST_TERMINAL_BOARDLINES_H
#define HOST_TERMINAL_BOARDLINES_H

#include <chrono>
#include <optional>
#include <string>

#include <decoding/Snapshot.h>

/// The board where there is no terminal: every few seconds a line about the host and one for each stream, in the order
/// of the input, made of words for `grep`. Reentrant.
class BoardLines final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    explicit BoardLines(std::chrono::milliseconds interval = std::chrono::seconds(5));

    /// @return the lines when the interval since the last ones is over, and at the first call; else nothing.
    [[nodiscard]] std::optional<std::string> update(const decoding::Snapshot &snapshot, Instant now);

    /// @return the lines, each with its end of line. Each begins with the time of the snapshot, and is a list of
    ///         `key=value`; a text stands in quotes, in which a backslash precedes quotes and backslashes, and is made
    ///         safe by SafeText; what is unknown is a dash.
    [[nodiscard]] static std::string render(const decoding::Snapshot &snapshot);

private:
    const std::chrono::milliseconds _interval;
    std::optional<Instant> _writtenAt;
};

#endif
