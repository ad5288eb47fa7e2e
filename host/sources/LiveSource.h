#ifndef HOST_SOURCES_LIVESOURCE_H
#define HOST_SOURCES_LIVESOURCE_H

#include <QString>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/ChangeNote.h"
#include "queues/LiveQueue.h"
#include "sources/Backoff.h"
#include "sources/BlockTimes.h"
#include "sources/InputAccess.h"
#include "sources/LiveConnection.h"
#include "sources/LiveUrl.h"
#include "sources/MediaSource.h"
#include "sources/Outage.h"
#include "sources/SourceThread.h"
#include "strata/base/modkit/modkit"

/// Reads a live source with libavformat on a thread of its own and fills one queue for its video and one for its audio,
/// each as it arrives. It waits for nobody but the source. When the source ends, breaks off, or sends nothing for a
/// while, it is connected again and again, after ever longer waits, until the source is stopped or its duration is
/// over; one that merely listens, for datagrams or callers, after short waits. So that what never becomes a stream
/// costs little, each wait is many times as long as an attempt in vain has computed. What no further attempt would
/// mend, such as a wrong password, ends it: see LiveUrl::isHopeless. At each break both streams get an empty block, and
/// each goes on at its next key block; block times go on where they ended.
///
/// Thread-safe except the destructor, `retry` and `join`, which belong to one thread. Owned by whoever made it; holds
/// its queues.
class LiveSource final {
public:
    using Stream = MediaSource::Stream;

