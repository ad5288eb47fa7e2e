#ifndef STORM_STORMOUTPUT_H
#define STORM_STORMOUTPUT_H

#include <atomic>
#include <deque>
#include <memory>
#include <string>

#include "StormLedger.h"
#include "StormRecord.h"
#include "interfaces/IDecoder.h"

/// What an output and the client who holds its handle both know. Its fields that are no atomics belong to the pushes
/// until the output is closed, and from then on to the client: no lock of the storm's own stands in for the
/// component's.
class StormOutputState {
public:
    virtual ~StormOutputState() = default;

    /// Checks the records that have come, and lets go of them. Only when the output is closed.
    virtual void collect() = 0;

    /// Set when the drop of the output's handle has returned: nothing may be pushed any more. Relaxed.
    std::atomic<bool> isClosed{false};
    StormTally pushes;
};

template <class Media>
class StormRecords final : public StormOutputState {
public:
    void add(const typename Media::Handle &record)
    {
        _records.push_back(record);
        if (_records.size() > 4)
            _records.pop_front();
    }

    void collect() override
    {
        for (const typename Media::Handle &record : _records) {
            if (stampOf(record).magic != StormStamp::alive)
                StormLedger::violation("a record's bytes are gone while it is held");
        }
        _records.clear();
    }

private:
    std::deque<typename Media::Handle> _records;
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
        if (_isPushing.exchange(true, std::memory_order_relaxed))
            StormLedger::violation("two pushes at a time");
        if (_records->isClosed.load(std::memory_order_relaxed))
            StormLedger::violation("a push after the drop of the handle");
        if (record.isNull()) {
            if (timestamp != 0 || blockTime != 0)
                StormLedger::violation("a null block with a time");
        } else {
            take(record, timestamp);
        }
        ++_records->pushes;
        _isPushing.store(false, std::memory_order_relaxed);
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
    const std::atomic<bool> *isStopping = nullptr; // the world's

    /// Drops the handle, and settles with its output. A drop that comes while the manager is being stopped may come
    /// after the drain of the registries: it changes nothing then, and what is just being decoded is still pushed.
    void drop()
    {
        handle.reset();
        if (*isStopping)
            return;
        output->isClosed.store(true, std::memory_order_relaxed);
        output->collect();
    }
};

#endif
