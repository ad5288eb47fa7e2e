#ifndef HOST_APP_WARNINGLOG_H
#define HOST_APP_WARNINGLOG_H

#include <QtGlobal>

#include <mutex>
#include <string>
#include <vector>

/// While it lives, takes the messages on Qt's channels, of all threads: keeps warnings and what is worse until they are
/// taken, and drops the others. One at a time; thread-safe.
class WarningLog final {
public:
    WarningLog();
    ~WarningLog();
    WarningLog(const WarningLog &) = delete;
    WarningLog &operator=(const WarningLog &) = delete;

    /// @return the warnings since the last call, in UTF-8.
    std::vector<std::string> take();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    std::mutex _mutex;
    std::vector<std::string> _warnings; // guarded by _mutex
    QtMessageHandler _previous;
};

#endif
