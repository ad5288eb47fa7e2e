#include <QBasicTimer>
#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>
#include <QTimerEvent>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <string>
#include <vector>

#include "LatencyFigures.h"
#include "LoadedComponent.h"
#include "NullServices.h"
#include "ResourceUse.h"

/// Runs the component, loaded as a host does it, with many streams whose codec does nothing, and prints what a block,
/// an idle tick and a stream cost the whole process. A tool outside may count its instructions, too.
namespace {

/// Gives so many blocks once the gate is open, every 32nd a key block, and tells when the decoder asks for more.
class CountedQueue final : public EndlessQueue {
public:
    CountedQueue(quint32 blockCount, const std::atomic<bool> &open, QSemaphore &done)
        : _blockCount(blockCount)
        , _open(open)
        , _done(done)
    {
    }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency) override
    {
        if (!_open.load(std::memory_order_relaxed))
            return false;
        if (cursor->word0 < _blockCount)
            return EndlessQueue::readBlock(data, streamId, keyBlock, timestamp, blockTime, cursor, reserved1, reserved2,
                                           lost, latency);
        if (!_isReleased)
            _done.release();
        _isReleased = true;
        return false;
    }

private:
    const quint32 _blockCount;
    const std::atomic<bool> &_open;
    QSemaphore &_done;
    bool _isReleased = false;
};

/// Never has a block, and tells when it has been asked so often. It needs no gate: while the stream that was placed
/// last is asked so often, all others are, too.
class IdleQueue final : public EmptyQueue {
public:
    IdleQueue(quint32 tickCount, const std::atomic<bool> & /*open*/, QSemaphore &done)
        : _ticksLeft(tickCount)
        , _done(done)
    {
    }

    bool readBlock(QByteArray * /*data*/, quint32 * /*streamId*/, bool * /*keyBlock*/, qint64 * /*timestamp*/,
                   qint64 * /*blockTime*/, QueueCursor * /*cursor*/, void * /*reserved1*/, void * /*reserved2*/,
                   quint32 * /*lost*/, qint64 * /*latency*/) override
    {
        if (--_ticksLeft == 0)
            _done.release();
        return false;
    }

private:
    quint32 _ticksLeft; // wraps once it has released
    QSemaphore &_done;
};

/// A timer of the decoders' interval, and nothing else. Started by an event on its own thread, as a decoder's.
class BareTimer final : public QObject {
public:
    BareTimer(quint32 tickCount, QSemaphore &done)
        : _ticksLeft(tickCount)
        , _done(done)
    {
    }

protected:
    void customEvent(QEvent * /*event*/) override { _timer.start(1, this); }
    void timerEvent(QTimerEvent *event) override
    {
        if (event->timerId() == _timer.timerId() && --_ticksLeft == 0)
            _done.release();
    }

private:
    quint32 _ticksLeft; // wraps once it has released
    QSemaphore &_done;
    QBasicTimer _timer;
};

/// Prints what each of @p count units of work took, and the share of a core.
void print(const ResourceUse &use, double count)
{
    const double processorSeconds = use.processorSeconds();
    std::printf("ns-each %.1f\n", processorSeconds * 1e9 / count);
    std::printf("core-share %.4f\n", processorSeconds / use.wallSeconds());
}

/// Has @p timerCount bare timers tick so often, and prints what a tick took.
int measureTimers(int timerCount, int threadCount, int count)
{
    QSemaphore done;
    std::vector<QThread> threads(static_cast<std::size_t>(threadCount));
    for (QThread &thread : threads)
        thread.start();
    for (int timer = 0; timer < timerCount; ++timer) {
        QThread &thread = threads[static_cast<std::size_t>(timer % threadCount)];
        auto *const bareTimer = new BareTimer(static_cast<quint32>(count), done);
        bareTimer->moveToThread(&thread);
        QObject::connect(&thread, &QThread::finished, bareTimer, &QObject::deleteLater);
        QCoreApplication::postEvent(bareTimer, new QEvent(QEvent::User));
    }
    const ResourceUse use;
    done.acquire(timerCount);
    print(use, static_cast<double>(timerCount) * count);
    for (QThread &thread : threads) {
        thread.quit();
        thread.wait();
    }
    return 0;
}

/// Has @p streamCount streams read @p count blocks each, or be asked for one so often, and prints what each of these
/// took.
template <class Queue>
int measure(int streamCount, int threadCount, int count)
{
    LoadedComponent component;
    if (const auto error = component.start(threadCount, ModkitPtr<IAVFormatManager>(new NullFormatManager))) {
        std::fprintf(stderr, "%s\n", error->c_str());
        return 1;
    }
    const ModkitPtr<IVideoOutputQueue> output(new NullOutputQueue);
    std::atomic<bool> open{false};
    QSemaphore done;
    std::vector<ModkitPtr<IDecoder>> handles(static_cast<std::size_t>(streamCount));
    std::vector<ModkitPtr<IInputQueue>> queues;
    queues.reserve(handles.size());
    for (int stream = 0; stream < streamCount; ++stream)
        queues.emplace_back(new Queue(static_cast<quint32>(count), open, done));

    const std::size_t heapBefore = mallinfo2().uordblks;
    for (std::size_t stream = 0; stream < handles.size(); ++stream)
        handles[stream] = component.manager().createVideoDecoder(queues[stream], output, 0, QStringLiteral("camera"));
    const ResourceUse use;
    open = true;
    done.acquire(streamCount);
    print(use, static_cast<double>(streamCount) * count);
    std::printf("heap-bytes-per-stream %zu\n", (mallinfo2().uordblks - heapBefore) / handles.size());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1"); // as the reference host does
    QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const bool complete = argc == 5 || (argc == 6 && std::strcmp(argv[1], "latency") == 0);
    const std::string what = complete ? argv[1] : "";
    const int streamCount = complete ? std::atoi(argv[2]) : 0;
    const int threadCount = complete ? std::atoi(argv[3]) : 0;
    const int count = complete ? std::atoi(argv[4]) : 0;
    const int seed = argc == 6 ? std::atoi(argv[5]) : 1;
    if (streamCount > 0 && threadCount > 0 && count > 0) {
        // What decoder threads allocate for a stream counts too: one heap for all threads.
        mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
        if (what == "blocks")
            return measure<CountedQueue>(streamCount, threadCount, count);
        if (what == "idle")
            return measure<IdleQueue>(streamCount, threadCount, count);
        if (what == "timers")
            return measureTimers(streamCount, threadCount, count);
        if (what == "latency")
            return LatencyFigures::measure(streamCount, threadCount, count, static_cast<unsigned>(seed));
    }
    std::fputs("usage: stream_bench (blocks | idle | timers) STREAMS THREADS COUNT\n"
               "       stream_bench latency STREAMS THREADS COUNT [SEED]\n",
               stderr);
    return 2;
}
