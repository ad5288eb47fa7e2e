#include "cli/InterruptSignals.h"

#include <csignal>
#include <cstdlib>

#include <gmock/gmock.h>

using testing::ExitedWithCode;
using testing::KilledBySignal;

namespace {

// The child process ends with this code when an interrupt was asked for.
constexpr int interrupted = 7;

/// In a child process only.
void raiseAndExit(int signal, int times)
{
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(signal, &standard, nullptr);
    const InterruptSignals signals;
    for (int i = 0; i < times; ++i)
        static_cast<void>(raise(signal));
    std::_Exit(InterruptSignals::isInterruptRequested() ? interrupted : 0);
}

} // namespace

TEST(InterruptSignals, AskForAnInterruptOnceAndEndTheProgramTheSecondTime)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        EXPECT_EXIT(raiseAndExit(signal, 0), ExitedWithCode(0), "");
        EXPECT_EXIT(raiseAndExit(signal, 1), ExitedWithCode(interrupted), "");
        EXPECT_EXIT(raiseAndExit(signal, 2), KilledBySignal(signal), "");
    }
}

TEST(InterruptSignals, TakeTheEndOfTheSessionHoweverOftenItIsTold)
{
    EXPECT_EXIT(raiseAndExit(SIGHUP, 3), ExitedWithCode(interrupted), "");
}

TEST(InterruptSignals, LeaveTheEndOfTheSessionIgnoredWhereItWas)
{
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    struct sigaction before = {};
    sigaction(SIGHUP, &ignored, &before);
    {
        const InterruptSignals signals;
        struct sigaction during = {};
        sigaction(SIGHUP, nullptr, &during);
        EXPECT_EQ(during.sa_handler, SIG_IGN);
    }
    sigaction(SIGHUP, &before, nullptr);
}

TEST(InterruptSignals, AreHandledAsBeforeAfterwards)
{
    struct sigaction before = {};
    sigaction(SIGTERM, nullptr, &before);
    {
        const InterruptSignals signals;
        struct sigaction during = {};
        sigaction(SIGTERM, nullptr, &during);
        EXPECT_NE(during.sa_handler, before.sa_handler);
    }
    struct sigaction after = {};
    sigaction(SIGTERM, nullptr, &after);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}
