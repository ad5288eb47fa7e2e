#include <atomic>

#include "ContractLayouts.h"
#include "cpuload/CpuLoadCalculator.h"
#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "manager/DecoderHandler.h"
#include "manager/DecodingManager.h"

// Slots 0 to 11 of a QObject are its own: the meta-object's three, the two destructors, `event`, `eventFilter`,
// `timerEvent`, `childEvent`, `customEvent` and the two notifications of connections.

namespace {

/// The component's primary table repeats the operations of the other two bases.
ClassLayout decodingManager()
{
    return {"DecodingManager",
            184,
            sizeof(DecodingManager),
            {LAYOUT_BASE(DecodingManager, IComponent, 0), LAYOUT_BASE(DecodingManager, IDecodingManager, 8),
             LAYOUT_BASE(DecodingManager, ITuneDecoding, 16)},
            {LAYOUT_FIELD(DecodingManager, _formatManager, 24, ModkitPtr<IAVFormatManager>),
             LAYOUT_FIELD(DecodingManager, _indicationManager, 40, ModkitPtr<IIndicationManager>),
             LAYOUT_FIELD(DecodingManager, _registry, 56, IObjectRegistry *),
             LAYOUT_FIELD(DecodingManager, _self, 64, ModkitPtr<DecodingManager>),
             LAYOUT_FIELD(DecodingManager, _mutex, 80, QMutex),
             LAYOUT_FIELD(DecodingManager, _videoDecoders, 88, DecoderRegistry),
             LAYOUT_FIELD(DecodingManager, _audioDecoders, 120, DecoderRegistry),
             LAYOUT_FIELD(DecodingManager, _threads, 152, QVector<QThread *>),
             LAYOUT_FIELD(DecodingManager, _decodersPerThread, 160, QVector<int>),
             LAYOUT_FIELD(DecodingManager, _performanceMode, 168, bool),
             LAYOUT_FIELD(DecodingManager, _cpuLoadCalculator, 176, CpuLoadCalculator *)},
            {LAYOUT_OPERATION(DecodingManager, init, 2,
                              bool(const ModkitPtr<ISettings> &, IObjectRegistry &, const ModkitPtr<IComponent> &)),
             LAYOUT_OPERATION(DecodingManager, stop, 3, void()), LAYOUT_OPERATION(DecodingManager, check, 4, int()),
             LAYOUT_OPERATION(DecodingManager, createVideoDecoder, 5,
                              ModkitPtr<IDecoder>(const ModkitPtr<IInputQueue> &, const ModkitPtr<IVideoOutputQueue> &,
                                                  int, const QString &)),
             LAYOUT_OPERATION(DecodingManager, createAudioDecoder, 6,
                              ModkitPtr<IDecoder>(const ModkitPtr<IInputQueue> &, const ModkitPtr<IAudioOutputQueue> &,
                                                  int, const QString &)),
             LAYOUT_OPERATION(DecodingManager, cpuLoad, 7, double(QObject *)),
             LAYOUT_OPERATION(DecodingManager, removeCpuLoadListener, 8, void(QObject *)),
             LAYOUT_OPERATION(DecodingManager, decoderCount, 9, int()),
             LAYOUT_OPERATION(DecodingManager, usePerformanceMode, 10, void()),
             LAYOUT_OPERATION(DecodingManager, useTimeSavingMode, 11, void())}};
}

ClassLayout decoderRegistry()
{
    using Decoders = QHash<ModkitPtr<IInputQueue>, BaseSingleStreamDecoder *>;
    return {"DecoderRegistry",
            32,
            sizeof(DecoderRegistry),
            {},
            {LAYOUT_FIELD(DecoderRegistry, _byQueue, 0, QHash<ModkitPtr<IInputQueue>, BaseSingleStreamDecoder *>),
             LAYOUT_FIELD(DecoderRegistry, _byId, 8, QHash<int, BaseSingleStreamDecoder *>),
             LAYOUT_FIELD(DecoderRegistry, _nextId, 16, int),
             LAYOUT_FIELD(DecoderRegistry, _current, 24, Decoders::iterator)}};
}

ClassLayout decoderHandler()
{
    return {"DecodingManager::DecoderHandler",
            32,
            sizeof(DecodingManager::DecoderHandler),
            {LAYOUT_BASE(DecodingManager::DecoderHandler, IDecoder, 0)},
            {LAYOUT_FIELD(DecodingManager::DecoderHandler, _manager, 8, ModkitPtr<DecodingManager>),
             LAYOUT_FIELD(DecodingManager::DecoderHandler, _id, 24, const int),
             LAYOUT_FIELD(DecodingManager::DecoderHandler, _isVideo, 28, const bool)}};
}

ClassLayout baseSingleStreamDecoder()
{
    return {"BaseSingleStreamDecoder",
            376,
            sizeof(BaseSingleStreamDecoder),
            {LAYOUT_BASE(BaseSingleStreamDecoder, QObject, 0)},
            {LAYOUT_FIELD(BaseSingleStreamDecoder, _context, 16, void *),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _indicationManager, 24, ModkitPtr<IIndicationManager>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _modeIndication, 40, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _lostIndication, 56, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _cycleIndication, 72, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _maxLatencyIndication, 88, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _keyBlockIndication, 104, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _nullBlockIndication, 120, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _dataPushedIndication, 136, ModkitPtr<IIndicationObject>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _disposing, 152, std::atomic<bool>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _performanceMode, 153, std::atomic<bool>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _inputQueue, 160, ModkitPtr<IInputQueue>),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _threadIndex, 176, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _streamId, 180, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _flags, 184, int),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _cursor, 188, QueueCursor),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _timer, 200, QBasicTimer),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _currentFourcc, 204, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _referenceTime, 208, qint64),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _referenceWallClock, 216, qint64),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _lossMutex, 224, QMutex),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _lostBlocks, 232, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _expectedBlocks, 236, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _decodedMutex, 240, QMutex),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _decodedFlag, 248, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _latencyMutex, 256, QMutex),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _latencySum, 264, qint64),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _latencyCount, 272, quint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _maxLatency, 280, qint64),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _decodingTimeMutex, 288, QMutex),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _decodingTime, 296, qint32),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _catchingUp, 300, bool),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _catchUpDeadline, 304, qint64),
             LAYOUT_FIELD(BaseSingleStreamDecoder, _arrivalStatistic, 312, TimeStatistic)},
            {LAYOUT_OPERATION(BaseSingleStreamDecoder, timerEvent, 7, void(QTimerEvent *)),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, customEvent, 9, void(QEvent *)),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, removeOutput, 12, int(quint32)),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, decodeBlock, 13,
                              void(const QByteArray &, bool, qint64, qint64, bool)),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, hasCodecDecoder, 14, bool() const),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, discardCodecDecoder, 15, void()),
             LAYOUT_OPERATION(BaseSingleStreamDecoder, createCodecDecoder, 16, void(quint32))}};
}

