#ifndef STORM_STORMRECORD_H
#define STORM_STORMRECORD_H

#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "StormBlock.h"
#include "StormLedger.h"
#include "interfaces/IAudioCodecDecoder.h"
#include "interfaces/IVideoCodecDecoder.h"

/// What a decoded record of the storm begins with.
struct StormStamp {
    static constexpr quint32 alive = 0x5AB1A11F;

    quint32 magic;
    quint32 size; // bytes, this stamp included
    quint32 queue;
    quint32 streamId;
    qint64 index; // of the block in the queue
};

/// The types of one medium, and how its records are made.
struct StormVideo {
    using CodecDecoder = IVideoCodecDecoder;
    using OutputQueue = IVideoOutputQueue;
    using Handle = VideoFrameHandle;
    static constexpr quint32 streamId = StormBlock::videoStreamId;
    static constexpr char codecName[] = "a video codec decoder";
    static constexpr char outputName[] = "a video output queue";

    static Handle allocate(quint32 size)
    {
        auto *const record = new VideoFrameBuffer;
        record->data = slab::bigBlockAllocate(size);
        record->size = size;
        return Handle(record);
    }
};

struct StormAudio {
    using CodecDecoder = IAudioCodecDecoder;
    using OutputQueue = IAudioOutputQueue;
    using Handle = AudioSampleHandle;
    static constexpr quint32 streamId = StormBlock::audioStreamId;
    static constexpr char codecName[] = "an audio codec decoder";
    static constexpr char outputName[] = "an audio output queue";

    static Handle allocate(quint32 size)
    {
        auto *const record = new AudioSampleBuffer;
        record->data = new char[size];
        return Handle(record);
    }
};

/// Some of the records of one medium, kept beyond the storm: when all others have let go, one reference must be left
/// of each, and its bytes untouched. Thread-safe.
template <class Media>
class StormRecordSample {
public:
    static StormRecordSample &instance()
    {
        static StormRecordSample value;
        return value;
    }

    /// Keeps one record in 64, as long as there is room.
    void offer(const typename Media::Handle &record)
    {
        if (_offered.add(1) % 64 != 0)
            return;
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_records.size() < 1000)
            _records.push_back(record);
    }

    /// Checks the records and lets go of them. @return how many there were.
    std::size_t settle()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        for (const typename Media::Handle &record : _records) {
            if (record->refCount != 1)
                StormLedger::violation("a record with " + std::to_string(record->refCount) + " references");
            if (static_cast<const StormStamp *>(static_cast<const void *>(record->data))->magic != StormStamp::alive)
                StormLedger::violation("a record whose bytes are gone");
        }
        const std::size_t count = _records.size();
        _records.clear();
        return count;
    }

private:
    std::mutex _mutex;
    StormTally _offered;
    std::vector<typename Media::Handle> _records; // guarded by _mutex
};

/// @return the stamp of @p record.
template <class Handle>
StormStamp stampOf(const Handle &record)
{
    StormStamp stamp;
    std::memcpy(&stamp, record->data, sizeof stamp);
    return stamp;
}

/// A new record for the block at @p index of @p queue.
template <class Media>
typename Media::Handle makeRecord(quint32 queue, qint64 index)
{
    const quint32 size = static_cast<quint32>(sizeof(StormStamp)) + static_cast<quint32>(index % 7) * 1000;
    const typename Media::Handle record = Media::allocate(size);
    const StormStamp stamp{StormStamp::alive, size, queue, Media::streamId, index};
    std::memcpy(record->data, &stamp, sizeof stamp);
    StormRecordSample<Media>::instance().offer(record);
    return record;
}

#endif
