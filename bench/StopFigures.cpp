#include "ThreadPoolFigures.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QThread>
#include <QTimerEvent>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

#include "NullFramework.h"
#include "NullServices.h"
#include <sys/resource.h>

namespace {

constexpr int decoderCount = 1000;
constexpr int threadCount = 2;
constexpr int blockMs = 5;

/// Counted on one thread, read on another. Stands in the object that counts, lest two threads write to one cache line.
class Ticks {
public:
    void count() { _count.store(_count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed); }
    long total() const { return _count.load(std::memory_order_relaxed); }

private:
    std::atomic<long> _count{0};
};

/// Never has a block, and counts how often it is asked.
class AskedQueue final : public EmptyQueue {
public:
    bool readBlock(QByteArray * /*data*/, quint32 * /*streamId*/, bool * /*keyBlock*/, qint64 * /*timestamp*/,
                   qint64 * /*blockTime*/, QueueCursor * /*cursor*/, void * /*reserved1*/, void * /*reserved2*/,
                   quint32 * /*lost*/, qint64 * /*latency*/) override
    {
        ticks.count();
        return false;
    }

    Ticks ticks;
};

/// A timer of the decoders' interval, and nothing else. Started as a decoder's, by an event on its own thread.
class BareTimer final : public QObject {
public:
    Ticks ticks;

protected:
    void customEvent(QEvent * /*event*/) override { _timer.start(1, this); }
    void timerEvent(QTimerEvent *event) override
    {
        if (event->timerId() == _timer.timerId())
            ticks.count();
    }

private:
    QBasicTimer _timer;
};

struct IdleLoad {
    double coreShare;      // processor time of the process for each second
    double ticksPerSecond; // of one decoder or timer
};

double processTimeSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

long totalOf(const std::vector<const Ticks *> &ticks)
{
    long total = 0;
    for (const Ticks *one : ticks)
        total += one->total();
    return total;
}

/// Watches for a while what runs on other threads and counts in @p ticks.
IdleLoad watch(const std::vector<const Ticks *> &ticks)
{
    constexpr unsigned long windowMs = 50;
    QElapsedTimer elapsed;
    elapsed.start();
    const long ticksBefore = totalOf(ticks);
    const double timeBefore = processTimeSeconds();
    QThread::msleep(windowMs);
    const double timeAfter = processTimeSeconds();
    const long ticksAfter = totalOf(ticks);
    const double seconds = static_cast<double>(elapsed.nsecsElapsed()) / 1e9;
    return {(timeAfter - timeBefore) / seconds, static_cast<double>(ticksAfter - ticksBefore) / seconds / decoderCount};
}

IdleLoad loadOfDecoders()
{
    NullFramework framework(threadCount, ModkitPtr<IAVFormatManager>(new NullFormatManager));
    std::vector<const Ticks *> ticks;
    std::vector<ModkitPtr<IDecoder>> handles;
    handles.reserve(decoderCount);
    for (int decoder = 0; decoder < decoderCount; ++decoder) {
        auto *const queue = new AskedQueue;
        ticks.push_back(&queue->ticks);
        handles.push_back(framework.decode(ModkitPtr<IInputQueue>(queue)));
    }
    framework.settle();
    return watch(ticks);
}

IdleLoad loadOfBareTimers()
{
    std::vector<const Ticks *> ticks;
    QThread threads[threadCount];
    for (QThread &thread : threads)
        thread.start();
    for (int timer = 0; timer < decoderCount; ++timer) {
        QThread &thread = threads[timer % threadCount];
        auto *const bareTimer = new BareTimer;
        ticks.push_back(&bareTimer->ticks);
        bareTimer->moveToThread(&thread);
        QObject::connect(&thread, &QThread::finished, bareTimer, &QObject::deleteLater);
        QCoreApplication::postEvent(bareTimer, new QEvent(QEvent::User));
    }
    for (QThread &thread : threads)
        waitForPostedEvents(&thread);
    const IdleLoad load = watch(ticks);
    for (QThread &thread : threads) {
        thread.quit();
        thread.wait();
    }
    return load;
}

/// The rounds of one of the two.
struct IdleRounds {
    std::vector<double> coreShares;
    std::vector<double> tickTimesNs;
    std::vector<double> tickRates; // of one decoder or timer, for each second

    void add(const IdleLoad &load)
    {
        coreShares.push_back(load.coreShare);
        tickTimesNs.push_back(load.coreShare * 1e9 / load.ticksPerSecond / decoderCount);
        tickRates.push_back(load.ticksPerSecond);
    }

