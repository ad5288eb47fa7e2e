#ifndef HOST_TERMINAL_TERMINALTYPE_H
#define HOST_TERMINAL_TERMINALTYPE_H

#include <string>
#include <variant>

/// What the system's database knows of a kind of terminal, as far as it is needed before the screen is taken.
struct TerminalType {
    /// Looks up a terminal. Not while the screen library has a screen; thread-bound.
    /// @param name as in TERM. @param file of the terminal.
    /// @return the type, or one line that says why it cannot show a full screen.
    [[nodiscard]] static std::variant<TerminalType, std::string> of(const std::string &name, int file);

    std::string leaveText; // what gives back a screen that was taken, with a cursor and plain letters
};

#endif
