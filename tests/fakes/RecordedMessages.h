#ifndef FAKES_RECORDEDMESSAGES_H
#define FAKES_RECORDEDMESSAGES_H

#include <QString>
#include <QtGlobal>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// While it lives, takes the messages on Qt's channels, of all threads, as "debug: text" or "warning: text". One at a
/// time.
class RecordedMessages {
public:
    RecordedMessages()
    {
        current() = this;
        _previous = qInstallMessageHandler(&RecordedMessages::handle);
    }
    ~RecordedMessages() { qInstallMessageHandler(_previous); }
    RecordedMessages(const RecordedMessages &) = delete;
    RecordedMessages &operator=(const RecordedMessages &) = delete;

    /// The messages since the last take.
    std::vector<std::string> take()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return std::exchange(_messages, {});
    }

private:
    static RecordedMessages *&current()
    {
        static RecordedMessages *instance = nullptr;
        return instance;
    }

    static void handle(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
    {
        const std::string channel = type == QtDebugMsg ? "debug: " : type == QtWarningMsg ? "warning: " : "other: ";
        const std::lock_guard<std::mutex> lock(current()->_mutex);
        current()->_messages.push_back(channel + text.toStdString());
    }

    std::mutex _mutex;
    std::vector<std::string> _messages;
    QtMessageHandler _previous;
};

#endif
