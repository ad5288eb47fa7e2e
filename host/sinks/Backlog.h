#ifndef HOST_SINKS_BACKLOG_H
#define HOST_SINKS_BACKLOG_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/AudioSampleHandle.h"
#include "interfaces/VideoFrameHandle.h"
#include "media/ChangeNote.h"
#include "queues/Gate.h"
#include "sinks/IRecordWriter.h"
#include "sinks/ISink.h"
#include "sinks/SinkWorkers.h"
#include "sinks/WriteWatch.h"

/// How much a sink holds that is not written yet, and what becomes of more. A record larger than the bytes is taken
/// when it is alone.
struct SinkLimits {
    int records = 8;
    quint64 bytes = 64 << 20;
    /// Of the stream's decoder. It is closed while there is no room; what comes still, because a packet may yield
    /// several records, is taken over the limits. Null: what finds no room is dropped, and counted.
    std::shared_ptr<Gate> gate = {};
};

/// What a sink has taken and its writer has not written yet. Written by the workers; shared with them, so that a writer
/// that hangs can be left behind with what it needs. Thread-safe; nothing here waits, except for `waitUntilComplete`.
template <class Handle, class Header>
class Backlog final : public SinkWorkers::Work, public std::enable_shared_from_this<Backlog<Handle, Header>> {
public:
    using Writer = IRecordWriter<Header>;
    using Instant = std::chrono::steady_clock::time_point;

    /// @param watch of @p writer. @param changes set when it has begun or ended, and when writing begins or ceases to
    ///        fail; may be null.
    Backlog(std::unique_ptr<Writer> writer, SinkLimits limits, std::shared_ptr<WriteWatch> watch,
            std::shared_ptr<SinkWorkers::Pool> workers, std::shared_ptr<ChangeNote> changes = {});
    /// Lets go of the gate.
    ~Backlog() override;
    Backlog(const Backlog &) = delete;
    Backlog &operator=(const Backlog &) = delete;

    /// Has the writer create its file.
    void begin();
    /// @param record of this host, or null for a break. @param size of it in bytes.
    void push(const Handle &record, quint64 size, qint64 blockTimeMs);
    /// Has the rest written and the files completed.
    void end();
    void hurry() { _watch->hurry(); }
    /// Whether begin() was carried out.
    [[nodiscard]] bool hasBegun() const;
    /// Whether all is written, or was given up: what hurries, and makes no progress, is given up by this call.
    [[nodiscard]] bool isComplete(Instant now);
    void waitUntilComplete();

    /// Adds what it knows to @p status.
    void describe(ISink::Status &status) const;

    bool step() override;
    bool isLeftBehind(Instant now) override;

private:
    struct Record {
        Handle handle;
        quint64 size;
        qint64 blockTimeMs;
    };

    bool hasRoomLocked(quint64 size) const;
    int roomLocked() const;
    void adjustGateLocked();
    bool schedule();
    void write(Record record, std::unique_lock<std::mutex> &lock, std::deque<Record> &unwritten);
    void failLocked(const std::string &error, std::deque<Record> &unwritten);
    void dropAllLocked(std::deque<Record> &unwritten, quint64 &count);
    std::string lossLocked() const;

    const std::unique_ptr<Writer> _writer; // for the workers only
    const std::string _target;             // the writer's
    const SinkLimits _limits;
    const std::shared_ptr<WriteWatch> _watch;
    const std::shared_ptr<SinkWorkers::Pool> _workers;
    const std::shared_ptr<ChangeNote> _changes;

    mutable std::mutex _mutex; // guards all that follows
    std::condition_variable _completed;
    Gate::Output _gateOutput;
    std::deque<Record> _waiting;
    int _pendingRecords = 0; // those, and the one that is being written
    quint64 _pendingBytes = 0;
    quint64 _lastSize = 0; // of the record that came last
    quint64 _dropped = 0;
    quint64 _bytesWritten = 0;
    quint64 _failed = 0;
    bool _isFailing = false;
    std::optional<std::string> _error;
    std::optional<Instant> _closedSince; // the gate, by this
    quint64 _closings = 0;
    std::chrono::nanoseconds _closedFor{0}; // without the present time
    bool _isScheduled = false;
    bool _hasBegun = false;
    bool _hasFailed = false;
    bool _isEnding = false;
    bool _hasEnded = false; // the files are closed
    bool _isLeftBehind = false;
};

#endif
