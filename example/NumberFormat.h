#ifndef EXAMPLE_NUMBERFORMAT_H
#define EXAMPLE_NUMBERFORMAT_H

#include <cstring>

#include "NumberStream.h"
#include "interfaces/BigBlocks.h"
#include "interfaces/IAVFormatManager.h"

/// "Decodes" the blocks of a NumberStream: pushes the number to every output, as a frame in big-block memory.
class NumberDecoder final : public IVideoCodecDecoder {
public:
    void decode(const QByteArray &data, bool /*keyBlock*/, qint64 timestamp, qint64 blockTime,
                const ModkitPtr<IVideoOutputQueue> *outputs, int outputCount) override
    {
        if (data.isEmpty())
            return; // nothing is held back
        const quint32 number = data.mid(int(std::strlen(NumberStream::fourcc))).toUInt();
        const VideoFrameHandle frame(new VideoFrameBuffer);
        frame->size = sizeof number;
        frame->data = slab::bigBlockAllocate(frame->size);
        if (!frame->data)
            return; // no memory: this frame is lost
        std::memcpy(frame->data, &number, sizeof number);
        for (int index = 0; index < outputCount; ++index)
            outputs[index]->push(frame, timestamp, blockTime);
    }
};

/// A format component that knows one fourcc.
class NumberFormat final : public IAVFormatManager {
public:
    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}

    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override
    {
        constexpr quint32 numbers = 0x424D554E; // 'N' 'U' 'M' 'B', the first letter lowest
        return ModkitPtr<IVideoCodecDecoder>(fourcc == numbers ? new NumberDecoder : nullptr);
    }

    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 /*fourcc*/) override
    {
        return ModkitPtr<IAudioCodecDecoder>();
    }
};

#endif
