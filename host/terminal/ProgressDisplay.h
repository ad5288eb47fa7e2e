#ifndef HOST_TERMINAL_PROGRESSDISPLAY_H
#define HOST_TERMINAL_PROGRESSDISPLAY_H

#include <chrono>
#include <optional>
#include <string>

#include <decoding/Snapshot.h>

/// Shows on a terminal how far a run has come: a line for each input that has streams, redrawn in place; a single line
/// for all where there are too many of them. The frames are those of an input's first stream that has a
/// decoder. Thread-bound.
class ProgressDisplay final {
public:
    /// @param file descriptor; nothing is ever written to it unless it is a terminal. @param quiet nothing is written
    ///        at all.
    ProgressDisplay(int file, bool quiet);
    /// As clear.
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /// Draws @p snapshot in the place of what was drawn last. Does nothing within a fifth of a second after that.
    void update(const decoding::Snapshot &snapshot, std::chrono::steady_clock::time_point now);

    /// Takes away what is drawn. To be called before anything else is written to the terminal.
    void clear();

    /// @return at most @p height lines of at most @p width characters, each with its end of line.
    [[nodiscard]] static std::string render(const decoding::Snapshot &snapshot, int width, int height);

private:
    void write(const std::string &text) const;

    const int _file; // -1 where nothing is to be shown
    int _drawnLines = 0;
    std::optional<std::chrono::steady_clock::time_point> _drawnAt;
};

#endif
