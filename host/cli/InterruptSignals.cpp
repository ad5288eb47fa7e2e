#include "cli/InterruptSignals.h"

#include <QObject>

#include <unistd.h>

#include "terminal/TerminalGuard.h"
#include <sys/signalfd.h>

InterruptSignals::InterruptSignals()
{
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGINT);
    sigaddset(&mask, SIGTERM);
    // Who ignores the end of the session, as nohup does, wants to go on without it.
    struct sigaction present = {};
    sigaction(SIGHUP, nullptr, &present);
    if (present.sa_handler != SIG_IGN)
        sigaddset(&mask, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &mask, &_previousMask);
    _signals = Descriptor(::signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!_signals.isOpen()) {
        // The program has no descriptor left to read signals from: they end it as everywhere.
        pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
        return;
    }
    _notifier.emplace(_signals.get(), QSocketNotifier::Read);
    QObject::connect(&*_notifier, &QSocketNotifier::activated, [this] { take(); });
}

InterruptSignals::~InterruptSignals()
{
    pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
}

void InterruptSignals::take()
{
    signalfd_siginfo come = {};
    while (::read(_signals.get(), &come, sizeof come) == sizeof come) {
        const int signal = static_cast<int>(come.ssi_signo);
        // SIGHUP may arrive twice on logout (kernel and shell); the second is not an impatient user.
        if (_isRequested && signal != SIGHUP)
            endProgram(signal);
        _isRequested = true;
    }
}

void InterruptSignals::endProgram(int signal)
{
    TerminalGuard::giveBack();
    // Where a shell has started the program in the background, the signal is ignored.
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(signal, &standard, nullptr);

    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, signal);
    pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
    static_cast<void>(raise(signal));
}
