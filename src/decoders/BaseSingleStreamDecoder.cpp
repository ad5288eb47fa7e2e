#include "decoders/BaseSingleStreamDecoder.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QMutexLocker>
#include <QThread>
#include <QTimerEvent>
#include <QtEndian>

#include "QtVersions.h"
#include "decoders/NoCallback.h"

namespace {

constexpr int cycleIntervalMs = 1;
constexpr int catchUpLimitMs = 500;
constexpr int blinkMs = 500;
constexpr int noTimeout = -1;

enum IndicationValue { Good = 0, Warning = 1, Alternative = 1, Bad = 2, Black = 3 };

qint64 wallClockMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

/// Ends a blink: turns the indication black.
class Blacken final : public ISimpleIndicationObjectCallback {
public:
    void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> &indication) override
    {
        indication->setValue(Black, noTimeout, NoCallback());
    }
};

inline void show(const ModkitPtr<IIndicationObject> &indication, int value)
{
    if (!indication.isNull())
        indication->setValue(value, noTimeout, NoCallback());
}

template <class Figure>
inline void showLevel(const ModkitPtr<IIndicationObject> &indication, Figure figure, Figure warningFrom, Figure badFrom)
{
    if (!indication.isNull())
        indication->setValue(figure >= badFrom ? Bad : figure >= warningFrom ? Warning : Good, noTimeout, NoCallback());
}

inline void blink(const ModkitPtr<IIndicationObject> &indication, int value)
{
    if (!indication.isNull())
        indication->setValue(value, blinkMs, ModkitPtr<ISimpleIndicationObjectCallback>(new Blacken));
}

} // namespace

/// What one read of the input queue yields.
struct BaseSingleStreamDecoder::Block {
    QByteArray data;
    quint32 streamId = 0;
    bool keyBlock = false;
    qint64 timestamp = 0;
    qint64 blockTime = 0; // ms
    QueueCursor cursor;   // behind this block; taken over when the block is consumed
    quint32 lost = 0;
    qint64 latency = 0; // ms
};

/// One row of the table of indications.
struct BaseSingleStreamDecoder::Indication {
    const char *name;
    ModkitPtr<IIndicationObject> BaseSingleStreamDecoder::*field;
    int initialValue;
};

/// How the cycle goes on after a read.
enum class BaseSingleStreamDecoder::Next {
    ReadOn,     // the block was consumed without being decoded
    Decode,     // the block was consumed and is to be decoded
    Wait,       // the block is early: it stays in the queue
    QueueEmpty, // there was no block
    Stop        // the block was consumed, and the decoder is being disposed of
};

// In the order of their creation and removal. The mode indication begins with the mode.
const BaseSingleStreamDecoder::Indication BaseSingleStreamDecoder::indications[] = {
    {"DecoderMode", &BaseSingleStreamDecoder::_modeIndication, Good},
    {"DecoderLost", &BaseSingleStreamDecoder::_lostIndication, Good},
    {"DecoderCycle", &BaseSingleStreamDecoder::_cycleIndication, Black},
    {"DecoderMaxLatency", &BaseSingleStreamDecoder::_maxLatencyIndication, Black},
    {"DecoderKeyBlockReceived", &BaseSingleStreamDecoder::_keyBlockIndication, Black},
    {"DecoderNullBlockReceived", &BaseSingleStreamDecoder::_nullBlockIndication, Black},
    {"DecoderDataPushed", &BaseSingleStreamDecoder::_dataPushedIndication, Black},
};

BaseSingleStreamDecoder::BaseSingleStreamDecoder(void *context, const ModkitPtr<IIndicationManager> &indicationManager,
                                                 const ModkitPtr<IInputQueue> &inputQueue, quint32 threadIndex,
                                                 quint32 streamId, int flags, bool performanceMode, const QString &name)
    : _context(context)
    , _indicationManager(indicationManager)
    , _performanceMode(performanceMode)
    , _inputQueue(inputQueue)
    , _threadIndex(threadIndex)
    , _streamId(streamId)
    , _flags(flags)
    , _catchingUp(isPaced())
    , _catchUpDeadline(wallClockMs() + catchUpLimitMs)
    , _arrivalStatistic(name.isEmpty() ? addressName("TimeStatistic @%p", &_arrivalStatistic) : name)
{
    setObjectName(name);
    if (!_indicationManager.isNull())
        createIndications(performanceMode, name);
    startCycleTimer();
}

BaseSingleStreamDecoder::~BaseSingleStreamDecoder()
{
    if (!_indicationManager.isNull())
        removeIndications();
    stopCycleTimer();
}

void BaseSingleStreamDecoder::moveTo(QThread *thread)
{
    // Qt moves a running timer by a call that it posts, and this leaves a gap in the creating thread's event queue. All
    // later moves would walk over all gaps until that thread's event loop runs again.
    _timer.stop();
    moveToThread(thread);
}

