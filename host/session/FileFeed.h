#ifndef HOST_SESSION_FILEFEED_H
#define HOST_SESSION_FILEFEED_H

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "queues/BlockQueue.h"
#include "session/InputFeed.h"
#include "session/JobThreads.h"
#include "sources/MediaSource.h"

/// Feeds an input that comes to its end: a file, whose blocks wait in one queue for all streams until they are decoded.
/// One that is cancelled is left behind where its opening or its reading does not return, as on a disk that hangs.
class FileFeed final : public InputFeed {
public:
    /// @param openers on a thread of which the file is opened; outlives the feed.
    FileFeed(const std::string &url, const MediaSource::Options &options, JobThreads &openers);
    FileFeed(const FileFeed &) = delete;
    FileFeed &operator=(const FileFeed &) = delete;
    ~FileFeed() override;

    void open() override;
    std::vector<Stream> takeStreams() override;
    std::vector<MediaSource::Stream> undecodable() const override;
    void decode(StreamKind kind) override;
    void leave(StreamKind /*kind*/) override {}
    ModkitPtr<IInputQueue> queue(StreamKind kind) const override;
    void start() override;
    void retry() override;
    bool isShort() const override { return _shortage && !_isGivenUp; }
    void giveUp() override;
    void cancel() override;
    void wait() override;
    bool isDrained() const override;
    bool isStarved() const override { return _queue.isNull() || _queue->isEmpty(); }
    Status status() const override;
    std::optional<std::string> error() const override;
    Figures figures(StreamKind /*kind*/) const override { return figures(); }
    Figures figures() const override;
    std::vector<std::string> takeReports() override;
    bool isLive() const override { return false; }

private:
    struct Opening;

    void begin();
    void noteShortage(const std::string &error);

    const std::string _url;
    const MediaSource::Options _options;
    JobThreads &_openers;
    std::shared_ptr<Opening> _opening;    // shared with the job; null once its result was taken
    std::shared_ptr<MediaSource> _source; // null until it is open
    ModkitPtr<BlockQueue> _queue;         // null until a stream is to be decoded
    std::set<StreamKind> _decoded;        // kinds
    std::optional<std::string> _openingError;
    // While it waits for a thread or a descriptor, or was given up for want of one: what is wrong.
    std::optional<std::string> _shortage;
    std::chrono::steady_clock::time_point _triedAt;
    bool _isGivenUp = false;
    bool _isShortageReported = false;
    std::vector<std::string> _reports;
};

#endif
