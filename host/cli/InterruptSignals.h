#ifndef HOST_CLI_INTERRUPTSIGNALS_H
#define HOST_CLI_INTERRUPTSIGNALS_H

#include <QSocketNotifier>

#include <csignal>
#include <optional>

#include "control/Descriptor.h"

/// While it lives, SIGINT, SIGTERM and, unless it is ignored, SIGHUP come to the event loop of the thread that made it,
/// as a wish to end instead of an end. A second one, except for SIGHUP, ends the program at once and leaves the
/// terminal in order. Made before other threads are, so that these do not get the signals either. One at a time;
/// thread-bound.
///
/// Who is about to leave the event loop for a while lets go of it: then a signal ends the program as everywhere.
class InterruptSignals final {
public:
    InterruptSignals();
    ~InterruptSignals();
    InterruptSignals(const InterruptSignals &) = delete;
    InterruptSignals &operator=(const InterruptSignals &) = delete;

    /// @return whether one of them has come.
    [[nodiscard]] bool isInterruptRequested() const { return _isRequested; }

private:
    void take();
    static void endProgram(int signal);

    sigset_t _previousMask = {};
    Descriptor _signals;
    std::optional<QSocketNotifier> _notifier; // not without a descriptor
    bool _isRequested = false;
};

#endif