double BaseSingleStreamDecoder::takeLossRatio()
{
    const QMutexLocker lock(&_lossMutex);
    const quint32 lost = std::exchange(_lostBlocks, 0);
    const quint32 expected = std::exchange(_expectedBlocks, 0);
    return lost != 0 && expected != 0 ? static_cast<double>(lost) / expected : 0.0;
}

quint32 BaseSingleStreamDecoder::takeDecodedFlag()
{
    const QMutexLocker lock(&_decodedMutex);
    return std::exchange(_decodedFlag, 0);
}

std::pair<qint64, quint32> BaseSingleStreamDecoder::takeLatencyTotals()
{
    const QMutexLocker lock(&_latencyMutex);
    return {std::exchange(_latencySum, 0), std::exchange(_latencyCount, 0)};
}

qint64 BaseSingleStreamDecoder::takeMaxLatency()
{
    const QMutexLocker lock(&_latencyMutex);
    return std::exchange(_maxLatency, 0);
}

int BaseSingleStreamDecoder::takeDecodingTime()
{
    const QMutexLocker lock(&_decodingTimeMutex);
    return std::exchange(_decodingTime, 0);
}

void BaseSingleStreamDecoder::setPerformanceMode(bool on)
{
    _performanceMode.store(on, std::memory_order_relaxed);
    show(_modeIndication, on ? Good : Alternative);
}

void BaseSingleStreamDecoder::dispose()
{
    _disposing.store(true, std::memory_order_relaxed);
    deleteLater();
}

void BaseSingleStreamDecoder::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == _timer.timerId())
        runCycle();
}

void BaseSingleStreamDecoder::customEvent(QEvent * /*event*/)
{
    if (!_timer.isActive())
        startCycleTimer();
    runCycle();
}

void BaseSingleStreamDecoder::createIndications(bool performanceMode, const QString &name)
{
    for (const Indication &indication : indications) {
        const bool isMode = indication.field == &BaseSingleStreamDecoder::_modeIndication;
        const int initialValue = isMode && !performanceMode ? Alternative : indication.initialValue;
        this->*indication.field =
            _indicationManager->createIndication(nullptr, QString::fromLatin1(indication.name), name, initialValue);
    }
}

void BaseSingleStreamDecoder::removeIndications()
{
    for (const Indication &indication : indications) {
        const ModkitPtr<IIndicationObject> reference = this->*indication.field;
        _indicationManager->removeIndication(reference);
    }
}

void BaseSingleStreamDecoder::startCycleTimer()
{
    // Qt warns of a timer that is started on a thread without an event dispatcher.
    if (QAbstractEventDispatcher::instance())
        _timer.start(cycleIntervalMs, this);
}

void BaseSingleStreamDecoder::stopCycleTimer()
{
    // A running timer that Qt has moved is registered on the new thread by a posted call. A thread that ends at once
    // destroys the decoder before that call comes, and Qt would warn that the timer cannot be stopped: let it come
    // first.
    if (_timer.isActive() && thread() == QThread::currentThread())
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    _timer.stop();
}

void BaseSingleStreamDecoder::runCycle()
{
    Block block;
    block.cursor = _cursor;
    if (!_disposing.load(std::memory_order_relaxed) && read(block)) {
        takeBlocks(block);
        return;
    }
    endCatchUp();
    endCycle(0);
}

/// Goes on with the first block of the cycle. Not inline, so that an idle cycle saves no registers for all of this.
void BaseSingleStreamDecoder::takeBlocks(Block &block)
{
    Next next = takeBlock(block);
    while (next == Next::ReadOn)
        next = read(block) ? takeBlock(block) : Next::QueueEmpty;

    switch (next) {
    case Next::Decode:
        countLosses(block);
        decode(block);
        endCatchUpAtDeadline();
        endCycle(1);
        break;
    case Next::QueueEmpty:
        endCatchUp();
        endCycle(0);
        break;
    case Next::Stop:
        endCatchUpAtDeadline();
        endCycle(0);
        break;
    case Next::Wait:
    case Next::ReadOn:
        break;
    }
}

BaseSingleStreamDecoder::Next BaseSingleStreamDecoder::takeBlock(const Block &block)
{
    if (block.streamId != _streamId)
        return passOver(block);
    noteEmptyBlock(block);
    noteKeyBlock(block);
    if (!pace(block))
        return Next::Wait;
    return isFilteredOut(block) ? readOnUnlessDisposing() : Next::Decode;
}

bool BaseSingleStreamDecoder::read(Block &block)
{
    return _inputQueue->readBlock(&block.data, &block.streamId, &block.keyBlock, &block.timestamp, &block.blockTime,
                                  &block.cursor, nullptr, nullptr, &block.lost, &block.latency);
}

