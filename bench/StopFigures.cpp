#include "StopFigures.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <vector>

#include "NullFramework.h"
#include "NullServices.h"

namespace {

constexpr int decoderCount = 1000;
constexpr int threadCount = 2;
constexpr int blockMs = 5;

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

void measureStop()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    measureStopAfter("placed", threadCount);
    measureStopAfter("running", decoderCount + decoderCount / 2);
}
