#ifndef STORM_STORMFORMATS_H
#define STORM_STORMFORMATS_H

#include <mutex>
#include <optional>
#include <vector>

#include "StormCodec.h"
#include "StormLedger.h"
#include "StormOutput.h"
#include "interfaces/IAVFormatManager.h"

/// Handles that wait for a codec decoder to take them along. Thread-safe.
class StormLegacies {
public:
    /// Takes over the caller's reference.
    void add(StormHandle &handle)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _handles.push_back(handle);
        handle.handle.reset();
    }

    std::optional<StormHandle> take()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_handles.empty())
            return std::nullopt;
        std::optional<StormHandle> taken(_handles.back());
        _handles.pop_back();
        return taken;
    }

private:
    std::mutex _mutex;
    std::vector<StormHandle> _handles; // guarded by _mutex
};

/// Fails for one fourcc always, and for the others now and then.
class StormFormats final : public IAVFormatManager, private Counted<StormFormats> {
public:
    static constexpr char kindName[] = "a format manager";
    using Counted<StormFormats>::count;

    explicit StormFormats(StormLegacies &legacies)
        : _legacies(legacies)
    {
    }

    static StormTally &refusals()
    {
        static StormTally value;
        return value;
    }

    void reserved1() override { StormLedger::violation("a reserved operation is called"); }
    void reserved2() override { reserved1(); }
    void reserved3() override { reserved1(); }
    void reserved4() override { reserved1(); }

    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override
    {
        return create<StormVideo>(fourcc);
    }
    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32 fourcc) override
    {
        return create<StormAudio>(fourcc);
    }

private:
    template <class Media>
    ModkitPtr<typename Media::CodecDecoder> create(quint32 fourcc)
    {
        if (fourcc == StormBlock::unsupportedFourcc || _requests.add(1) % 31 == 0) {
            ++refusals();
            return ModkitPtr<typename Media::CodecDecoder>();
        }
        return ModkitPtr<typename Media::CodecDecoder>(new StormCodec<Media>(fourcc, _legacies.take()));
    }

    StormLegacies &_legacies;
    StormTally _requests;
};

#endif
