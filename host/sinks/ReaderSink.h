#ifndef HOST_SINKS_READERSINK_H
#define HOST_SINKS_READERSINK_H

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "format/PictureHeader.h"
#include "format/SamplesHeader.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IVideoOutputQueue.h"
#include "media/ChangeNote.h"
#include "sinks/FrameBuffer.h"
#include "sinks/ISink.h"

/// An output queue of the decoding manager that hands the frames of one stream on to one reader. A push takes a
/// reference and no copy, and never waits.
///
/// Shared by ModkitPtr between the host and the stream decoder. The reader has the buffer alone, so nothing that a
/// program keeps holds this object. Whoever destroys it ends the buffer.
template <class Queue, class Handle, class Header>
class ReaderSink final : public Queue, public ISink {
public:
    /// @param name of the stream, for errors. @param changes set with the first record; may be null.
    ReaderSink(std::string name, std::shared_ptr<FrameBuffer<Handle>> buffer, std::shared_ptr<ChangeNote> changes = {});
    ~ReaderSink() override;
    ReaderSink(const ReaderSink &) = delete;
    ReaderSink &operator=(const ReaderSink &) = delete;

    void push(const Handle &record, qint64 timestamp, qint64 blockTime) override;

    /// Never makes a push wait, unless a foreign record is the first one.
    Status status() const override;
    /// Ends the buffer, and does not wait until it is read.
    void end() override;
    /// Does nothing: it is at its end at once.
    void hurry() override {}
    bool isComplete(std::chrono::steady_clock::time_point /*now*/) override { return true; }
    void finish() override { end(); }

private:
    void noteForeign();

    const std::string _name;
    const std::shared_ptr<FrameBuffer<Handle>> _buffer;
    const std::shared_ptr<ChangeNote> _changes;

    // Those of Status.
    std::atomic<quint64> _records{0};
    std::atomic<quint64> _damaged{0};
    std::atomic<quint64> _foreign{0};
    std::atomic<quint64> _nullBlocks{0};
    std::atomic<quint64> _bytes{0};

    mutable std::mutex _mutex;
    std::optional<std::string> _error; // guarded by _mutex
};

using VideoReaderSink = ReaderSink<IVideoOutputQueue, VideoFrameHandle, PictureHeader>;
using AudioReaderSink = ReaderSink<IAudioOutputQueue, AudioSampleHandle, SamplesHeader>;

#endif
