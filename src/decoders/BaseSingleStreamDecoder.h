#ifndef DECODERS_BASESINGLESTREAMDECODER_H
#define DECODERS_BASESINGLESTREAMDECODER_H

#include <QBasicTimer>
#include <QMutex>
#include <QObject>

#include <atomic>
#include <utility>

#include "decoders/TimeStatistic.h"
#include "interfaces/CreationFlags.h"
#include "interfaces/IIndicationManager.h"
#include "interfaces/IInputQueue.h"

/// Decodes one stream: reads blocks from an input queue, one decoded block for each processing cycle, and keeps the
/// stream's indications and figures. The derived class owns the codec decoder and the outputs.
///
/// Created on any thread, then moved to its decoder thread, where a 1 ms timer and posted wake-up events run the
/// cycle. The first wake-up event starts the timer where it does not run yet: after moveTo, and where the creating
/// thread (a plain std::thread) has no event dispatcher to start it with. Owned by the decoding manager, which ends it
/// with dispose(): it dies by deferred deletion on its own thread, also when that thread is just ending; events still
/// queued for it are dropped by Qt.
///
/// The input queue, the codec decoder, the outputs and the indications must not throw: nothing between them and the
/// thread's event loop catches, so that an exception ends the process.
class BaseSingleStreamDecoder : public QObject {
public:
    /// @param context kept for the derived class, never read.
    /// @param indicationManager may be empty: there are no indications then.
    /// @param threadIndex of the decoder thread that it will live on; only kept.
    /// @param streamId blocks that the queue reports under another stream id are passed over.
    /// @param flags sum of the values of CreationFlags.
    /// @param performanceMode false: time-saving mode, which decodes only key blocks and empty blocks.
    /// @param name the object name, and the owner's name of the indications.
    BaseSingleStreamDecoder(void *context, const ModkitPtr<IIndicationManager> &indicationManager,
                            const ModkitPtr<IInputQueue> &inputQueue, quint32 threadIndex, quint32 streamId, int flags,
                            bool performanceMode, const QString &name);
    ~BaseSingleStreamDecoder() override;
    BaseSingleStreamDecoder(const BaseSingleStreamDecoder &) = delete;
    BaseSingleStreamDecoder &operator=(const BaseSingleStreamDecoder &) = delete;

    /// Moves the decoder to @p thread, where its timer starts again with the first wake-up event. Called by the
    /// creating thread, before any such event is posted.
    void moveTo(QThread *thread);

    /// Removes the output @p outputId, if there is one. @return number of outputs that remain. Thread-safe.
    virtual int removeOutput(quint32 outputId) = 0;

    // Thread-bound; called by the cycle.

    /// Decodes one block and delivers the result to the outputs. @param data empty: an empty block, which also drains
    /// the codec decoder before it is replaced. @param catchingUp the result is to go nowhere.
    virtual void decodeBlock(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                             bool catchingUp) = 0;
    virtual bool hasCodecDecoder() const = 0;
    /// Releases the codec decoder, if there is one.
    virtual void discardCodecDecoder() = 0;
    /// Creates the codec decoder for @p fourcc in place of the one that is held, if any. On failure none is held.
    virtual void createCodecDecoder(quint32 fourcc) = 0;

    // Read and reset in one step, so that each call reports what happened since the one before. Thread-safe; each
    // takes only the mutex of its figures, never for the length of a decode.

    /// @return lost blocks as a share of the blocks that were to be expected, lost ones included; 0.0 when there were
    ///         none.
    double takeLossRatio();
    /// @return 1 when a block was decoded, otherwise 0.
    quint32 takeDecodedFlag();
    /// @return the sum of the key blocks' latencies in milliseconds, and their number.
    std::pair<qint64, quint32> takeLatencyTotals();
    /// @return the largest latency of a key block, in milliseconds.
    qint64 takeMaxLatency();
    /// @return milliseconds spent in the decoding step.
    int takeDecodingTime();

