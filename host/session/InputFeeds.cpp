#include "session/InputFeeds.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "session/FileFeed.h"
#include "session/LiveFeed.h"
#include "sources/LiveUrl.h"

namespace {

/// Whether reading it waits for the network, or for another machine that gives nothing.
bool waitsForTheNetwork(const std::string &url)
{
    constexpr char ofFiles[] = "file://";
    return LiveUrl::isLive(url) ||
           (url.find("://") != std::string::npos && qstrnicmp(url.c_str(), ofFiles, sizeof ofFiles - 1) != 0);
}

} // namespace

InputFeeds::InputFeeds(const std::string &url, const std::string &label, const decoding::Input::Core &core,
                       const Environment &environment)
    : _url(url)
    , _label(label)
    , _options(core.options())
    , _isLive(core.isLive())
    , _changes(core.changes())
    , _burstKind(core.isPunctual() ? BurstTime::Kind::Punctual : BurstTime::Kind::Bursts)
    , _isRemote(waitsForTheNetwork(url))
    , _threads(_isRemote ? environment.remote : environment.local)
    , _bursts(environment.bursts)
{
}

FeedRun &InputFeeds::add(bool video, bool audio)
{
    _all.push_back(std::make_unique<FeedRun>(makeFeed(video, audio), _threads.feeds, _changes));
    return *_all.back();
}

void InputFeeds::open(FeedRun &feed) const
{
    feed.open(std::make_unique<BurstTime::Share>(_bursts, _burstKind));
}

std::unique_ptr<InputFeed> InputFeeds::makeFeed(bool video, bool audio)
{
    const InputAccess access = {_options.formatOptions, _options.mayNameAnything};
    if (_isLive) {
        LiveSource::Options live;
        live.video = video;
        live.audio = audio;
        live.duration = _options.duration;
        live.label = QString::fromStdString(_label);
        live.changes = _changes;
        live.access = access;
        live.stallLimit = _options.stallLimit.value_or(live.stallLimit);
        live.firstRetryDelay = _options.firstRetryDelay;
        live.lastRetryDelay = _options.lastRetryDelay;
        return std::make_unique<LiveFeed>(_url, live, _options.maxLatency);
    }
    MediaSource::Options file;
    file.video = video;
    file.audio = audio;
    file.paced = _options.paced;
    file.repeat = _options.repeat;
    file.duration = _options.duration;
    file.label = QString::fromStdString(_label);
    file.number = _made++;
    file.changes = _changes;
    file.access = access;
    file.stallLimit = _options.stallLimit.value_or(file.stallLimit);
    return std::make_unique<FileFeed>(_url, file, _threads.openers);
}

void InputFeeds::cancel()
{
    for (const auto &feed : _all)
        feed->cancel();
}

void InputFeeds::poll()
{
    for (const auto &feed : _all)
        feed->poll();
}

void InputFeeds::dropLeft()
{
    const auto isDropped = [this](const std::unique_ptr<FeedRun> &feed) {
        if (!feed->isLeft() || !feed->isFinished())
            return false;
        const InputFeed::Status status = feed->status();
        _dropped.packets += status.packets;
        _dropped.bytes += status.bytes;
        _dropped.peakQueuedBlocks = std::max(_dropped.peakQueuedBlocks, status.peakQueuedBlocks);
        _dropped.peakQueuedBytes = std::max(_dropped.peakQueuedBytes, status.peakQueuedBytes);
        _dropped.decoding = std::max(_dropped.decoding, feed->runningTime());
        return true;
    };
    _all.erase(std::remove_if(_all.begin() + 1, _all.end(), isDropped), _all.end());
}

bool InputFeeds::areAllLeft() const
{
    return std::all_of(_all.begin(), _all.end(), [](const auto &feed) { return feed->isLeft(); });
}

bool InputFeeds::areAllFinished() const
{
    return std::all_of(_all.begin(), _all.end(), [](const auto &feed) { return feed->isFinished(); });
}

bool InputFeeds::isAnyRunning() const
{
    return std::any_of(_all.begin(), _all.end(), [](const auto &feed) { return feed->isRunning(); });
}

bool InputFeeds::isAnyShort() const
{
    return std::any_of(_all.begin(), _all.end(),
                       [](const auto &feed) { return feed->isRunning() && feed->feed().isShort(); });
}

void InputFeeds::giveUp()
{
    for (const auto &feed : _all)
        feed->feed().giveUp();
}

bool InputFeeds::areAllStarved() const
{
    return std::all_of(_all.begin(), _all.end(), [](const auto &feed) { return feed->isStarved(); });
}

qint64 InputFeeds::reads() const
{
    return std::accumulate(_all.begin(), _all.end(), qint64(0),
                           [](qint64 sum, const auto &feed) { return sum + feed->feed().figures().reads; });
}

std::vector<InputFeed::Status> InputFeeds::statuses() const
{
    std::vector<InputFeed::Status> statuses;
    statuses.reserve(_all.size());
    for (const auto &feed : _all)
        statuses.push_back(feed->status());
    return statuses;
}

std::optional<std::string> InputFeeds::error() const
{
    for (const auto &feed : _all) {
        if (auto error = feed->error())
            return error;
    }
    return std::nullopt;
}
