#ifndef HOST_TERMINAL_TERMINALGUARD_H
#define HOST_TERMINAL_TERMINALGUARD_H

#include <array>
#include <csignal>
#include <cstddef>
#include <string>
#include <termios.h>

/// Gives a terminal back as it was found if the program ends while this lives: by `exit`, or by a signal that tells of
/// a crash, on whatever thread; one that takes nothing is not waited for. Handlers that were there before for these
/// signals get them afterwards. Its regular end leaves the terminal alone. One at a time; thread-bound.
class TerminalGuard final {
public:
    /// @param file of the terminal, as it still is. Must stay open. @param leaveText what the terminal is sent to be
    /// left.
    TerminalGuard(int file, std::string leaveText);
    ~TerminalGuard();
    /// Gives the terminal back at once, if there is a guard: for who ends the program by another signal. May be called
    /// in a signal handler.
    static void giveBack();

    TerminalGuard(const TerminalGuard &) = delete;
    TerminalGuard &operator=(const TerminalGuard &) = delete;

private:
    static constexpr std::array<int, 6> signals{SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV};

    static void handleSignal(int number);
    void restore() const;

    const int _file;
    const std::string _leaveText;
    termios _modes = {};
    std::array<struct sigaction, signals.size()> _previous = {};
};

#endif
