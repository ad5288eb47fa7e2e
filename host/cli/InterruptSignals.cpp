#include "cli/InterruptSignals.h"

#include <atomic>

#include "terminal/TerminalGuard.h"

namespace {

std::atomic<bool> interruptRequested{false};

void requestInterrupt(int number)
{
    // SIGHUP may arrive twice on logout (kernel and shell); the second is not an impatient user.
    if (!interruptRequested.exchange(true) || number == SIGHUP)
        return;
    TerminalGuard::giveBack();
    struct sigaction end = {};
    end.sa_handler = SIG_DFL;
    sigaction(number, &end, nullptr);
    // Comes when this handler has returned.
    static_cast<void>(raise(number));
}

} // namespace

InterruptSignals::InterruptSignals()
{
    struct sigaction action = {};
    action.sa_handler = requestInterrupt;
    for (Handled &handled : _handled) {
        sigaction(handled.signal, &action, &handled.previous);
        // Who ignores the end of the session, as nohup does, wants to go on without it.
        if (handled.signal == SIGHUP && handled.previous.sa_handler == SIG_IGN)
            sigaction(SIGHUP, &handled.previous, nullptr);
    }
}

InterruptSignals::~InterruptSignals()
{
    for (const Handled &handled : _handled)
        sigaction(handled.signal, &handled.previous, nullptr);
}

bool InterruptSignals::isInterruptRequested()
{
    return interruptRequested;
}
