#include "session/EventThread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <exception>
#include <future>
#include <optional>
#include <utility>

#include "threads/HostThread.h"

namespace {

// Held while the thread is begun and ended, so that no other begins before the application object of the last has gone.
std::mutex sharedMutex;
EventThread *onlyThread = nullptr; // guarded by sharedMutex, as is the next one
int userCount = 0;

std::mutex messageMutex;
EventThread *messageThread = nullptr; // that takes Qt's messages; guarded by messageMutex

} // namespace

/// Stands in the thread for those who want something done there.
class EventThread::Receiver final : public QObject {
public:
    Receiver(EventThread &thread, QEventLoop &loop)
        : _thread(thread)
        , _loop(loop)
    {
    }

    static void wake(Receiver *receiver) { QCoreApplication::postEvent(receiver, new QEvent(QEvent::User)); }
    void quit() { _loop.quit(); }

protected:
    void customEvent(QEvent * /*event*/) override { _thread.runJobs(); }

private:
    EventThread &_thread;
    QEventLoop &_loop;
};

std::shared_ptr<EventThread> EventThread::shared()
{
    const std::lock_guard<std::mutex> lock(sharedMutex);
    if (!onlyThread)
        onlyThread = new EventThread;
    ++userCount;
    return std::shared_ptr<EventThread>(onlyThread, [](EventThread * /*thread*/) {
        const std::lock_guard<std::mutex> userLock(sharedMutex);
        if (--userCount == 0)
            delete std::exchange(onlyThread, nullptr);
    });
}

EventThread::EventThread()
    : _thread(HostThread::start("Events", [this] { run(); }))
{
    std::unique_lock<std::mutex> lock(_mutex);
    _ready.wait(lock, [this] { return _receiver != nullptr; });
}

EventThread::~EventThread()
{
    {
        const std::lock_guard<std::mutex> lock(messageMutex);
        if (messageThread == this)
            messageThread = nullptr;
    }
    // The receiver lives until the loop has ended.
    post([this] { _receiver->quit(); });
    _thread.join();
}

void EventThread::run()
{
    // A tick of a decoder thread takes GLib's event loop, which Qt would use, more than twice the instructions of Qt's
    // own. A program with an application object has decided by itself.
    if (!QCoreApplication::instance() && !qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    int argumentCount = 1;
    char name[] = "decoding";
    char *arguments[] = {name, nullptr};
    std::optional<QCoreApplication> application;
    QtMessageHandler previous = nullptr;
    const bool ownsQt = !QCoreApplication::instance();
    if (ownsQt) {
        // Qt would switch the whole program to the user's locale, in which numbers may have a comma.
        const std::string locale = std::setlocale(LC_ALL, nullptr); // NOLINT(concurrency-mt-unsafe): as Qt does
        application.emplace(argumentCount, arguments);
        std::setlocale(LC_ALL, locale.c_str()); // NOLINT(concurrency-mt-unsafe): as Qt does
        previous = qInstallMessageHandler(&EventThread::handleMessage);
    }
    {
        QEventLoop loop;
        Receiver receiver(*this, loop);
        if (ownsQt) {
            const std::lock_guard<std::mutex> lock(messageMutex);
            messageThread = this;
        }
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _receiver = &receiver;
        }
        _ready.notify_all();
        loop.exec();
        runJobs();
    }
    if (ownsQt)
        qInstallMessageHandler(previous);
}

void EventThread::post(Job job)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _jobs.push_back(std::move(job));
    if (_jobs.size() == 1)
        Receiver::wake(_receiver);
}

void EventThread::call(const Job &job)
{
    if (std::this_thread::get_id() == _thread.get_id()) {
        job();
        return;
    }
    auto task = std::make_shared<std::packaged_task<void()>>(job);
    std::future<void> done = task->get_future();
    post([task] { (*task)(); });
    done.get();
}

void EventThread::runJobs()
{
    std::vector<Job> jobs;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        jobs = std::exchange(_jobs, {});
    }
    for (const Job &job : jobs)
        job();
}

void EventThread::addMessageTaker(const std::shared_ptr<std::function<void(const std::string &)>> &take)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _messageTakers.push_back(take);
}

void EventThread::handleMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    const std::string message = text.toStdString();
    // Qt ends the process next: no later report would reach anybody.
    if (type == QtFatalMsg)
        std::fprintf(stderr, "decoding: %s\n", message.c_str());
    const std::lock_guard<std::mutex> lock(messageMutex);
    if (EventThread *const thread = messageThread)
        thread->post([thread, message] { thread->giveMessage(message); });
}

void EventThread::giveMessage(const std::string &text)
{
    std::vector<std::shared_ptr<std::function<void(const std::string &)>>> takers;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        auto left = std::remove_if(_messageTakers.begin(), _messageTakers.end(), [&takers](const auto &weak) {
            auto taker = weak.lock();
            if (!taker)
                return true;
            takers.push_back(std::move(taker));
            return false;
        });
        _messageTakers.erase(left, _messageTakers.end());
    }
    for (const auto &take : takers)
        (*take)(text);
}
