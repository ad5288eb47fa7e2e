#ifndef STORM_STORMQUEUE_H
#define STORM_STORMQUEUE_H

#include <QByteArray>
#include <QElapsedTimer>
#include <QVector>

#include "StormLedger.h"
#include "interfaces/IInputQueue.h"

/// A live input queue with a video and an audio stream, whose blocks come at a rate of its own (StormBlock tells
/// which). A reader that begins starts a script's length behind the newest block at most. Thread-safe. When it goes,
/// nobody may hold one of its blocks any more.
class StormQueue final : public IInputQueue, private Counted<StormQueue> {
public:
    static constexpr char kindName[] = "an input queue";
    using Counted<StormQueue>::count;

    explicit StormQueue(quint32 number);
    ~StormQueue() override;

    quint32 number() const { return _number; }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency) override;

private:
    const quint32 _number;
    const quint32 _intervalMs;   // from block to block
    QVector<QByteArray> _blocks; // of one script
    QElapsedTimer _age;
};

#endif
