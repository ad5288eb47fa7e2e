#ifndef HOST_TERMINAL_PROGRESSDISPLAY_H
#define HOST_TERMINAL_PROGRESSDISPLAY_H

#include <QtGlobal>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// Shows on a terminal how far a run has come: a line for each input, redrawn in place; a single line for all where there
/// are too many of them. Thread-bound.
class ProgressDisplay final {
public:
    struct Input {
        enum class Phase { Running, Done, Failed };

        std::string name;
        Phase phase = Phase::Running;
        std::optional<double> progress; // from 0.0 to 1.0; nothing when it cannot be told
        qint64 frames = 0;
        double framesPerSecond = 0;
    };
    using State = std::vector<Input>;

    /// @param file descriptor; nothing is ever written to it unless it is a terminal. @param quiet nothing is written at
    ///        all.
    ProgressDisplay(int file, bool quiet);
    /// As clear.
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /// Draws @p state in the place of what was drawn last. Does nothing within a fifth of a second after that.
    void update(const State &state, std::chrono::steady_clock::time_point now);

    /// Takes away what is drawn. To be called before anything else is written to the terminal.
    void clear();

    /// @return at most @p height lines of at most @p width characters, each with its end of line.
    [[nodiscard]] static std::string render(const State &state, int width, int height);

private:
    void write(const std::string &text) const;

    const int _file; // -1 where nothing is to be shown
    int _drawnLines = 0;
    std::optional<std::chrono::steady_clock::time_point> _drawnAt;
};

#endif