    struct Options {
        bool video = true;
        bool audio = true;
        /// Names the source and its streams in reports; the url without its secrets when empty.
        QString label;
        InputAccess access;
        /// How long opening may take, and how long no packet may come.
        std::chrono::milliseconds openLimit{10'000};
        std::chrono::milliseconds stallLimit{5'000};
        /// Between attempts to connect: see Backoff. It begins anew after a connection that delivered for
        /// `steadyAfter`.
        std::chrono::milliseconds firstRetryDelay{500};
        std::chrono::milliseconds lastRetryDelay{30'000};
        std::chrono::milliseconds steadyAfter{10'000};
        /// The source ends so long after it was made, whatever has come until then.
        std::optional<std::chrono::milliseconds> duration;
        /// Set when there is something new in its status, streams or reports, except packets; may be null.
        std::shared_ptr<ChangeNote> changes = {};
    };

    enum class State {
        Connecting,
        Delivering,
        Waiting, // to connect again
        Ended,   // by request, because its duration is over, or with a trouble that no further attempt would mend
    };

    struct Status {
        State state = State::Connecting;
        /// Why it does not deliver, in words that go behind its name; empty when it does, or did until it ended.
        std::string trouble;
        quint64 connections = 0;
        quint64 packets = 0; // of the wanted streams, whether or not the queues took them, and their bytes
        quint64 bytes = 0;
        qint64 startTimeUs = 0; // of the present or latest connection, which players count from; 0 when unknown
    };

    /// Whether @p url is one for this class: see LiveUrl.
    static bool isLive(const std::string &url) { return LiveUrl::isLive(url); }

    /// Begins to connect; never blocks. When there is no thread to be had, it waits, with that trouble, for `retry`.
    /// @param url for which isLive answers true.
    /// @param video receives the video, @p audio the audio; empty where it is not wanted.
    LiveSource(const std::string &url, const Options &options, const ModkitPtr<LiveQueue> &video,
               const ModkitPtr<LiveQueue> &audio);

    LiveSource(const LiveSource &) = delete;
    LiveSource &operator=(const LiveSource &) = delete;
    /// Stops the source and waits for its thread.
    ~LiveSource();

    /// What has been delivered so far, video first: at most one stream of each kind, as its latest connection had it.
    /// Empty before the first connection; a later one may add the kind that was not there.
    [[nodiscard]] std::vector<Stream> streams() const;

    /// What its latest connection had no decoder for, as MediaSource::undecodable, though nothing could be decoded.
    [[nodiscard]] std::vector<Stream> undecodable() const;

    [[nodiscard]] Status status() const;

    /// @return what is new for people since the last call, in single lines that name the source: each trouble
    ///         when it comes or gets another reason, not with each attempt that fails, now and then while it lasts, and
    ///         its mending. A trouble that ends the source is in the status alone.
    [[nodiscard]] std::vector<std::string> takeReports();

    /// Tries again where the system had no thread for it. To be called now and then; belongs to one thread, as `join`.
    void retry();

    /// Has it connect again, at once, because what comes cannot be decoded as it was described. Thread-safe; never
    /// waits. Nothing happens unless it delivers.
    void describeAnew() { _describeAnew = true; }

    /// Ends the source, whatever it is waiting for, within a fifth of a second; a name that is being looked up takes as
    /// long as the system lets it. The streams get an empty block, and the queues are ended.
    void requestStop();

    /// Waits until the source has ended.
    void join();

    /// As join, for a source that was stopped or is over; but where its thread does not return from the system within
    /// @p patience, it is left behind, keeps the source, and does not touch the queues any more, which are ended.
    static void joinOrLeave(const std::shared_ptr<LiveSource> &source, std::chrono::milliseconds patience);

    /// Whether its duration is over, and its thread has not come back from the system for so long that it may never.
    [[nodiscard]] bool isOverdue() const;

private:
    using Clock = std::chrono::steady_clock;

    void begin();
    void run();
    /// Why it does not go on.
    struct Break {
        std::string trouble;
        bool isFinal = false; // no further attempt would mend it
        bool isWaited = true; // for a while, before the next attempt
        /// What an attempt that delivered nothing has cost.
        std::chrono::nanoseconds computed{0};
    };
    using Opened = std::variant<std::unique_ptr<LiveConnection>, LiveConnection::Failure>;
    Break connectAndDeliver();
    /// One that is called waits for its own port, which its last caller may hold for a moment.
    Opened open();
    std::chrono::nanoseconds delayAfter(const Break &end);
    Break deliver(LiveConnection &connection);
    void append(const LiveConnection::Delivery &delivery);
    void endStream(std::size_t kind);
    void endStreams();
    void endQueues();
    void waitUntil(Clock::time_point instant);
    bool isOver() const;
    Clock::time_point notAfterEnd(Clock::time_point instant) const { return std::min(instant, _end); }
    void noteConnection(const LiveConnection &connection);
    void noteUndecodable(const std::vector<Stream> &streams);
    void noteStreams(const LiveConnection &connection);
    void noteState(State state);
    void noteTrouble(const std::string &reason);
    void noteFailure(const std::string &reason);
    void noteEnd(const std::string &trouble);
    void notePacket(qint64 bytes);
    void noteChange() const { ChangeNote::set(_options.changes); }

    // Constant after construction.
    const LiveUrl _url;
    const Options _options;
    const Clock::time_point _end;
    // Video, audio. Of the thread, once it runs; empty once it is left behind.
    std::array<ModkitPtr<LiveQueue>, BlockTimes::kindCount> _queues;

    bool _lacksThread = false; // and is to be begun again; of the thread that `join` belongs to

    // The source's thread only.
    BlockTimes _times{true};
    Backoff _backoff;
    Clock::time_point _lastPacket; // when it came; of a connection that brought none yet, when it was made
    std::array<qint64, BlockTimes::kindCount> _lastTimeMs = {}; // block times of the latest blocks

    std::atomic<bool> _stopRequested{false}; // written under _mutex

    std::atomic<bool> _describeAnew{false};

    mutable std::mutex _mutex; // guards the next five
    Status _status;
    Outage _outage;
    std::vector<Stream> _streams;
    std::vector<Stream> _undecodable;
    std::vector<std::string> _reports;

    std::condition_variable _stopped;
    SourceThread _thread; // the last: it uses all the others
};

#endif
