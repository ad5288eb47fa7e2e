#include "manager/DecodingManager.h"

#include <QDebug>
#include <QMutexLocker>

#include <algorithm>
#include <memory>

#include "cpuload/CpuLoadCalculator.h"
#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "manager/DecoderHandler.h"
#include "manager/DecoderThread.h"

namespace {

constexpr uint decoderStackSize = 102400; // bytes
constexpr int loadIntervalMs = 1000;

// The place that failed assertions are reported at, with fixed line numbers.
const char *const sourceFile = "DecodingManager";
const char *const queuesGiven = "!inputQueue.isNull() && !outputQueue.isNull()";

} // namespace

bool DecodingManager::init(const ModkitPtr<ISettings> &settings, IObjectRegistry &registry,
                           const ModkitPtr<IComponent> &self)
{
    _formatManager = ModkitPtr<IAVFormatManager>(registry.getObject(InterfaceIdentifiers::avFormatManager));
    if (_formatManager.isNull())
        return false;
    _indicationManager = ModkitPtr<IIndicationManager>(registry.getObject(InterfaceIdentifiers::indicationManager));

    const int idealCount = QThread::idealThreadCount();
    const quint32 threadCount = static_cast<quint32>(settings->getInt("THREADS", idealCount == -1 ? 1 : idealCount));
    startThreads(threadCount);
    _cpuLoadCalculator = new CpuLoadCalculator(this, loadIntervalMs, threadCount, nullptr);

    _registry = &registry;
    _self = ModkitPtr<DecodingManager>(self);
    registry.setObject(InterfaceIdentifiers::decodingManager, ModkitPtr<IPolymorph>(self));
    registry.setObject(InterfaceIdentifiers::tuneDecoding, ModkitPtr<IPolymorph>(self));
    return true;
}

void DecodingManager::stop()
{
    {
        const QMutexLocker lock(&_mutex);
        // Only the destructor releases _indicationManager: a host may count on it that it is held until then.
        _formatManager.reset();
        _self.reset();
    }
    withdraw();
    endLoadMeasurement();
    {
        const QMutexLocker lock(&_mutex);
        disposeDecodersLocked(_videoDecoders);
        disposeDecodersLocked(_audioDecoders);
    }
    endThreads();
}

int DecodingManager::check()
{
    return 1;
}

ModkitPtr<IDecoder> DecodingManager::createVideoDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                                        const ModkitPtr<IVideoOutputQueue> &outputQueue, int flags,
                                                        const QString &name)
{
    ModkitAssert(!inputQueue.isNull() && !outputQueue.isNull(), queuesGiven, sourceFile, 156);
    return createDecoder<VideoStreamDecoder>(_videoDecoders, inputQueue, outputQueue, flags, name);
}

ModkitPtr<IDecoder> DecodingManager::createAudioDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                                        const ModkitPtr<IAudioOutputQueue> &outputQueue, int flags,
                                                        const QString &name)
{
    ModkitAssert(!inputQueue.isNull() && !outputQueue.isNull(), queuesGiven, sourceFile, 193);
    return createDecoder<AudioStreamDecoder>(_audioDecoders, inputQueue, outputQueue, flags, name);
}

double DecodingManager::cpuLoad(QObject *listener)
{
    const QMutexLocker lock(&_mutex);
    return _cpuLoadCalculator ? _cpuLoadCalculator->currentLoad(listener) : 0.0;
}

void DecodingManager::removeCpuLoadListener(QObject *listener)
{
    const QMutexLocker lock(&_mutex);
    if (_cpuLoadCalculator)
        _cpuLoadCalculator->removeListener(listener);
}

int DecodingManager::decoderCount()
{
    const QMutexLocker lock(&_mutex);
    return _videoDecoders.count() + _audioDecoders.count();
}

void DecodingManager::usePerformanceMode()
{
    switchMode(true, "Decoders set to performance mode");
}

