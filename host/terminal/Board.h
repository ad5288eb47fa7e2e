#ifndef HOST_TERMINAL_BOARD_H
#define HOST_TERMINAL_BOARD_H

#include <memory>
#include <string>
#include <variant>

#include "terminal/BoardPicture.h"
#include "terminal/BoardView.h"
#include "terminal/LoadHistory.h"
#include <decoding/Snapshot.h>

/// The board on the terminal that is the standard output: takes the whole screen from it and gives it back as it was
/// when it is destroyed, when the program leaves by `exit`, and when a signal ends it. One at a time; thread-bound.
/// While it lives, nothing else should be written to the terminal: messages belong into the snapshot.
class Board final {
public:
    /// Takes the screen. Keys come from the standard input or, where that is no terminal, from the controlling
    /// terminal. Colours are shown where the terminal has them and NO_COLOR is not set to something. The program must
    /// have set its locale before, as QCoreApplication does, and its handlers for SIGINT and SIGTERM, if it wants to
    /// have any: without them, these signals end the program.
    /// @return one line that says what is wrong where the terminal cannot show the board; it is left as it was.
    [[nodiscard]] static std::variant<std::unique_ptr<Board>, std::string> open();
    ~Board();
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    /// Draws @p snapshot in the terminal's present size. Sends what has changed on the screen only; a few times a
    /// second will do; where it is less than once a second, the load's history has gaps. Blocks while the terminal
    /// takes nothing.
    void draw(const decoding::Snapshot &snapshot);

    /// Takes the keys that were pressed since the last call. Never blocks. Redraw says that @ref draw should follow
    /// soon, for a key or for a new size of the terminal. To be called until it returns None or Redraw, some twenty
    /// times a second; from TerminalLost on it returns nothing else, and there is no use in calling it or in drawing
    /// any more.
    BoardAction poll();

    /// @return whether @ref poll may return something else than None. Never blocks.
    [[nodiscard]] bool hasNews() const;

private:
    class Screen;

    explicit Board(std::unique_ptr<Screen> screen);

    const std::unique_ptr<Screen> _screen;
    BoardView _view;
    LoadHistory _loads;
};

#endif
