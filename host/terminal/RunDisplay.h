#ifndef HOST_TERMINAL_RUNDISPLAY_H
#define HOST_TERMINAL_RUNDISPLAY_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "terminal/Board.h"
#include "terminal/BoardLines.h"
#include "terminal/BoardView.h"
#include "terminal/LineOutput.h"
#include "terminal/ProgressDisplay.h"
#include <decoding/Snapshot.h>

/// What a run shows while it lasts: the board, as a full screen where the standard output is a terminal, else as lines
/// on it; or the progress, where the standard error output is a terminal; and messages there, in any case.
/// Thread-bound.
class RunDisplay final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    struct Options {
        bool showsBoard = false;            // rather than the progress
        bool quiet = false;                 // shows messages only
        bool isStandardOutputTaken = false; // by others, so that the board is lines on the standard error output
    };

    explicit RunDisplay(Options options);
    RunDisplay(const RunDisplay &) = delete;
    RunDisplay &operator=(const RunDisplay &) = delete;
    /// Gives the terminal back, with the messages that could not be shown on it meanwhile.
    ~RunDisplay();

    /// Shows one line for people, which begins with its time.
    void tell(const std::string &message);

    /// @return whether `update` has anything to do. Spares those who ask the snapshot.
    [[nodiscard]] bool wantsUpdate(Instant now) const;

    /// Shows how the run is going, unless it has just done so. To be called some twenty times a second.
    /// @return what the operator wants, by the next key.
    BoardAction update(const decoding::Snapshot &snapshot, Instant now);

private:
    [[nodiscard]] bool isDue(Instant now) const;
    void updateLines(const decoding::Snapshot &snapshot, Instant now);
    BoardAction updateBoard(const decoding::Snapshot &snapshot, Instant now);
    void closeBoard();

    const bool _showsProgress;
    ProgressDisplay _progress;
    std::unique_ptr<Board> _board; // while it has the screen
    LineOutput _lineOutput;
    std::optional<BoardLines> _lines; // where there is no terminal for the board
    std::vector<std::string> _hidden; // messages behind the board
    std::optional<Instant> _updatedAt;
};

#endif