ClassLayout timeStatistic()
{
    return {"TimeStatistic",
            64,
            sizeof(TimeStatistic),
            {},
            {LAYOUT_FIELD(TimeStatistic, _name, 0, QString), LAYOUT_FIELD(TimeStatistic, _origin, 8, qint64),
             LAYOUT_FIELD(TimeStatistic, _last, 16, qint64), LAYOUT_FIELD(TimeStatistic, _max, 24, qint64),
             LAYOUT_FIELD(TimeStatistic, _min, 32, qint64), LAYOUT_FIELD(TimeStatistic, _sum, 40, qint64),
             LAYOUT_FIELD(TimeStatistic, _sumSquares, 48, qint64), LAYOUT_FIELD(TimeStatistic, _count, 56, quint32)}};
}

/// The two stream decoders are alike except for the types.
template <class StreamDecoder>
std::vector<ClassLayout::Place> streamDecoderOperations()
{
    return {LAYOUT_OPERATION(StreamDecoder, removeOutput, 12, int(quint32)),
            LAYOUT_OPERATION(StreamDecoder, decodeBlock, 13, void(const QByteArray &, bool, qint64, qint64, bool)),
            LAYOUT_OPERATION(StreamDecoder, hasCodecDecoder, 14, bool() const),
            LAYOUT_OPERATION(StreamDecoder, discardCodecDecoder, 15, void()),
            LAYOUT_OPERATION(StreamDecoder, createCodecDecoder, 16, void(quint32))};
}

