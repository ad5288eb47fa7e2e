#include "manager/DecodingManager.h"

#include <QDebug>
#include <QMutexLocker>

#include "decoders/BaseSingleStreamDecoder.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "manager/DecoderThread.h"

namespace {

constexpr uint decoderStackSize = 102400; // bytes

} // namespace

bool DecodingManager::init(const ModkitPtr<ISettings> &settings, IObjectRegistry &registry,
                           const ModkitPtr<IComponent> &self)
{
    _formatManager = ModkitPtr<IAVFormatManager>(registry.getObject(InterfaceIdentifiers::avFormatManager));
    if (_formatManager.isNull())
        return false;
    _indicationManager = ModkitPtr<IIndicationManager>(registry.getObject(InterfaceIdentifiers::indicationManager));

    const int idealCount = QThread::idealThreadCount();
    startThreads(static_cast<quint32>(settings->getInt("THREADS", idealCount == -1 ? 1 : idealCount)));

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
        // Kept: _indicationManager is released by the destructor only.
        _formatManager.reset();
        _self.reset();
    }
    withdraw();
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

ModkitPtr<IDecoder> DecodingManager::createVideoDecoder(const ModkitPtr<IInputQueue> & /*inputQueue*/,
                                                        const ModkitPtr<IVideoOutputQueue> & /*outputQueue*/,
                                                        int /*flags*/, const QString & /*name*/)
{
    return ModkitPtr<IDecoder>();
}

ModkitPtr<IDecoder> DecodingManager::createAudioDecoder(const ModkitPtr<IInputQueue> & /*inputQueue*/,
                                                        const ModkitPtr<IAudioOutputQueue> & /*outputQueue*/,
                                                        int /*flags*/, const QString & /*name*/)
{
    return ModkitPtr<IDecoder>();
}

double DecodingManager::cpuLoad(QObject * /*listener*/)
{
    return 0.0;
}

void DecodingManager::removeCpuLoadListener(QObject * /*listener*/) {}

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

void DecodingManager::switchMode(bool performanceMode, const char *message)
{
    const QMutexLocker lock(&_mutex);
    _performanceMode = performanceMode;
    qDebug() << message;
    setPerformanceModeLocked(_videoDecoders);
    setPerformanceModeLocked(_audioDecoders);
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

void DecodingManager::disposeDecodersLocked(DecoderRegistry &registry)
{
    while (registry.count() > 0) {
        // Null where the construction of a decoder failed. Kept: it does not hide the decoders behind it.
        if (BaseSingleStreamDecoder *const decoder = registry.takeFirst())
            decoder->dispose();
    }
    registry.clear();
}

void DecodingManager::setPerformanceModeLocked(const DecoderRegistry &registry)
{
    const DecoderRegistry snapshot = registry; // NOLINT(performance-unnecessary-copy-initialization): to be walked
    for (BaseSingleStreamDecoder *decoder : snapshot) {
        if (decoder && !(decoder->flags() & CreationFlags::ExcludeFromTuning))
            decoder->setPerformanceMode(_performanceMode);
    }
}
