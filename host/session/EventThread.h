#ifndef HOST_SESSION_EVENTTHREAD_H
#define HOST_SESSION_EVENTTHREAD_H

#include <QtGlobal>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// The thread that runs Qt's event loop for all sessions of the process: the component and its listeners live in it.
/// Where there is no Qt application object when it begins, it makes one, and takes the messages of Qt's channels; both
/// for as long as it runs. Then it also has Qt do without GLib's event loop, and leave the program's locale as it is.
/// Thread-safe.
class EventThread final {
public:
    using Job = std::function<void()>;

    /// @return the one there is, or a new one. The last user's release ends it; not on the thread itself.
    /// @throws std::system_error when the system has no thread for it.
    static std::shared_ptr<EventThread> shared();

    EventThread(const EventThread &) = delete;
    EventThread &operator=(const EventThread &) = delete;
    /// Runs what was posted, and ends the thread.
    ~EventThread();

    /// Has @p job, which must not throw, run on the thread, after those posted before. Never blocks.
    void post(Job job);
    /// Runs @p job there and waits for it; at once where this is that thread. What it throws is thrown here.
    void call(const Job &job);

    /// Has each message of Qt's channels, in UTF-8, given to @p take, on the thread, until @p take is forgotten. Where
    /// a program has an application object of its own, the messages are the program's, and none come here.
    void addMessageTaker(const std::shared_ptr<std::function<void(const std::string &)>> &take);

private:
    class Receiver;

    EventThread();
    void run();
    void runJobs();
    static void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &text);
    void giveMessage(const std::string &text);

    std::mutex _mutex; // guards the next four
    std::condition_variable _ready;
    Receiver *_receiver = nullptr; // while the event loop runs
    std::vector<Job> _jobs;
    std::vector<std::weak_ptr<std::function<void(const std::string &)>>> _messageTakers;

    std::thread _thread; // last: it uses all the others
};

#endif
