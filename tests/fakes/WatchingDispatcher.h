#ifndef FAKES_WATCHINGDISPATCHER_H
#define FAKES_WATCHINGDISPATCHER_H

#include <QAbstractEventDispatcher>

#include <functional>

/// The event dispatcher of a thread that never runs: tells of each event that is posted to it, from within the posting.
/// Timers are accepted, and never fire.
class WatchingDispatcher : public QAbstractEventDispatcher {
public:
    std::function<void()> duringPost;

    void wakeUp() override
    {
        if (duringPost)
            duringPost();
    }
    bool processEvents(QEventLoop::ProcessEventsFlags /*flags*/) override { return false; }
    bool hasPendingEvents() override { return false; }
    void registerSocketNotifier(QSocketNotifier * /*notifier*/) override {}
    void unregisterSocketNotifier(QSocketNotifier * /*notifier*/) override {}
    void registerTimer(int /*id*/, int /*interval*/, Qt::TimerType /*type*/, QObject * /*object*/) override {}
    bool unregisterTimer(int /*id*/) override { return true; }
    bool unregisterTimers(QObject * /*object*/) override { return true; }
    QList<TimerInfo> registeredTimers(QObject * /*object*/) const override { return {}; }
    int remainingTime(int /*id*/) override { return -1; }
#if defined(Q_OS_WIN)
    bool registerEventNotifier(QWinEventNotifier * /*notifier*/) override
    {
        return false;
    }
    void unregisterEventNotifier(QWinEventNotifier * /*notifier*/) override {}
#endif
    void interrupt() override {}
    void flush() override {}
};

#endif
