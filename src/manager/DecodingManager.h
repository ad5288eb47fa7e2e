#ifndef MANAGER_DECODINGMANAGER_H
#define MANAGER_DECODINGMANAGER_H

#include <QMutex>
#include <QVector>

#include <memory>

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

    ModkitPtr<IDecoder> createVideoDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                           const ModkitPtr<IVideoOutputQueue> &outputQueue, int flags,
                                           const QString &name) override;
    ModkitPtr<IDecoder> createAudioDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                           const ModkitPtr<IAudioOutputQueue> &outputQueue, int flags,
                                           const QString &name) override;

    double cpuLoad(QObject *listener) override;
    void removeCpuLoadListener(QObject *listener) override;
    int decoderCount() override;
    void usePerformanceMode() override;
    void useTimeSavingMode() override;

    // Figures over the decoders of both kinds, each decoder once. They are read and reset in one step, so that each
    // call reports what happened since the one before. "Tuned" are all decoders but those that were created with
    // CreationFlags::ExcludeFromTuning.

    /// @return milliseconds that all decoders, tuned or not, spent in their decoding step; wraps at 32 bits.
    ///         Thread-safe. Called by the load measurement once a second, which misses what others take.
    quint32 totalDecodingTime();

    /// @return the largest latency of a key block in milliseconds, over the tuned decoders; 0 when there was none.
    ///         Takes no lock: the caller sees to it that meanwhile no handle is created or dropped, and `stop` is not
    ///         running.
    qint64 maxLatency();

    /// @return 1 when a tuned decoder decoded a block, otherwise 0. Thread-safe.
    quint32 anyBlockDecoded();

    /// @return the largest share of lost blocks of a tuned decoder, 0.0 to 1.0. Thread-safe.
    double maxLossRatio();

    /// @return the average latency of the tuned decoders' key blocks in milliseconds; 0 when there was none. Takes no
    ///         lock: as maxLatency.
    qint64 averageLatency();

private:
    class DecoderHandler;

    void startThreads(quint32 count);
    void endThreads();
    void withdraw();
    void endLoadMeasurement();
    static void disposeDecodersLocked(DecoderRegistry &registry);

    template <class StreamDecoder, class OutputQueue>
    ModkitPtr<IDecoder> createDecoder(DecoderRegistry &registry, const ModkitPtr<IInputQueue> &inputQueue,
                                      const ModkitPtr<OutputQueue> &outputQueue, int flags, const QString &name);
    template <class StreamDecoder>
    std::unique_ptr<StreamDecoder> placeDecoderLocked(const ModkitPtr<IInputQueue> &inputQueue, int flags,
                                                      const QString &name);

    /// @return the index of the thread with the fewest decoders, the first of them where there are several. Under the
    ///         manager's mutex.
    int chooseDecoderThread() const;

    /// Removes the output @p id, and with the last output of a decoder the decoder. Does nothing when it is unknown,
    /// as every id is after `stop`.
    void releaseDecoder(int id, bool isVideo);
    void releaseOutputLocked(DecoderRegistry &registry, int id);

    void switchMode(bool performanceMode, const char *message);
    template <class Visit>
    void visitDecoders(Visit visit) const;
    template <class Visit>
    void visitTunedDecoders(Visit visit) const;

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
    CpuLoadCalculator *_cpuLoadCalculator = nullptr; // owned; set from init to stop
};

#endif
