#ifndef HOST_SESSION_INPUTCORE_H
#define HOST_SESSION_INPUTCORE_H

#include <array>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/ChangeNote.h"
#include "media/StreamKind.h"
#include "queues/Gate.h"
#include "session/DecodedStream.h"
#include "session/ReaderSource.h"
#include "session/SessionJobs.h"
#include <decoding/Input.h>

/// What an input's handle and the session's thread share of it. Thread-safe; shared by both, so that either may go
/// first.
class DECODING_INTERNAL decoding::Input::Core final : public std::enable_shared_from_this<Core> {
public:
    /// @param jobs of the session, which do nothing once it has ended. @param changes has it look at the input.
    Core(std::string name, InputOptions options, bool isLive, std::shared_ptr<SessionJobs> jobs,
         std::shared_ptr<ChangeNote> changes);
    ~Core();
    Core(const Core &) = delete;
    Core &operator=(const Core &) = delete;

    // Constant.
    const std::string &name() const { return _name; }
    const InputOptions &options() const { return _options; }
    bool isLive() const { return _isLive; }
    /// Whether its blocks are to be decoded when they are due, each by itself.
    bool isPunctual() const { return _isLive || _options.paced; }
    /// Set by all parts of the input when the session is to look at it.
    const std::shared_ptr<ChangeNote> &changes() const { return _changes; }
    /// Closed by the outputs of a stream that have no room.
    const std::shared_ptr<Gate> &gate(StreamKind kind) const { return _gates[indexOf(kind)]; }

    // Of the handle.
    bool has(StreamKind kind) const;
    VideoReader &video();
    AudioReader &audio();
    std::unique_ptr<VideoReader> addVideoReader();
    std::unique_ptr<AudioReader> addAudioReader();
    std::optional<std::string> error() const;
    void close();
    /// As close, by the handle that goes.
    void abandon();
    bool isFinished() const;
    bool waitUntilFinished(std::chrono::milliseconds timeout) const;
    /// Waits until its streams are known, or will never be. @return what is wrong, if anything.
    std::optional<std::string> waitUntilKnown() const;

    // Of the session's thread.
    struct Status {
        bool isKnown = false; // which streams there are
        std::array<bool, streamKinds.size()> has = {};
        std::optional<std::string> error;
        bool finished = false;
    };
    void setStatus(const Status &status);
    /// Gives no reader anything more, neither those that are there nor later ones, and wakes them.
    void closeReaders();
    /// Whether its handle has gone.
    bool isAbandoned() const;

private:
    template <class Frame>
    std::unique_ptr<FrameReader<Frame>> makeReader();
    template <class Frame>
    FrameReader<Frame> &ownReader(std::unique_ptr<FrameReader<Frame>> &reader);
    void requireStream(StreamKind kind) const;

    const std::string _name;
    const InputOptions _options;
    const bool _isLive;
    const std::shared_ptr<SessionJobs> _jobs;
    const std::shared_ptr<ChangeNote> _changes;
    const std::array<std::shared_ptr<Gate>, streamKinds.size()> _gates;

    mutable std::mutex _mutex; // guards the rest, except for the readers themselves
    mutable std::condition_variable _changed;
    Status _status;
    bool _closed = false;
    bool _readersClosed = false; // by its handle, or its end
    bool _abandoned = false;
    std::vector<ReaderBuffer> _buffers; // of all readers
    std::unique_ptr<VideoReader> _videoReader;
    std::unique_ptr<AudioReader> _audioReader;
};

#endif
