#ifndef HOST_CLI_INTERRUPTSIGNALS_H
#define HOST_CLI_INTERRUPTSIGNALS_H

#include <array>
#include <csignal>

/// While it lives, SIGINT, SIGTERM and, unless it is ignored, SIGHUP ask for an interrupt instead of ending the
/// program; a second one, but for SIGHUP, ends it and leaves the terminal in order. One at a time.
class InterruptSignals final {
public:
    InterruptSignals();
    ~InterruptSignals();
    InterruptSignals(const InterruptSignals &) = delete;
    InterruptSignals &operator=(const InterruptSignals &) = delete;

    /// @return whether one of them has ever come. Thread-safe.
    static bool isInterruptRequested();

private:
    struct Handled {
        int signal;
        struct sigaction previous;
    };
    std::array<Handled, 3> _handled = {{{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}}};
};

#endif
