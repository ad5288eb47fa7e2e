#include "LatencyFigures.h"

#include <QSemaphore>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

#include "LoadedComponent.h"
#include "NullServices.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds frameTime{40};

/// Gives a block each frame time, whose time stamp is the moment of its arrival, and in the end an empty block.
class ArrivingQueue final : public EmptyQueue {
public:
    ArrivingQueue(Clock::time_point begin, int blockCount)
        : _begin(begin)
        , _blockCount(static_cast<quint32>(blockCount))
    {
    }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        const quint32 index = cursor->word0;
        const Clock::time_point arrival = _begin + index * frameTime;
        if (index > _blockCount || Clock::now() < arrival)
            return false;
        cursor->word0 = index + 1;
        *data = index < _blockCount ? _block : QByteArray();
        *streamId = 0;
        *keyBlock = index % 50 == 0;
        *timestamp = std::chrono::nanoseconds(arrival.time_since_epoch()).count();
        *blockTime = index * frameTime.count();
        *lost = 0;
        *latency = 0;
        return true;
    }

private:
    const QByteArray _block = QByteArray("H264, and some coded data");
    const Clock::time_point _begin;
    const quint32 _blockCount;
};

/// Notes when it is called, and computes for a while.
class BusyCodecDecoder final : public IVideoCodecDecoder {
public:
    BusyCodecDecoder(std::chrono::nanoseconds work, std::vector<double> &latenciesUs)
        : _work(work)
        , _latenciesUs(latenciesUs)
    {
    }

    void decode(const QByteArray &data, bool /*keyBlock*/, qint64 timestamp, qint64 /*blockTime*/,
                const ModkitPtr<IVideoOutputQueue> * /*outputs*/, int /*outputCount*/) override
    {
        const auto sinceArrival = Clock::now().time_since_epoch() - std::chrono::nanoseconds(timestamp);
        if (data.isEmpty())
            return;
        _latenciesUs.push_back(std::chrono::duration<double, std::micro>(sinceArrival).count());
        const std::chrono::nanoseconds end = threadTime() + _work;
        while (threadTime() < end) {
        }
    }

private:
    /// Processor time, so that the load is the same on a machine that does other work as well.
    static std::chrono::nanoseconds threadTime()
    {
        timespec now = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    }

    const std::chrono::nanoseconds _work;
    std::vector<double> &_latenciesUs;
};

/// Hands out codec decoders, each with a place of its own for its figures.
class BusyFormatManager final : public NullFormatManager {
public:
    BusyFormatManager(std::chrono::nanoseconds work, std::vector<std::vector<double>> &latenciesUs)
        : _work(work)
        , _latenciesUs(latenciesUs)
    {
    }

    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 /*fourcc*/) override
    {
        const int number = _created.fetchAndAddRelaxed(1);
        return ModkitPtr<IVideoCodecDecoder>(
            new BusyCodecDecoder(_work, _latenciesUs[static_cast<std::size_t>(number)]));
    }

private:
    const std::chrono::nanoseconds _work;
    std::vector<std::vector<double>> &_latenciesUs;
    QAtomicInt _created;
};

/// Tells of each stream's end.
class EndOutput final : public NullOutputQueue {
public:
    explicit EndOutput(QSemaphore &ended)
        : _ended(ended)
    {
    }
    void push(const VideoFrameHandle & /*frame*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        _ended.release();
    }

private:
    QSemaphore &_ended;
};

} // namespace

int LatencyFigures::measure(int streamCount, int threadCount, int blockCount, unsigned seed)
{
    const auto work = std::chrono::nanoseconds(frameTime) * threadCount / streamCount / 2;
    std::vector<std::vector<double>> latenciesUs(static_cast<std::size_t>(streamCount));
    for (std::vector<double> &ofStream : latenciesUs)
        ofStream.reserve(static_cast<std::size_t>(blockCount));
    LoadedComponent component;
    if (const auto error =
            component.start(threadCount, ModkitPtr<IAVFormatManager>(new BusyFormatManager(work, latenciesUs)))) {
        std::fprintf(stderr, "%s\n", error->c_str());
        return 1;
    }

    std::mt19937 random(seed);
    std::uniform_int_distribution<long> phaseNs(0, std::chrono::nanoseconds(frameTime).count() - 1);
    const Clock::time_point begin = Clock::now() + frameTime;
    QSemaphore ended;
    const ModkitPtr<IVideoOutputQueue> output(new EndOutput(ended));
    std::vector<ModkitPtr<IDecoder>> handles;
    for (int stream = 0; stream < streamCount; ++stream) {
        const ModkitPtr<IInputQueue> queue(
            new ArrivingQueue(begin + std::chrono::nanoseconds(phaseNs(random)), blockCount));
        handles.push_back(
            component.manager().createVideoDecoder(queue, output, CreationFlags::Paced, QStringLiteral("camera")));
    }
    ended.acquire(streamCount);

    std::vector<double> allUs;
    for (const std::vector<double> &ofStream : latenciesUs)
        allUs.insert(allUs.end(), ofStream.begin(), ofStream.end());
    std::sort(allUs.begin(), allUs.end());
    for (const double latencyUs : allUs)
        std::printf("%.0f\n", latencyUs);
    return 0;
}
