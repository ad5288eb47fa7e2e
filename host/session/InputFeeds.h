#ifndef HOST_SESSION_INPUTFEEDS_H
#define HOST_SESSION_INPUTFEEDS_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "session/FeedRun.h"
#include "session/InputCore.h"
#include "session/JobThreads.h"

/// The feeds of one input, which come as its streams are asked for and go when these are left, except the first one,
/// which opened the input and stays. Thread-bound.
class InputFeeds final {
public:
    /// What the feeds of a session share. Outlives them.
    struct Environment {
        /// For files, or for all that waits for the network, so that these wait for none of those.
        struct Threads {
            JobThreads &openers; // of what ends by itself
            FeedRun::Environment feeds;
        };
        Threads local;
        Threads remote;
        std::shared_ptr<BurstTime> bursts;
    };

    /// @param label names the input in reports. @param core of the input, as are its options.
    InputFeeds(const std::string &url, const std::string &label, const decoding::Input::Core &core,
               const Environment &environment);
    InputFeeds(const InputFeeds &) = delete;
    InputFeeds &operator=(const InputFeeds &) = delete;

    /// Adds a feed for these kinds of streams, which is to be opened. To be called once before the others.
    FeedRun &add(bool video, bool audio);
    void open(FeedRun &feed) const;
    const std::vector<std::unique_ptr<FeedRun>> &all() const { return _all; }
    FeedRun &front() const { return *_all.front(); }

    /// Whether reading waits for the network.
    bool isRemote() const { return _isRemote; }
    void cancel();
    void poll();
    /// Forgets those that were left and have finished, and keeps what they counted.
    void dropLeft();

    /// Whether all readers have left a file, so that more may be asked for.
    bool areAllLeft() const;
    bool areAllFinished() const;
    bool isAnyRunning() const;
    /// As InputFeed has the next two.
    bool isAnyShort() const;
    void giveUp();
    /// Whether no feed has anything to be decoded.
    bool areAllStarved() const;
    /// How many blocks decoders have read, of those feeds that are there.
    qint64 reads() const;
    std::vector<InputFeed::Status> statuses() const;
    /// What is wrong with one of them now, or ended it too early.
    std::optional<std::string> error() const;

    /// What those counted that are there no more.
    struct Dropped {
        qint64 packets = 0;
        qint64 bytes = 0;
        qint64 peakQueuedBlocks = 0; // of the one that had most
        qint64 peakQueuedBytes = 0;
        std::chrono::milliseconds decoding{0}; // the longest
    };
    const Dropped &dropped() const { return _dropped; }

private:
    std::unique_ptr<InputFeed> makeFeed(bool video, bool audio);

    const std::string _url;
    const std::string _label;
    const decoding::InputOptions &_options;
    const bool _isLive;
    const std::shared_ptr<ChangeNote> _changes;
    const BurstTime::Kind _burstKind;
    const bool _isRemote;
    const Environment::Threads _threads;
    const std::shared_ptr<BurstTime> _bursts;
    std::vector<std::unique_ptr<FeedRun>> _all;
    quint32 _made = 0;
    Dropped _dropped;
};

#endif
