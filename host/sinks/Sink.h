#ifndef HOST_SINKS_SINK_H
#define HOST_SINKS_SINK_H

#include <memory>
#include <mutex>
#include <string>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IVideoOutputQueue.h"
#include "sinks/Backlog.h"
#include "sinks/ISink.h"

/// An output queue of the decoding manager: counts the records of one stream and has them written by workers. A push
/// takes a reference and no copy, and never waits.
///
/// Shared by ModkitPtr between the host and the stream decoder; the last of them destroys it, on its own thread, and
/// does not wait for the writing. The host keeps its reference until isComplete(), to know what became of it.
template <class Queue, class Handle, class Header>
class Sink final : public Queue, public ISink {
public:
    /// @param name of the stream, for errors. @param backlog for its records; null: the sink only counts.
    /// @param changes set with the first record, and with one that cannot be written; may be null.
    Sink(std::string name, std::shared_ptr<Backlog<Handle, Header>> backlog, std::shared_ptr<ChangeNote> changes = {});
    ~Sink() override;
    Sink(const Sink &) = delete;
    Sink &operator=(const Sink &) = delete;

    void push(const Handle &record, qint64 timestamp, qint64 blockTime) override;

    Status status() const override;
    bool hasBegun() const override { return !_backlog || _backlog->hasBegun(); }
    void end() override;
    void hurry() override;
    bool isComplete(std::chrono::steady_clock::time_point now) override;
    void finish() override;

private:
    void count(const Handle &record, const Header *header);

    const std::string _name;
    const std::shared_ptr<Backlog<Handle, Header>> _backlog;
    const std::shared_ptr<ChangeNote> _changes;

    mutable std::mutex _mutex;
    Status _status; // guarded by _mutex; without what the backlog tells
};

using VideoSink = Sink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
using AudioSink = Sink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;

#endif