void DecodingManager::useTimeSavingMode()
{
    switchMode(false, "Decoders set to time-saving mode");
}

quint32 DecodingManager::totalDecodingTime()
{
    const QMutexLocker lock(&_mutex);
    quint32 totalMs = 0;
    visitDecoders(
        [&](BaseSingleStreamDecoder &decoder) { totalMs += static_cast<quint32>(decoder.takeDecodingTime()); });
    return totalMs;
}

qint64 DecodingManager::maxLatency()
{
    qint64 largestMs = 0;
    visitTunedDecoders(
        [&](BaseSingleStreamDecoder &decoder) { largestMs = std::max(largestMs, decoder.takeMaxLatency()); });
    return largestMs;
}

quint32 DecodingManager::anyBlockDecoded()
{
    const QMutexLocker lock(&_mutex);
    quint32 any = 0;
    visitTunedDecoders([&](BaseSingleStreamDecoder &decoder) { any = std::max(any, decoder.takeDecodedFlag()); });
    return any;
}

double DecodingManager::maxLossRatio()
{
    const QMutexLocker lock(&_mutex);
    double largest = 0.0;
    visitTunedDecoders([&](BaseSingleStreamDecoder &decoder) {
        // In this order of arguments, what is not a number never replaces the largest.
        largest = std::max(largest, decoder.takeLossRatio());
    });
    return largest;
}

qint64 DecodingManager::averageLatency()
{
    quint64 sumMs = 0; // unsigned, because a queue may report anything
    quint32 count = 0;
    visitTunedDecoders([&](BaseSingleStreamDecoder &decoder) {
        const std::pair<qint64, quint32> totals = decoder.takeLatencyTotals();
        sumMs += static_cast<quint64>(totals.first);
        count += totals.second;
    });
    return count == 0 ? 0 : static_cast<qint64>(sumMs) / count;
}

void DecodingManager::startThreads(quint32 count)
{
    // The names count from 1; with the largest count, the index must not wrap to 0.
    for (quint32 index = 0; index < count; ++index) {
        DecoderThread *const thread = new DecoderThread;
        thread->setStackSize(decoderStackSize);
        thread->start(QThread::InheritPriority);
        thread->waitUntilRunning();
        thread->setObjectName(QString::fromLatin1("Decoder/%1").arg(index + 1));
        _threads.append(thread);
        _decodersPerThread.append(0);
    }
}

void DecodingManager::endThreads()
{
    // A thread that ends runs the deferred deletion of the decoders that live on it.
    const QVector<QThread *> threads = _threads;
    for (QThread *thread : threads) {
        thread->quit();
        thread->wait();
        delete thread;
    }
}

void DecodingManager::withdraw()
{
    _registry->setObject(InterfaceIdentifiers::decodingManager, ModkitPtr<IPolymorph>());
    _registry->setObject(InterfaceIdentifiers::tuneDecoding, ModkitPtr<IPolymorph>());
}

void DecodingManager::endLoadMeasurement()
{
    const QMutexLocker lock(&_mutex);
    delete _cpuLoadCalculator;
    _cpuLoadCalculator = nullptr;
}

void DecodingManager::disposeDecodersLocked(DecoderRegistry &registry)
{
    while (registry.count() > 0) {
        // Null where the construction of a decoder failed; the decoders behind it have to go all the same.
        if (BaseSingleStreamDecoder *const decoder = registry.takeFirst())
            decoder->dispose();
    }
    registry.clear();
}

