#ifndef HOST_CLI_WARNINGLOG_H
#define HOST_CLI_WARNINGLOG_H

#include <QtGlobal>

#include <string>
#include <vector>

/// While it lives, takes the messages on Qt's channels, of all threads: keeps warnings and what is worse until they are
/// taken, and drops the others. A fatal message, which ends the program, is written to the standard error output at
/// once, behind the warnings that nobody will take any more. One at a time; thread-safe.
class WarningLog final {
public:
    WarningLog();
    /// Warnings that were not taken are lost. A message that is on its way through another thread meanwhile is kept
    /// before, or written to the standard error output afterwards.
    ~WarningLog();
    WarningLog(const WarningLog &) = delete;
    WarningLog &operator=(const WarningLog &) = delete;

    /// @return the warnings since the last call, in UTF-8.
    std::vector<std::string> take();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    std::vector<std::string> _warnings; // guarded by the mutex that guards which log is the current one
    QtMessageHandler _previous;
};

#endif