ClassLayout videoStreamDecoder()
{
    return {"VideoStreamDecoder",
            432,
            sizeof(VideoStreamDecoder),
            {LAYOUT_BASE(VideoStreamDecoder, BaseSingleStreamDecoder, 0)},
            {LAYOUT_FIELD(VideoStreamDecoder, _formatManager, 376, ModkitPtr<IAVFormatManager>),
             LAYOUT_FIELD(VideoStreamDecoder, _outputsMutex, 392, QMutex),
             LAYOUT_FIELD(VideoStreamDecoder, _outputs, 400, QVector<ModkitPtr<IVideoOutputQueue>>),
             LAYOUT_FIELD(VideoStreamDecoder, _outputIds, 408, QVector<quint32>),
             LAYOUT_FIELD(VideoStreamDecoder, _codecDecoder, 416, ModkitPtr<IVideoCodecDecoder>)},
            streamDecoderOperations<VideoStreamDecoder>()};
}

ClassLayout audioStreamDecoder()
{
    return {"AudioStreamDecoder",
            432,
            sizeof(AudioStreamDecoder),
            {LAYOUT_BASE(AudioStreamDecoder, BaseSingleStreamDecoder, 0)},
            {LAYOUT_FIELD(AudioStreamDecoder, _formatManager, 376, ModkitPtr<IAVFormatManager>),
             LAYOUT_FIELD(AudioStreamDecoder, _outputsMutex, 392, QMutex),
             LAYOUT_FIELD(AudioStreamDecoder, _outputs, 400, QVector<ModkitPtr<IAudioOutputQueue>>),
             LAYOUT_FIELD(AudioStreamDecoder, _outputIds, 408, QVector<quint32>),
             LAYOUT_FIELD(AudioStreamDecoder, _codecDecoder, 416, ModkitPtr<IAudioCodecDecoder>)},
            streamDecoderOperations<AudioStreamDecoder>()};
}

ClassLayout cpuLoadCalculator()
{
    return {"CpuLoadCalculator",
            80,
            sizeof(CpuLoadCalculator),
            {LAYOUT_BASE(CpuLoadCalculator, QObject, 0)},
            {LAYOUT_FIELD(CpuLoadCalculator, _manager, 16, DecodingManager *),
             LAYOUT_FIELD(CpuLoadCalculator, _loadScale, 24, double),
             LAYOUT_FIELD(CpuLoadCalculator, _timerId, 32, int),
             LAYOUT_FIELD(CpuLoadCalculator, _elapsed, 40, QElapsedTimer),
             LAYOUT_FIELD(CpuLoadCalculator, _mutex, 56, QMutex), LAYOUT_FIELD(CpuLoadCalculator, _load, 64, double),
             LAYOUT_FIELD(CpuLoadCalculator, _listeners, 72, QLinkedList<QObject *>)},
            {LAYOUT_OPERATION(CpuLoadCalculator, timerEvent, 7, void(QTimerEvent *))}};
}

} // namespace

std::vector<ClassLayout> componentLayouts()
{
    return {decodingManager(), decoderRegistry(),    decoderHandler(),     baseSingleStreamDecoder(),
            timeStatistic(),   videoStreamDecoder(), audioStreamDecoder(), cpuLoadCalculator()};
}
