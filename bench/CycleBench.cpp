#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <memory>
#include <vector>

#include "decoders/VideoStreamDecoder.h"

/// Runs the processing cycle of a video decoder so many times, between parts that do next to nothing, for a tool
/// outside to count instructions and allocations; or measures the heap that an idle decoder takes.
namespace {

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

std::unique_ptr<VideoStreamDecoder> newDecoder(bool full, bool withIndications)
{
    return std::make_unique<VideoStreamDecoder>(
        nullptr, ModkitPtr<IAVFormatManager>(new NullFormatManager),
        ModkitPtr<IIndicationManager>(withIndications ? new TrivialIndicationManager : nullptr),
        full ? ModkitPtr<IInputQueue>(new EndlessQueue) : ModkitPtr<IInputQueue>(new EmptyQueue), 0, 0, true,
        QStringLiteral("camera 1234"));
}

void runCycles(bool full, bool withIndications, long count)
{
    const std::unique_ptr<VideoStreamDecoder> decoder = newDecoder(full, withIndications);
    for (long cycle = 0; cycle < count; ++cycle)
        decoder->runCycle();
}

/// Prints the heap that each of @p count idle decoders takes, its timer included, its queue and services not.
void measureHeap(long count)
{
    const ModkitPtr<IAVFormatManager> formatManager(new NullFormatManager);
    const ModkitPtr<IInputQueue> queue(new EmptyQueue);
    std::vector<std::unique_ptr<VideoStreamDecoder>> decoders;
    decoders.reserve(static_cast<std::size_t>(count));
    const std::size_t before = mallinfo2().uordblks;
    for (long decoder = 0; decoder < count; ++decoder) {
        decoders.push_back(std::make_unique<VideoStreamDecoder>(nullptr, formatManager, ModkitPtr<IIndicationManager>(),
                                                                queue, 0, 0, true,
                                                                QStringLiteral("camera %1").arg(decoder)));
        decoders.back()->runCycle();
    }
    std::printf("%zu\n", (mallinfo2().uordblks - before) / static_cast<std::size_t>(count));
}

} // namespace

// The framework's trace has a benchmark of its own.
void ModkitObjectTrace_Add(ModkitCounter * /*counter*/, const char * /*typeName*/, std::int32_t /*flag*/) {}
void ModkitObjectTrace_Remove(ModkitCounter * /*counter*/) {}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const long count = argc == 3 ? std::atol(argv[2]) : 0;
    if (count <= 0) {
        std::fprintf(stderr,
                     "usage: cycle_bench (decode | decode-indications | idle | idle-indications | heap) COUNT\n");
        return 2;
    }
    if (std::strcmp(argv[1], "heap") == 0)
        measureHeap(count);
    else
        runCycles(std::strncmp(argv[1], "decode", 6) == 0, std::strstr(argv[1], "-indications") != nullptr, count);
    return 0;
}
