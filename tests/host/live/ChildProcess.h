#ifndef TESTS_HOST_LIVE_CHILDPROCESS_H
#define TESTS_HOST_LIVE_CHILDPROCESS_H

#include <QProcess>

#include <csignal>

#include <sys/prctl.h>

/// A process that is killed when the thread that started it ends, should that be by a crash: who waits for the tests
/// waits for all that holds their output.
class ChildProcess final : public QProcess {
private:
    void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
};

#endif
