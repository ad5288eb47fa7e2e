#ifndef DECODERS_CODECSTREAMFIXTURE_H
#define DECODERS_CODECSTREAMFIXTURE_H

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/RecordedMessages.h"
#include <gmock/gmock.h>

struct VideoStream {
    using Decoder = VideoStreamDecoder;
    using CodecDecoder = IVideoCodecDecoder;
    using OutputQueue = IVideoOutputQueue;
    using FakeOutput = FakeVideoOutputQueue;
    using BufferHandle = VideoFrameHandle;
    static constexpr quint32 streamId = 0;
    static constexpr const char *createCall = "create video 'H264'";

    static FakeVideoCodecDecoder::During &duringDecode(FakeFormatManager &manager) { return manager.duringVideoDecode; }
};

struct AudioStream {
    using Decoder = AudioStreamDecoder;
    using CodecDecoder = IAudioCodecDecoder;
    using OutputQueue = IAudioOutputQueue;
    using FakeOutput = FakeAudioOutputQueue;
    using BufferHandle = AudioSampleHandle;
    static constexpr quint32 streamId = 8;
    static constexpr const char *createCall = "create audio 'H264'";

    static FakeAudioCodecDecoder::During &duringDecode(FakeFormatManager &manager) { return manager.duringAudioDecode; }
};

using Streams = testing::Types<VideoStream, AudioStream>;

struct StreamNames {
    template <class Stream>
    static std::string GetName(int /*index*/)
    {
        return std::is_same<Stream, VideoStream>::value ? "Video" : "Audio";
    }
};

template <class Decoder>
bool isOutputsLocked(Decoder &decoder)
{
    if (!decoder._outputsMutex.tryLock())
        return true;
    decoder._outputsMutex.unlock();
    return false;
}

/// Logs its destruction as "format manager gone".
class MortalFormatManager : public FakeFormatManager {
public:
    explicit MortalFormatManager(CallLog &log)
        : FakeFormatManager(&log)
        , _log(log)
    {
    }
    ~MortalFormatManager() override { _log.add("format manager gone"); }

private:
    CallLog &_log;
};

/// A stream decoder whose codec decoders, outputs and format manager write to one log, and whose messages are
/// recorded. Its cycles run when a test says so.
template <class Stream>
class CodecStreamFixture : public testing::Test {
protected:
    using Output = ModkitPtr<typename Stream::OutputQueue>;

    void makeDecoder(int flags = 0, const char *name = "camera 1")
    {
        decoder = std::make_unique<typename Stream::Decoder>(context, formatManager, indicationManager, inputQueue, 3,
                                                             flags, true, QString::fromLatin1(name));
        // Ticks and removals from another thread are not what these tests are about.
        decoder->_timer.stop();
    }

    Output output(const char *name) { return Output(new typename Stream::FakeOutput(name, &log)); }

    /// Adds an output that only the decoder holds.
    void addOutput(quint32 id, const char *name) { decoder->addOutput(id, output(name)); }

    FakeInputQueue::Block block(const char *data, bool keyBlock) const
    {
        FakeInputQueue::Block made;
        made.data = data;
        made.keyBlock = keyBlock;
        made.streamId = Stream::streamId;
        return made;
    }

    /// The calls of one cycle over @p input, without the read.
    std::vector<std::string> cycle(const FakeInputQueue::Block &input)
    {
        queue->append(input);
        decoder->runCycle();
        return log.take();
    }

    std::vector<std::string> decode(const char *data, bool keyBlock = false, bool catchingUp = false)
    {
        decoder->decodeBlock(data, keyBlock, 5, 6, catchingUp);
        return log.take();
    }

    static constexpr quint32 h264 = 0x34363248;

    RecordedMessages messages;
    CallLog log;
    int contextObject = 0;
    DecodingManager *context = reinterpret_cast<DecodingManager *>(&contextObject);
    FakeFormatManager *formats = new MortalFormatManager(log);
    ModkitPtr<IAVFormatManager> formatManager{formats};
    FakeIndicationManager *indications = new FakeIndicationManager;
    ModkitPtr<IIndicationManager> indicationManager{indications};
    FakeInputQueue *queue = new FakeInputQueue;
    ModkitPtr<IInputQueue> inputQueue{queue};
    std::unique_ptr<typename Stream::Decoder> decoder;
};

#endif
