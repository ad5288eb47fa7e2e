#include "terminal/TerminalGuard.h"

#include <atomic>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace {

std::atomic<const TerminalGuard *> current = nullptr;

} // namespace

TerminalGuard::TerminalGuard(int file, std::string leaveText)
    : _file(file)
    , _leaveText(std::move(leaveText))
{
    tcgetattr(_file, &_modes);
    current = this;
    static const bool atExit = std::atexit(&TerminalGuard::giveBack) == 0;
    static_cast<void>(atExit);

    struct sigaction action = {};
    action.sa_handler = &TerminalGuard::handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_ONSTACK; // of a thread that has overrun its own
    for (std::size_t i = 0; i < signals.size(); ++i)
        sigaction(signals[i], &action, &_previous[i]);
}

TerminalGuard::~TerminalGuard()
{
    for (std::size_t i = 0; i < signals.size(); ++i)
        sigaction(signals[i], &_previous[i], nullptr);
    current = nullptr;
}

// Whatever is called here may be called in a signal handler.
void TerminalGuard::handleSignal(int number)
{
    if (const TerminalGuard *const guard = current.exchange(nullptr)) {
        guard->restore();
        for (std::size_t i = 0; i < signals.size(); ++i)
            sigaction(signals[i], &guard->_previous[i], nullptr);
    }
    // Comes when this handler has returned.
    static_cast<void>(raise(number));
}

void TerminalGuard::giveBack()
{
    if (const TerminalGuard *const guard = current.exchange(nullptr))
        guard->restore();
}

void TerminalGuard::restore() const
{
    // One that takes nothing keeps no program from ending.
    constexpr int patienceMs = 200;
    pollfd room = {_file, POLLOUT, 0};
    if (poll(&room, 1, patienceMs) > 0)
        static_cast<void>(write(_file, _leaveText.data(), _leaveText.size()));
    tcsetattr(_file, TCSANOW, &_modes);
}
