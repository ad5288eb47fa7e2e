#ifndef STORM_STORMOUTPUT_H
#define STORM_STORMOUTPUT_H

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "StormLedger.h"
#include "StormRecord.h"
#include "interfaces/IDecoder.h"

/// What an output and the client who holds its handle both know. Thread-safe.
class StormOutputState {
public:
    virtual ~StormOutputState() = default;

    /// Lets go of the records that have come, on the calling thread.
    virtual void collect() = 0;

    /// Set when the drop of the output's handle has returned: nothing may be pushed any more.
    std::atomic<bool> isClosed{false};
    std::atomic<std::int64_t> pushes{0};
};

template <class Media>
class StormRecords final : public StormOutputState {
public:
    void add(const typename Media::Handle &record)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _records.push_back(record);
        if (_records.size() > 4)
            _records.pop_front();
    }

    void collect() override
    {
        std::deque<typename Media::Handle> taken;
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            taken.swap(_records);
        }
        for (const typename Media::Handle &record : taken) {
            if (stampOf(record).magic != StormStamp::alive)
                StormLedger::violation("a record's bytes are gone while it is held");
        }
    }

private:
    std::mutex _mutex;
    std::deque<typename Media::Handle> _records; // guarded by _mutex
};

/// Checks that exactly the records of its stream come, each once, in order, one at a time, and none too late.
template <class Media>
class StormOutput final : public Media::OutputQueue, private Counted<StormOutput<Media>> {
public:
    static constexpr const char *kindName = Media::outputName;
    using Counted<StormOutput<Media>>::count;

    /// @param queue number of the input queue that the records are to come from.
    StormOutput(quint32 queue, std::shared_ptr<StormRecords<Media>> records)
        : _queue(queue)
        , _records(std::move(records))
    {
    }

    void push(const typename Media::Handle &record, qint64 timestamp, qint64 blockTime) override
    {
        if (_isPushing.exchange(true))
            StormLedger::violation("two pushes at a time");
        if (_records->isClosed)
            StormLedger::violation("a push after the drop of the handle");
        if (record.isNull()) {
            if (timestamp != 0 || blockTime != 0)
                StormLedger::violation("a null block with a time");
        } else {
            take(record, timestamp);
        }
        ++_records->pushes;
        _isPushing = false;
    }

private:
    void take(const typename Media::Handle &record, qint64 timestamp)
    {
        const StormStamp stamp = stampOf(record);
        if (stamp.magic != StormStamp::alive || stamp.queue != _queue || stamp.streamId != Media::streamId)
            StormLedger::violation("a foreign record: queue " + std::to_string(stamp.queue) + " in place of " +
                                   std::to_string(_queue));
        if (stamp.index != timestamp || stamp.index <= _lastIndex)
            StormLedger::violation("record " + std::to_string(stamp.index) + " after " + std::to_string(_lastIndex));
        _lastIndex = stamp.index;
        _records->add(record);
    }

    const quint32 _queue;
    const std::shared_ptr<StormRecords<Media>> _records;
    std::atomic<bool> _isPushing{false};
    qint64 _lastIndex = -1; // only while pushing
};

/// A client's handle with its output. Whoever drops it holds the only reference.
struct StormHandle {
    ModkitPtr<IDecoder> handle;
    std::shared_ptr<StormOutputState> output;

    void drop()
    {
        handle.reset();
        output->isClosed = true;
    }
};

#endif