    void print(const char *name) const
    {
        std::printf("idle-%s-share %.3f\n", name, median(coreShares));
        std::printf("idle-%s-ns-per-tick %.0f\n", name, median(tickTimesNs));
        std::printf("idle-%s-ticks-per-second %.0f\n", name, median(tickRates));
    }
};

/// Of two rounds that followed each other, which the machine treated alike. In ascending order.
std::vector<double> ratiosOf(const std::vector<double> &values, const std::vector<double> &references)
{
    std::vector<double> ratios;
    for (std::size_t round = 0; round < values.size(); ++round)
        ratios.push_back(values[round] / references[round]);
    std::sort(ratios.begin(), ratios.end());
    return ratios;
}

/// Keeps its thread busy for a while with each block.
class SlowCodecDecoder final : public NullCodecDecoder {
public:
    explicit SlowCodecDecoder(std::atomic<int> &blockCount)
        : _blockCount(blockCount)
    {
    }
    void decode(const QByteArray & /*data*/, bool /*keyBlock*/, qint64 /*timestamp*/, qint64 /*blockTime*/,
                const ModkitPtr<IVideoOutputQueue> * /*outputs*/, int /*outputCount*/) override
    {
        ++_blockCount;
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(blockMs);
        while (std::chrono::steady_clock::now() < end) {
        }
    }

private:
    std::atomic<int> &_blockCount;
};

class SlowFormatManager final : public NullFormatManager {
public:
    explicit SlowFormatManager(std::atomic<int> &blockCount)
        : _blockCount(blockCount)
    {
    }
    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 /*fourcc*/) override
    {
        return ModkitPtr<IVideoCodecDecoder>(new SlowCodecDecoder(_blockCount));
    }

private:
    std::atomic<int> &_blockCount;
};

struct Stop {
    double timeMs;
    int blockCount; // blocks whose decoding began meanwhile
};

/// Stops a manager after its decoders have begun so many blocks.
Stop stopAfter(int blocksBefore)
{
    std::atomic<int> blockCount{0};
    NullFramework framework(threadCount, ModkitPtr<IAVFormatManager>(new SlowFormatManager(blockCount)));
    std::vector<ModkitPtr<IDecoder>> handles;
    handles.reserve(decoderCount);
    for (int decoder = 0; decoder < decoderCount; ++decoder)
        handles.push_back(framework.decode(ModkitPtr<IInputQueue>(new EndlessQueue)));
    while (blockCount < blocksBefore)
        QThread::msleep(1);

    const int begun = blockCount;
    QElapsedTimer timer;
    timer.start();
    framework.stop();
    return {static_cast<double>(timer.nsecsElapsed()) / 1e6, blockCount - begun};
}

void measureStopAfter(const char *name, int blocksBefore)
{
    Stop worst{0.0, 0};
    for (int round = 0; round < 3; ++round) {
        const Stop stop = stopAfter(blocksBefore);
        worst.timeMs = std::max(worst.timeMs, stop.timeMs);
        worst.blockCount = std::max(worst.blockCount, stop.blockCount);
    }
    std::printf("stop-%s-ms %.1f\n", name, worst.timeMs);
    std::printf("stop-%s-blocks %d\n", name, worst.blockCount);
}

} // namespace

void measureIdleLoad()
{
    IdleRounds decoders;
    IdleRounds bareTimers;
    for (int round = 0; round < 150; ++round) {
        bareTimers.add(loadOfBareTimers());
        decoders.add(loadOfDecoders());
    }
    decoders.print("decoders");
    bareTimers.print("timers");
    const std::vector<double> shareRatios = ratiosOf(decoders.coreShares, bareTimers.coreShares);
    // The 95 % confidence interval of a median: ranks of the binomial distribution, here in its normal approximation.
    const auto rounds = static_cast<double>(shareRatios.size());
    const auto lowRank = static_cast<std::size_t>((rounds - 1.96 * std::sqrt(rounds)) / 2);
    std::printf("idle-rounds %zu\n", shareRatios.size());
    std::printf("idle-share-ratio %.3f\n", median(shareRatios));
    std::printf("idle-share-ratio-low %.3f\n", shareRatios[lowRank]);
    std::printf("idle-share-ratio-high %.3f\n", shareRatios[shareRatios.size() - 1 - lowRank]);
    std::printf("idle-tick-ratio %.2f\n", median(ratiosOf(decoders.tickTimesNs, bareTimers.tickTimesNs)));
}

void measureStop()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    measureStopAfter("placed", threadCount);
    measureStopAfter("running", decoderCount + decoderCount / 2);
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}