template <class StreamDecoder, class OutputQueue>
ModkitPtr<IDecoder> DecodingManager::createDecoder(DecoderRegistry &registry, const ModkitPtr<IInputQueue> &inputQueue,
                                                   const ModkitPtr<OutputQueue> &outputQueue, int flags,
                                                   const QString &name)
{
    const QMutexLocker lock(&_mutex);
    if (_formatManager.isNull())
        return ModkitPtr<IDecoder>();

    auto *decoder = static_cast<StreamDecoder *>(registry.findOrReserve(inputQueue));
    std::unique_ptr<StreamDecoder> placed;
    if (!decoder) {
        placed = placeDecoderLocked<StreamDecoder>(inputQueue, flags, name);
        decoder = placed.get();
    }
    const int id = registry.registerOutput(decoder);
    placed.release(); // NOLINT(bugprone-unused-return-value): the registry has it
    try {
        decoder->addOutput(static_cast<quint32>(id), outputQueue);
        auto *const handler = new DecoderHandler(id, &registry == &_videoDecoders);
        const ModkitPtr<IDecoder> handle(handler);
        // Only now: without memory for its counter block, the handler is deleted under the lock that it would take.
        handler->setManager(_self);
        return handle;
    } catch (...) {
        // Nobody has a handle that would ever give the output back.
        releaseOutputLocked(registry, id);
        throw;
    }
}

template <class StreamDecoder>
std::unique_ptr<StreamDecoder> DecodingManager::placeDecoderLocked(const ModkitPtr<IInputQueue> &inputQueue, int flags,
                                                                   const QString &name)
{
    const int thread = chooseDecoderThread();
    // A construction that throws leaves the count raised: the thread then passes for one decoder busier than it is.
    if (thread < _decodersPerThread.size())
        ++_decodersPerThread[thread];
    const bool performanceMode = (flags & CreationFlags::ExcludeFromTuning) != 0 || _performanceMode;
    auto decoder = std::make_unique<StreamDecoder>(this, _formatManager, _indicationManager, inputQueue,
                                                   static_cast<quint32>(thread), flags, performanceMode, name);
    decoder->moveTo(_threads.value(thread));
    return decoder;
}

int DecodingManager::chooseDecoderThread() const
{
    // Where the process goes on without a thread, the decoder is placed nowhere: it never runs, nor ends.
    ModkitAssert(!_decodersPerThread.empty(), "!_decodersPerThread.empty()", sourceFile, 403);
    return static_cast<int>(std::min_element(_decodersPerThread.begin(), _decodersPerThread.end()) -
                            _decodersPerThread.begin());
}

void DecodingManager::releaseDecoder(int id, bool isVideo)
{
    const QMutexLocker lock(&_mutex);
    releaseOutputLocked(isVideo ? _videoDecoders : _audioDecoders, id);
}

void DecodingManager::releaseOutputLocked(DecoderRegistry &registry, int id)
{
    BaseSingleStreamDecoder *const decoder = registry.releaseOutput(id);
    if (!decoder)
        return;
    const int thread = static_cast<int>(decoder->threadIndex());
    if (thread < _decodersPerThread.size())
        --_decodersPerThread[thread];
    decoder->dispose();
}

void DecodingManager::switchMode(bool performanceMode, const char *message)
{
    const QMutexLocker lock(&_mutex);
    _performanceMode = performanceMode;
    qDebug() << message;
    visitTunedDecoders([&](BaseSingleStreamDecoder &decoder) { decoder.setPerformanceMode(performanceMode); });
}

/// Calls @p visit for every decoder, video before audio, as they stand in a copy of their registry. The copy of one is
/// gone before the other is copied.
template <class Visit>
void DecodingManager::visitDecoders(Visit visit) const
{
    for (const DecoderRegistry *registry : {&_videoDecoders, &_audioDecoders}) {
        const DecoderRegistry snapshot = *registry;
        for (BaseSingleStreamDecoder *decoder : snapshot) {
            // Null where the construction of a decoder failed.
            if (decoder)
                visit(*decoder);
        }
    }
}

template <class Visit>
void DecodingManager::visitTunedDecoders(Visit visit) const
{
    visitDecoders([&](BaseSingleStreamDecoder &decoder) {
        if (!(decoder.flags() & CreationFlags::ExcludeFromTuning))
            visit(decoder);
    });
}
