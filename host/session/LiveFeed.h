#ifndef HOST_SESSION_LIVEFEED_H
#define HOST_SESSION_LIVEFEED_H

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "queues/LiveQueue.h"
#include "session/InputFeed.h"
#include "sources/LiveSource.h"

/// Feeds an input that never ends: a live source, each of whose streams has a queue of its own, so that one that is too
/// slow costs the other nothing. One that is cancelled, or whose duration is over, is left behind where it does not
/// return from the system, as from a disk that hangs.
class LiveFeed final : public InputFeed {
public:
    /// Begins to connect. @param options with a label. @param maxLatency of a block in its queue.
    LiveFeed(const std::string &url, const LiveSource::Options &options, std::chrono::milliseconds maxLatency);
    LiveFeed(const LiveFeed &) = delete;
    LiveFeed &operator=(const LiveFeed &) = delete;
    ~LiveFeed() override;

    std::vector<Stream> takeStreams() override;
    std::vector<MediaSource::Stream> undecodable() const override { return _source->undecodable(); }
    void decode(StreamKind kind) override { _decoded.insert(kind); }
    void leave(StreamKind kind) override { _decoded.erase(kind); }
    ModkitPtr<IInputQueue> queue(StreamKind kind) const override { return _queues[indexOf(kind)]; }
    void start() override {} // What comes before there is a decoder waits in the queues, as long as it may.
    void describeAnew() override { _source->describeAnew(); }
    void retry() override { _source->retry(); }
    void cancel() override;
    void wait() override;
    bool isDrained() const override;
    Status status() const override;
    std::optional<std::string> error() const override { return errorOf(_source->status()); }
    Figures figures(StreamKind kind) const override;
    Figures figures() const override;
    std::vector<std::string> takeReports() override { return _source->takeReports(); }
    bool isLive() const override { return true; }

private:
    std::optional<std::string> errorOf(const LiveSource::Status &source) const;

    const std::string _name;
    const std::array<ModkitPtr<LiveQueue>, streamKinds.size()> _queues; // by kind
    const std::shared_ptr<LiveSource> _source;
    std::map<StreamKind, StreamDescription> _taken; // the streams that are known
    std::set<StreamKind> _decoded;                  // kinds of those that somebody reads
};

#endif
