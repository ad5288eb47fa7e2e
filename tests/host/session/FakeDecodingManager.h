#ifndef TESTS_HOST_SESSION_FAKEDECODINGMANAGER_H
#define TESTS_HOST_SESSION_FAKEDECODINGMANAGER_H

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "format/MediaBlock.h"
#include "host/sinks/Records.h"
#include "interfaces/IDecodingManager.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

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

    /// Whether there is a block for @p decoder, which stays there.
    static bool finds(const Decoder &decoder)
    {
        QueueCursor cursor = decoder.cursor;
        Block block;
        return block.read(*decoder.queue, &cursor);
    }

    /// Takes the next block. @return how many packets it holds; 0 when there is no block.
    static int takePackets(Decoder &decoder)
    {
        Block block;
        if (!block.read(*decoder.queue, &decoder.cursor))
            return 0;
        AVPacket *packet = av_packet_alloc();
        QByteArray parameters;
        MediaBlock::Position position;
        int packets = 0;
        while (position.offset < block.data.size() &&
               MediaBlock::unpack(block.data, block.keyBlock, packet, &parameters, &position))
            ++packets;
        av_packet_free(&packet);
        return packets;
    }

    std::vector<Decoder> decoders; // ever made
    bool refuses = false;          // to make more
    std::function<void(Decoder &)> onCreate;

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
        if (onCreate)
            onCreate(decoders.back());
        return ModkitPtr<IDecoder>(new Handle(decoder.isHeld));
    }

    struct Block {
        bool read(IInputQueue &queue, QueueCursor *cursor)
        {
            return queue.readBlock(&data, &streamId, &keyBlock, &timestamp, &blockTime, cursor, nullptr, nullptr, &lost,
                                   &latency);
        }

        QByteArray data;
        quint32 streamId = 0;
        bool keyBlock = false;
        qint64 timestamp = 0;
        qint64 blockTime = 0;
        quint32 lost = 0;
        qint64 latency = 0;
    };

    static bool decodeBlock(Decoder &decoder)
    {
        Block block;
        if (!block.read(*decoder.queue, &decoder.cursor))
            return false;
        const quint32 wanted = decoder.pictures.isNull() ? 8 : 0;
        if (block.data.isEmpty() || block.streamId != wanted)
            return true;
        if (decoder.pictures.isNull())
            decoder.samples->push(Records::samples({0, 0}, 48000, 1, 0), 0, block.blockTime);
        else
            decoder.pictures->push(Records::picture(AV_PIX_FMT_GRAY8, 4, 4, QByteArray(16, 'x'), 0), 0,
                                   block.blockTime);
        return true;
    }
};

#endif
