#ifndef HOST_SINKS_SINK_H
#define HOST_SINKS_SINK_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IVideoOutputQueue.h"
#include "sinks/IRecordWriter.h"
#include "sinks/ISink.h"
#include "sinks/SinkWorkers.h"

/// How much a sink holds that is not written yet. A record larger than the bytes passes when it is alone.
struct SinkLimits {
    int records = 8;
    quint64 bytes = 64 << 20;
};

/// An output queue of the decoding manager: counts the records of one stream and has them written on its worker. A push
/// takes a reference and no copy, and waits while the limits are reached, until it is told to wait no more: nothing is
/// ever dropped.
///
/// Shared by ModkitPtr between the host and the stream decoder; the last of them destroys it, on its own thread. The
/// host keeps its reference until finish() has returned, so that no decoder thread ever waits for the end of the
/// writing.
template <class Queue, class Handle, class Header>
class Sink final : public Queue, public ISink {
public:
    using Writer = IRecordWriter<Header>;

    /// @param name of the stream, for errors. @param writer null: the sink only counts, and needs no @p worker.
    Sink(std::string name, std::unique_ptr<Writer> writer, std::shared_ptr<SinkWorkers::Worker> worker,
         SinkLimits limits = SinkLimits());
    ~Sink() override;
    Sink(const Sink &) = delete;
    Sink &operator=(const Sink &) = delete;

    void push(const Handle &record, qint64 timestamp, qint64 blockTime) override;

    Status status() const override;
    void waitNoMore() override;
    void finish() override;

private:
    bool count(const Handle &record, const Header *header);
    void enqueue(quint64 size, std::function<void()> job);
    void write(const Handle &record, qint64 blockTimeMs);
    void end();
    void noteErrorLocked(const std::string &error);

    const std::string _name;
    const std::shared_ptr<SinkWorkers::Worker> _worker;
    const SinkLimits _limits;
    const std::unique_ptr<Writer> _writer; // used on the worker only

    mutable std::mutex _mutex;
    std::condition_variable _changed; // less is pending, _waitsNoMore or _ended
    // Guarded by _mutex.
    Status _status;
    int _pendingRecords = 0;
    quint64 _pendingBytes = 0;
    bool _failed = false;      // writing has, for good
    bool _waitsNoMore = false; // waitNoMore() was called
    bool _finishing = false;   // finish() was called
    bool _ended = false;       // the files are closed
};

using VideoSink = Sink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
using AudioSink = Sink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;

#endif