BaseSingleStreamDecoder::Next BaseSingleStreamDecoder::passOver(const Block &block)
{
    _cursor = block.cursor;
    return readOnUnlessDisposing();
}

void BaseSingleStreamDecoder::noteEmptyBlock(const Block &block)
{
    if (block.data.isEmpty())
        blink(_nullBlockIndication, Good);
}

void BaseSingleStreamDecoder::noteKeyBlock(const Block &block)
{
    if (!block.keyBlock)
        return;
    blink(_keyBlockIndication, Good);

    const QMutexLocker lock(&_latencyMutex);
    // Unsigned, because a queue may report anything.
    _latencySum = static_cast<qint64>(static_cast<quint64>(_latencySum) + static_cast<quint64>(block.latency));
    ++_latencyCount;
    _maxLatency = qMax(_maxLatency, block.latency);
    showLevel<qint64>(_maxLatencyIndication, _maxLatency, 50, 150);
}

/// Consumes the block, unless the decoder is paced and the block is early. @return whether it was consumed.
bool BaseSingleStreamDecoder::pace(const Block &block)
{
    if (isPaced()) {
        const qint64 nowMs = wallClockMs();
        if (_catchingUp || block.keyBlock) {
            _referenceTime = block.blockTime;
            _referenceWallClock = nowMs;
        } else {
            // Unsigned, because a queue may report anything.
            const quint64 sinceReference = static_cast<quint64>(block.blockTime) - static_cast<quint64>(_referenceTime);
            if (nowMs < static_cast<qint64>(static_cast<quint64>(_referenceWallClock) + sinceReference))
                return false;
        }
    }
    _cursor = block.cursor;
    return true;
}

bool BaseSingleStreamDecoder::isFilteredOut(const Block &block) const
{
    return !_performanceMode.load(std::memory_order_relaxed) && !block.keyBlock && !block.data.isEmpty();
}

void BaseSingleStreamDecoder::countLosses(const Block &block)
{
    showLevel<quint32>(_lostIndication, block.lost, 1, 3);

    const QMutexLocker lock(&_lossMutex);
    _lostBlocks += block.lost;
    _expectedBlocks += block.lost + 1;
}

void BaseSingleStreamDecoder::decode(const Block &block)
{
    _arrivalStatistic.addSample(wallClockMs());
    QElapsedTimer timer;
    timer.start();

    const bool catchingUp = isPaced() && _catchingUp;
    switchCodec(block, catchingUp);
    blink(_dataPushedIndication, catchingUp ? Alternative : Good);
    decodeBlock(block.data, block.keyBlock, block.timestamp, block.blockTime, catchingUp);
    if (block.data.isEmpty())
        discardCodecDecoder();

    const quint32 elapsedMs = static_cast<quint32>(timer.elapsed());
    const QMutexLocker lock(&_decodingTimeMutex);
    _decodingTime = static_cast<qint32>(static_cast<quint32>(_decodingTime) + elapsedMs);
}

void BaseSingleStreamDecoder::switchCodec(const Block &block, bool catchingUp)
{
    if (!block.keyBlock || block.data.size() < 4)
        return;
    const quint32 fourcc = qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(block.data.constData()));
    if (hasCodecDecoder()) {
        if (fourcc == _currentFourcc)
            return;
        decodeBlock(QByteArray(), false, 0, 0, catchingUp);
        discardCodecDecoder();
    }
    createCodecDecoder(fourcc);
    _currentFourcc = fourcc;
}

void BaseSingleStreamDecoder::endCatchUpAtDeadline()
{
    if (_catchingUp && wallClockMs() >= _catchUpDeadline)
        _catchingUp = false;
}

void BaseSingleStreamDecoder::endCatchUp()
{
    // Without pacing it has never begun.
    if (isPaced())
        _catchingUp = false;
}

void BaseSingleStreamDecoder::endCycle(quint32 decodedBlocks)
{
    // Idle cycles are the most frequent thing of all. With many decoders each field is a cache miss, which costs more
    // than the rest of the cycle: what an idle cycle can leave alone, here and in endCatchUp, it does not touch. Nor
    // does it lock: 0 cannot raise the flag.
    if (decodedBlocks != 0) {
        {
            const QMutexLocker lock(&_decodedMutex);
            if (_decodedFlag < decodedBlocks)
                _decodedFlag = decodedBlocks;
        }
        show(_cycleIndication, Good);
    } else if (!_indicationManager.isNull()) {
        show(_cycleIndication, Black);
    }
}

BaseSingleStreamDecoder::Next BaseSingleStreamDecoder::readOnUnlessDisposing() const
{
    return _disposing.load(std::memory_order_relaxed) ? Next::Stop : Next::ReadOn;
}
