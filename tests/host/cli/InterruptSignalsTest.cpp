#include "cli/InterruptSignals.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdlib>
#include <thread>
#include <unistd.h>

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
    for (int i = 0; i < times; ++i) {
        kill(getpid(), signal);
        QCoreApplication::processEvents();
    }
    std::_Exit(signals.isInterruptRequested() ? interrupted : 0);
}

/// @return whether the calling thread blocks @p signal.
bool blocks(int signal)
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
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

TEST(InterruptSignals, TakeTheEndOfTheSessionHoweverOftenItIsSignalled)
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
        EXPECT_FALSE(blocks(SIGHUP));
    }
    sigaction(SIGHUP, &before, nullptr);
}

TEST(InterruptSignals, ComeThoughTheShellHasThemIgnoredInTheBackground)
{
    const auto ignoreAndRaise = [](int times) {
        struct sigaction ignored = {};
        ignored.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignored, nullptr);
        const InterruptSignals signals;
        for (int i = 0; i < times; ++i) {
            kill(getpid(), SIGINT);
            QCoreApplication::processEvents();
        }
        std::_Exit(signals.isInterruptRequested() ? interrupted : 0);
    };
    EXPECT_EXIT(ignoreAndRaise(1), ExitedWithCode(interrupted), "");
    EXPECT_EXIT(ignoreAndRaise(2), KilledBySignal(SIGINT), "");
}

TEST(InterruptSignals, ComeToNoOtherThread)
{
    const InterruptSignals signals;
    bool areBlocked = false;
    std::thread([&areBlocked] { areBlocked = blocks(SIGINT) && blocks(SIGTERM); }).join();
    EXPECT_TRUE(areBlocked);
}

TEST(InterruptSignals, EndTheProgramOnceTheyAreLetGoOf)
{
    const auto raiseAfterwards = [] {
        struct sigaction standard = {};
        standard.sa_handler = SIG_DFL;
        sigaction(SIGTERM, &standard, nullptr);
        {
            const InterruptSignals signals;
        }
        kill(getpid(), SIGTERM);
        std::_Exit(0);
    };
    EXPECT_EXIT(raiseAfterwards(), KilledBySignal(SIGTERM), "");
}

TEST(InterruptSignals, AreHandledAsBeforeAfterwards)
{
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    struct sigaction before = {};
    sigaction(SIGTERM, &ignored, &before);
    {
        const InterruptSignals signals;
        EXPECT_TRUE(blocks(SIGTERM));
    }
    EXPECT_FALSE(blocks(SIGTERM));
    struct sigaction after = {};
    sigaction(SIGTERM, &before, &after);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
}
