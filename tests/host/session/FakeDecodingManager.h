#ifndef TESTS_HOST_SESSION_FAKEDECODINGMANAGER_H
#define TESTS_HOST_SESSION_FAKEDECODINGMANAGER_H

#include <atomic>
#include <memory>
#include <vector>

#include "host/sinks/Records.h"
#include "interfaces/IDecodingManager.h"

/// Decodes when the test says so: each block of a stream becomes a picture or samples. Handles may be released on any
/// thread.
class FakeDecodingManager final : public IDecodingManager {
public:
    struct Decoder {
        ModkitPtr<IInputQueue> queue;
        ModkitPtr<IVideoOutputQueue> pictures; // either these or
        ModkitPtr<IAudioOutputQueue> samples;  // these
        int flags = 0;
        QString name;
        std::shared_ptr<std::atomic<bool>> isHeld = std::make_shared<std::atomic<bool>>(true); // its handle is
        QueueCursor cursor = {};
    };

    ModkitPtr<IDecoder> createVideoDecoder(const ModkitPtr<IInputQueue> &queue,
                                           const ModkitPtr<IVideoOutputQueue> &output, int flags,
                                           const QString &name) override
    {
        return keep({queue, output, {}, flags, name});
    }
    ModkitPtr<IDecoder> createAudioDecoder(const ModkitPtr<IInputQueue> &queue,
                                           const ModkitPtr<IAudioOutputQueue> &output, int flags,
                                           const QString &name) override
    {
        return keep({queue, {}, output, flags, name});
    }

    /// Has each decoder that is held decode all that is in its queue.
    void decode()
    {
        for (Decoder &decoder : decoders) {
            while (*decoder.isHeld && decodeBlock(decoder)) {
            }
        }
    }

    std::vector<Decoder> decoders; // ever made
    bool refuses = false;          // to make more

private:
    class Handle final : public IDecoder {
    public:
        explicit Handle(std::shared_ptr<std::atomic<bool>> isHeld)
            : _isHeld(std::move(isHeld))
        {
        }
        ~Handle() override { *_isHeld = false; }

    private:
        const std::shared_ptr<std::atomic<bool>> _isHeld;
    };

    ModkitPtr<IDecoder> keep(const Decoder &decoder)
    {
        if (refuses)
            return ModkitPtr<IDecoder>();
        decoders.push_back(decoder);
        return ModkitPtr<IDecoder>(new Handle(decoder.isHeld));
    }

    static bool decodeBlock(Decoder &decoder)
    {
        QByteArray data;
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTime = 0;
        quint32 lost = 0;
        qint64 latency = 0;
        if (!decoder.queue->readBlock(&data, &streamId, &keyBlock, &timestamp, &blockTime, &decoder.cursor, nullptr,
                                      nullptr, &lost, &latency))
            return false;
        const quint32 wanted = decoder.pictures.isNull() ? 8 : 0;
        if (data.isEmpty() || streamId != wanted)
            return true;
        if (decoder.pictures.isNull())
            decoder.samples->push(Records::samples({0, 0}, 48000, 1, 0), 0, blockTime);
        else
            decoder.pictures->push(Records::picture(AV_PIX_FMT_GRAY8, 4, 4, QByteArray(16, 'x'), 0), 0, blockTime);
        return true;
    }
};

#endif
