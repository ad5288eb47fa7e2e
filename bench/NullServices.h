#ifndef BENCH_NULLSERVICES_H
#define BENCH_NULLSERVICES_H

#include "interfaces/IAVFormatManager.h"
#include "interfaces/IIndicationManager.h"
#include "interfaces/IInputQueue.h"
#include "interfaces/IVideoOutputQueue.h"

// The parts around a decoder, each of which does next to nothing, so that what is measured is the decoder's.

/// Never has a block.
class EmptyQueue : public IInputQueue {
public:
    bool readBlock(QByteArray * /*data*/, quint32 * /*streamId*/, bool * /*keyBlock*/, qint64 * /*timestamp*/,
                   qint64 * /*blockTime*/, QueueCursor * /*cursor*/, void * /*reserved1*/, void * /*reserved2*/,
                   quint32 * /*lost*/, qint64 * /*latency*/) override
    {
        return false;
    }
};

/// Always has the next block, every 32nd a key block.
class EndlessQueue : public IInputQueue {
public:
    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        *data = _block;
        *streamId = 0;
        *keyBlock = cursor->word0 % 32 == 0;
        *timestamp = 0;
        *blockTime = 0;
        *lost = 0;
        *latency = 10;
        ++cursor->word0;
        return true;
    }

private:
    QByteArray _block = QByteArray("H264, and some coded data");
};

class NullCodecDecoder : public IVideoCodecDecoder {
public:
    void decode(const QByteArray & /*data*/, bool /*keyBlock*/, qint64 /*timestamp*/, qint64 /*blockTime*/,
                const ModkitPtr<IVideoOutputQueue> * /*outputs*/, int /*outputCount*/) override
    {
    }
};

class NullFormatManager : public IAVFormatManager {
public:
    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}
    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 /*fourcc*/) override
    {
        return ModkitPtr<IVideoCodecDecoder>(new NullCodecDecoder);
    }
    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 /*fourcc*/) override
    {
        return ModkitPtr<IAudioCodecDecoder>();
    }
};

/// Keeps the value.
class TrivialIndication : public IIndicationObject {
public:
    void setValue(int value, int /*timeoutMs*/,
                  const ModkitPtr<ISimpleIndicationObjectCallback> & /*onTimeout*/) override
    {
        _value = value;
    }

private:
    int _value = 0;
};

class TrivialIndicationManager : public IIndicationManager {
public:
    void reserved1() override {}
    void removeIndication(const ModkitPtr<IIndicationObject> & /*indication*/) override {}
    ModkitPtr<IIndicationObject> createIndication(void * /*reserved*/, const QString & /*name*/,
                                                  const QString & /*ownerName*/, int /*initialValue*/) override
    {
        return ModkitPtr<IIndicationObject>(new TrivialIndication);
    }
};

class NullOutputQueue : public IVideoOutputQueue {
public:
    void push(const VideoFrameHandle & /*frame*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override {}
};

#endif
