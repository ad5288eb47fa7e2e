#ifndef MANAGER_DECODINGMANAGER_H
#define MANAGER_DECODINGMANAGER_H

#include <QMutex>
#include <QVector>

#include "interfaces/IAVFormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/IIndicationManager.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISettings.h"
#include "interfaces/ITuneDecoding.h"
#include "manager/DecoderRegistry.h"

class CpuLoadCalculator;
class QThread;

/// The component's one object: owns the pool of decoder threads and the registries of stream decoders, and is
/// published in the object registry while it is initialised.
///
/// The framework creates it through ModkitGetObject, calls `init` once and `stop` once from one thread, and keeps a
/// reference until `stop` has returned. All other operations are thread-safe. `stop` returns only after every decoder
/// thread has ended, and with it every stream decoder that lived on it. (A thread that the system refused to start, of
/// which Qt warns, runs nothing, and what was placed on it is never deleted.)
class DecodingManager final : public IComponent, public IDecodingManager, public ITuneDecoding {
public:
    /// Looks nothing up and starts nothing.
    DecodingManager() = default;
    DecodingManager(const DecodingManager &) = delete;
    DecodingManager &operator=(const DecodingManager &) = delete;

    /// Finds the format manager (required) and the indication manager (optional), starts as many decoder threads as
    /// the setting "THREADS" says (by default one for each processor core), and publishes the manager. Takes no lock.
    /// @return false without a format manager: nothing else was looked up, read, started or published.
    bool init(const ModkitPtr<ISettings> &settings, IObjectRegistry &registry,
              const ModkitPtr<IComponent> &self) override;

    /// Withdraws the manager, disposes of all decoders, and waits without a time limit for the decoder threads to end.
    void stop() override;

    /// @return 1 in every state.
    int check() override;

    /// No decoder is created yet: returns an empty handle, as for a manager without a format manager.
    ModkitPtr<IDecoder> createVideoDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                           const ModkitPtr<IVideoOutputQueue> &outputQueue, int flags,
                                           const QString &name) override;
    /// No decoder is created yet: returns an empty handle, as for a manager without a format manager.
    ModkitPtr<IDecoder> createAudioDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                           const ModkitPtr<IAudioOutputQueue> &outputQueue, int flags,
                                           const QString &name) override;

    /// The load is not measured yet: returns 0.0 and keeps no listener, as for a manager that is not initialised.
    double cpuLoad(QObject *listener) override;
    void removeCpuLoadListener(QObject *listener) override;
    int decoderCount() override;
    void usePerformanceMode() override;
    void useTimeSavingMode() override;

private:
    void switchMode(bool performanceMode, const char *message);
    void startThreads(quint32 count);
    void endThreads();
    void withdraw();
    static void disposeDecodersLocked(DecoderRegistry &registry);
    void setPerformanceModeLocked(const DecoderRegistry &registry);

    ModkitPtr<IAVFormatManager> _formatManager;
    ModkitPtr<IIndicationManager> _indicationManager;
    IObjectRegistry *_registry = nullptr; // not owned; set by a successful init
    ModkitPtr<DecodingManager> _self;

    // Guards what follows, and _formatManager and _self above. Taken before a decoder's or the calculator's own mutex,
    // never after; non-recursive, so nothing that is called under it may call the manager.
    QMutex _mutex;
    DecoderRegistry _videoDecoders;
    DecoderRegistry _audioDecoders;
    QVector<QThread *> _threads;     // constant after init; after stop, kept: stale
    QVector<int> _decodersPerThread; // same indexing as _threads
    bool _performanceMode = true;
    [[maybe_unused]] CpuLoadCalculator *_cpuLoadCalculator = nullptr; // null: the load is not measured yet
};

#endif