    /// Switches between performance mode and time-saving mode. Thread-safe; sets the mode indication on the calling
    /// thread.
    void setPerformanceMode(bool on);

    // Constant, so thread-safe.

    ModkitPtr<IInputQueue> inputQueue() const { return _inputQueue; }
    quint32 threadIndex() const { return _threadIndex; }
    int flags() const { return _flags; }

    /// Stops reading, and schedules the deletion of the decoder on its own thread. A cycle in progress ends with its
    /// block. Thread-safe; the decoder must not be used afterwards.
    void dispose();

protected:
    /// Runs a cycle for a tick of the cycle timer; other timers are ignored.
    void timerEvent(QTimerEvent *event) override;
    /// Runs a cycle, whatever the event's type; starts the cycle timer first where it does not run.
    void customEvent(QEvent *event) override;

private:
    struct Block;
    struct Indication;
    enum class Next;

    static const Indication indications[];
    void createIndications(bool performanceMode, const QString &name);
    void removeIndications();
    void startCycleTimer();
    void stopCycleTimer();

    // The processing cycle, and its steps in order. Thread-bound. The steps are inline because the cycle runs a
    // thousand times a second for every stream; they are used and defined in the source file only.
    void runCycle();
    [[gnu::noinline]] void takeBlocks(Block &block);
    inline bool read(Block &block);
    inline Next takeBlock(const Block &block);
    inline Next passOver(const Block &block);
    inline void noteEmptyBlock(const Block &block);
    inline void noteKeyBlock(const Block &block);
    inline bool pace(const Block &block);
    inline bool isFilteredOut(const Block &block) const;
    inline void countLosses(const Block &block);
    inline void decode(const Block &block);
    inline void switchCodec(const Block &block, bool catchingUp);
    inline void endCatchUpAtDeadline();
    inline void endCatchUp();
    inline void endCycle(quint32 decodedBlocks);
    inline Next readOnUnlessDisposing() const;

    bool isPaced() const { return (_flags & CreationFlags::Paced) != 0; }

    // Constant after construction.
    [[maybe_unused]] void *_context;
    ModkitPtr<IIndicationManager> _indicationManager;
    ModkitPtr<IIndicationObject> _modeIndication;
    ModkitPtr<IIndicationObject> _lostIndication;
    ModkitPtr<IIndicationObject> _cycleIndication;
    ModkitPtr<IIndicationObject> _maxLatencyIndication;
    ModkitPtr<IIndicationObject> _keyBlockIndication;
    ModkitPtr<IIndicationObject> _nullBlockIndication;
    ModkitPtr<IIndicationObject> _dataPushedIndication;

    // Written by any thread, without a lock. They order nothing else, so they are accessed relaxed.
    std::atomic<bool> _disposing{false};
    std::atomic<bool> _performanceMode;

    // Constant after construction.
    ModkitPtr<IInputQueue> _inputQueue;
    quint32 _threadIndex;
    quint32 _streamId;
    int _flags;

    // Decoder thread only.
    QueueCursor _cursor;
    QBasicTimer _timer;             // stopped by moveTo, started again by the first wake-up event
    quint32 _currentFourcc = 0;     // of the codec decoder created last, or attempted
    qint64 _referenceTime = 0;      // block time of the last reference block, ms
    qint64 _referenceWallClock = 0; // when that block was taken, ms since the epoch

    QMutex _lossMutex; // guards the next two
    quint32 _lostBlocks = 0;
    quint32 _expectedBlocks = 0; // lost ones included

    QMutex _decodedMutex; // guards the next one
    quint32 _decodedFlag = 0;

    QMutex _latencyMutex;   // guards the next three
    qint64 _latencySum = 0; // ms
    quint32 _latencyCount = 0;
    qint64 _maxLatency = 0; // ms

    QMutex _decodingTimeMutex; // guards the next one
    qint32 _decodingTime = 0;  // ms

    // Decoder thread only.
    bool _catchingUp;
    qint64 _catchUpDeadline; // ms since the epoch
    TimeStatistic _arrivalStatistic;
};

#endif
