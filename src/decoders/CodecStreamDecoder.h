#ifndef DECODERS_CODECSTREAMDECODER_H
#define DECODERS_CODECSTREAMDECODER_H

#include <QCoreApplication>
#include <QEvent>
#include <QMutex>
#include <QMutexLocker>
#include <QVector>

#include "decoders/BaseSingleStreamDecoder.h"
#include "interfaces/IAVFormatManager.h"

/// What stream decoders of all media share: a codec decoder, the outputs with their ids, and the hand-over of blocks
/// from one to the other. The derived class creates the codec decoder, and is the type that the manager knows.
///
/// @tparam CodecDecoder what decodes. @tparam OutputQueue where decoded buffers go. @tparam Handle how they go there.
template <class CodecDecoder, class OutputQueue, class Handle>
class CodecStreamDecoder : public BaseSingleStreamDecoder {
public:
    /// Registers an output under an id that no other output has, and wakes the decoder. Thread-safe; waits for a block
    /// that is being decoded.
    void addOutput(quint32 outputId, const ModkitPtr<OutputQueue> &outputQueue)
    {
        const QMutexLocker lock(&_outputsMutex);
        _outputs.append(outputQueue);
        try {
            _outputIds.append(outputId);
        } catch (...) {
            _outputs.pop_back(); // nobody could remove an output without an id
            throw;
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    /// Waits for a block that is being decoded. Nothing is pushed to the queue that leaves.
    int removeOutput(quint32 outputId) override
    {
        const QMutexLocker lock(&_outputsMutex);
        const int index = _outputIds.indexOf(outputId);
        if (index >= 0) {
            _outputIds.remove(index);
            _outputs.remove(index);
        }
        return _outputs.size();
    }

    void decodeBlock(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                     bool catchingUp) override
    {
        const QMutexLocker lock(&_outputsMutex);
        if (!_codecDecoder.isNull()) {
            // constData(): the codec gets the vector's storage as it is, even for no output, and never a detached
            // copy.
            _codecDecoder->decode(QByteArray(data), keyBlock, timestamp, blockTime, _outputs.constData(),
                                  catchingUp ? 0 : _outputs.size());
        }
        // After the codec, which has just pushed what it held back.
        if (!catchingUp && data.isEmpty())
            pushNullBlockLocked();
    }

    bool hasCodecDecoder() const override { return !_codecDecoder.isNull(); }

    void discardCodecDecoder() override { _codecDecoder.reset(); }

protected:
    CodecStreamDecoder(void *context, const ModkitPtr<IAVFormatManager> &formatManager,
                       const ModkitPtr<IIndicationManager> &indicationManager, const ModkitPtr<IInputQueue> &inputQueue,
                       quint32 threadIndex, quint32 streamId, int flags, bool performanceMode, const QString &name)
        : BaseSingleStreamDecoder(context, indicationManager, inputQueue, threadIndex, streamId, flags, performanceMode,
                                  name)
        , _formatManager(formatManager)
    {
    }

    /// Releases the codec decoder without draining it, then the outputs from the last to the first.
    ~CodecStreamDecoder() override
    {
        _codecDecoder.reset();
        _outputIds.clear();
        while (!_outputs.isEmpty())
            _outputs.pop_back();
    }

    IAVFormatFactory &formatFactory() const { return *_formatManager; }
    void setCodecDecoder(const ModkitPtr<CodecDecoder> &codecDecoder) { _codecDecoder = codecDecoder; }

private:
    void pushNullBlockLocked()
    {
        const QVector<ModkitPtr<OutputQueue>> outputs = _outputs;
        for (const ModkitPtr<OutputQueue> &output : outputs)
            output->push(Handle(), 0, 0);
    }

    ModkitPtr<IAVFormatManager> _formatManager; // constant after construction

    // Guards the two vectors, which always have the same length; held for the whole of decodeBlock. Taken after the
    // manager's mutex, never before.
    QMutex _outputsMutex;
    QVector<ModkitPtr<OutputQueue>> _outputs;
    QVector<quint32> _outputIds;

    ModkitPtr<CodecDecoder> _codecDecoder; // decoder thread only
};

#endif
