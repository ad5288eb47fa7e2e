#ifndef FAKES_FAKEFORMATMANAGER_H
#define FAKES_FAKEFORMATMANAGER_H

#include <functional>
#include <string>

#include "fakes/CallLog.h"
#include "interfaces/IAVFormatManager.h"

/// Logs "decode KEY 'H264...' at 1, 2 to 3 outputs" and its destruction as "codec gone"; pushes nothing by itself.
template <class CodecDecoder, class OutputQueue>
class FakeCodecDecoder : public CodecDecoder {
public:
    using During = std::function<void(const QByteArray &data, const ModkitPtr<OutputQueue> *outputs, int outputCount)>;

    FakeCodecDecoder(CallLog *log, const During &duringDecode)
        : _log(log)
        , _duringDecode(duringDecode)
    {
    }
    ~FakeCodecDecoder() override
    {
        if (_log)
            _log->add("codec gone");
    }

    void decode(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                const ModkitPtr<OutputQueue> *outputs, int outputCount) override
    {
        if (_log)
            _log->add(std::string("decode ") + (keyBlock ? "KEY " : "") + "'" + data.toStdString() + "' at " +
                      std::to_string(timestamp) + ", " + std::to_string(blockTime) + " to " +
                      std::to_string(outputCount) + " outputs" + (outputs ? "" : " BROKEN"));
        if (_duringDecode)
            _duringDecode(data, outputs, outputCount);
    }

private:
    CallLog *_log;
    During _duringDecode;
};

using FakeVideoCodecDecoder = FakeCodecDecoder<IVideoCodecDecoder, IVideoOutputQueue>;
using FakeAudioCodecDecoder = FakeCodecDecoder<IAudioCodecDecoder, IAudioOutputQueue>;

/// Logs "create video 'H264'" and "create audio 'AAC '", and hands out fake codec decoders unless it is told to
/// refuse.
class FakeFormatManager : public IAVFormatManager {
public:
    explicit FakeFormatManager(CallLog *log = nullptr)
        : _log(log)
    {
    }

    /// Set before the first call.
    bool refusing = false;
    FakeVideoCodecDecoder::During duringVideoDecode;
    FakeAudioCodecDecoder::During duringAudioDecode;

    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}

    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override
    {
        note("create video ", fourcc);
        return ModkitPtr<IVideoCodecDecoder>(refusing ? nullptr : new FakeVideoCodecDecoder(_log, duringVideoDecode));
    }

    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 fourcc) override
    {
        note("create audio ", fourcc);
        return ModkitPtr<IAudioCodecDecoder>(refusing ? nullptr : new FakeAudioCodecDecoder(_log, duringAudioDecode));
    }

private:
    void note(const std::string &call, quint32 fourcc)
    {
        if (!_log)
            return;
        std::string text;
        for (int shift = 0; shift < 32; shift += 8)
            text += static_cast<char>(fourcc >> shift & 0xff);
        _log->add(call + "'" + text + "'");
    }

    CallLog *_log;
};

#endif
