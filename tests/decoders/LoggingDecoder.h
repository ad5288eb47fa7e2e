#ifndef DECODERS_LOGGINGDECODER_H
#define DECODERS_LOGGINGDECODER_H

#include <functional>
#include <string>

#include "decoders/BaseSingleStreamDecoder.h"
#include "fakes/CallLog.h"

/// A stream decoder that does nothing but log what the base asks of it: "create 'H264'", "discard", "decode KEY 'H264'
/// at 1, 2" (timestamp and block time), followed by " catching up" where the call says so.
class LoggingDecoder final : public BaseSingleStreamDecoder {
public:
    static constexpr quint32 ownStreamId = 4;

    LoggingDecoder(CallLog &log, const ModkitPtr<IIndicationManager> &indicationManager,
                   const ModkitPtr<IInputQueue> &inputQueue, int flags, bool performanceMode,
                   const QString &name = QString::fromLatin1("camera 1"))
        : BaseSingleStreamDecoder(&log, indicationManager, inputQueue, 7, ownStreamId, flags, performanceMode, name)
        , _log(log)
    {
    }

    /// Whether a codec decoder is held.
    bool holding = false;
    /// Creation fails from now on.
    bool refusing = false;
    /// Called within each call that is logged, with the first word of what is logged.
    std::function<void(const std::string &call)> during;

    int removeOutput(quint32 /*outputId*/) override
    {
        note("removeOutput", "");
        return 0;
    }

    void decodeBlock(const QByteArray &data, bool keyBlock, qint64 timestamp, qint64 blockTime,
                     bool catchingUp) override
    {
        note("decode", std::string(keyBlock ? " KEY" : "") + " '" + data.toStdString() + "' at " +
                           std::to_string(timestamp) + ", " + std::to_string(blockTime) +
                           (catchingUp ? " catching up" : ""));
    }

    bool hasCodecDecoder() const override { return holding; }

    void discardCodecDecoder() override
    {
        note("discard", "");
        holding = false;
    }

    void createCodecDecoder(quint32 fourcc) override
    {
        std::string text;
        for (int shift = 0; shift < 32; shift += 8)
            text += static_cast<char>(fourcc >> shift & 0xff);
        note("create", " '" + text + "'");
        holding = !refusing;
    }

private:
    void note(const std::string &call, const std::string &details)
    {
        _log.add(call + details);
        if (during)
            during(call);
    }

    CallLog &_log;
};

#endif
