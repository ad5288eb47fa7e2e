#include "session/InputRun.h"

#include <algorithm>
#include <utility>

#include "interfaces/CreationFlags.h"
#include "media/SafeText.h"
#include "media/ShownUrl.h"
#include "session/FileFeed.h"
#include "session/LiveFeed.h"
#include "session/OutputSpecs.h"

using decoding::State;

namespace {

// As long as the blocks of a live source, which wait meanwhile, are not late.
constexpr std::chrono::milliseconds openingLimit(200);

// Of pictures of a live source that are to be decoded several at a time.
constexpr std::chrono::seconds burstPatience(1);

} // namespace

InputRun::InputRun(const std::string &url, InputNames::Name name, std::shared_ptr<decoding::Input::Core> core,
                   const Environment &environment)
    : _url(url)
    , _name(std::move(name))
    , _core(std::move(core))
    , _options(_core->options())
    , _environment(environment)
{
    _files.add(url);
    // Nobody would read a stream that no output takes.
    const bool isOpen = _options.outputs.empty();
    _feeds.push_back(makeFeed(_options.video && (isOpen || isWritten(StreamKind::Video)),
                              _options.audio && (isOpen || isWritten(StreamKind::Audio))));
}

InputRun::~InputRun()
{
    close();
}

std::unique_ptr<FeedRun> InputRun::makeFeed(bool video, bool audio) const
{
    const QString label = QString::fromStdString(_name.shown);
    std::unique_ptr<InputFeed> feed;
    if (isLive()) {
        LiveSource::Options live;
        live.video = video;
        live.audio = audio;
        live.duration = _options.duration;
        live.label = label;
        feed = std::make_unique<LiveFeed>(_url, live, _options.maxLatency);
    } else {
        MediaSource::Options file;
        file.video = video;
        file.audio = audio;
        file.paced = _options.paced;
        file.repeat = _options.repeat;
        file.duration = _options.duration;
        file.label = label;
        feed = std::make_unique<FileFeed>(_url, file, _environment.openers, _environment.feeds.wake);
    }
    return std::make_unique<FeedRun>(
        std::move(feed), isPunctual() ? BurstTime::Kind::Punctual : BurstTime::Kind::Bursts, _environment.feeds);
}

void InputRun::addReader(StreamKind kind, const ReaderBuffer &buffer)
{
    Kind &of = at(kind);
    of.readers.push_back(buffer);
    if (!of.stream || !of.feed->isOpenForOutputs())
        return;
    of.stream->addReader(buffer);
    if (const auto error = of.stream->decodeIntoOutputs())
        _error = error;
}

void InputRun::removeReader(StreamKind kind, const ReaderBuffer &buffer)
{
    Kind &of = at(kind);
    of.readers.erase(std::remove(of.readers.begin(), of.readers.end(), buffer), of.readers.end());
    if (!of.feed || !of.feed->isOpenForOutputs())
        return;
    if (of.stream)
        of.stream->removeReader(buffer);
    if (of.readers.empty() && !isWritten(kind))
        leave(of);
}

/// Ends the decoding of a stream that nobody reads any more. Whoever comes next begins anew: with a live input where it
/// is then, with a file at its beginning.
void InputRun::leave(Kind &kind)
{
    kind.isStarted = false;
    if (kind.stream) {
        kind.description = kind.stream->description();
        kind.frames += kind.stream->frames();
        kind.damaged += DecodedStream::damaged(kind.stream->condition().counts);
    }
    if (!isLive())
        kind.feed->leave();
    else if (kind.stream)
        kind.feed->remove(*kind.stream);
    if (!isLive()) {
        kind.feed = nullptr;
        kind.known.reset();
    }
    kind.stream = nullptr;
}

void InputRun::close()
{
    _closed = true;
    _core->closeReaders();
    for (Kind &kind : _kinds) {
        if (kind.opening && kind.feed->isOpenForOutputs())
            kind.stream = &kind.feed->add(std::move(kind.opening));
    }
    for (const auto &feed : _feeds)
        feed->cancel();
}

void InputRun::fail(const std::string &what)
{
    if (!_error)
        _error = _name.shown + ": " + ShownUrl::inSentence(SafeText::utf8(what));
    close();
}

void InputRun::poll(const std::shared_ptr<const FileSet> &inputFiles)
{
    for (const auto &feed : _feeds) {
        // What is closed while it is being opened has not failed.
        if (feed->isOpenForOutputs())
            takeStreams(*feed);
    }
    if (!_closed && _isKnown) {
        chooseFeeds();
        std::vector<StreamKind> ready;
        for (const StreamKind kind : streamKinds) {
            const Kind &of = at(kind);
            if (isWanted(kind) && !of.opening && !of.stream && of.feed && of.known && of.feed->isOpenForOutputs())
                ready.push_back(kind);
        }
        openOutputs(ready, inputFiles);
    }
    if (areOutputsOpening())
        decodeOnceOutputsAreOpen(std::chrono::steady_clock::now());
    for (const auto &feed : _feeds)
        feed->poll();
    followChanges();
    noteUndecodable();
    noteFirstFrames();
    endReadersInVain();
    dropLeftFeeds();
    tellHandle();
}

void InputRun::takeStreams(FeedRun &feed)
{
    const std::vector<InputFeed::Stream> streams = feed.feed().takeStreams();
    for (const InputFeed::Stream &stream : streams) {
        _isKnown = true;
        _present[indexOf(stream.kind())] = true;
        Kind &of = at(stream.kind());
        if (!of.feed || of.feed == &feed) {
            of.known = stream;
            if (of.stream)
                of.stream->setDescription(stream.description);
        }
    }
    // A file that was opened again may have another content by now.
    const bool lacksIts = std::any_of(_kinds.begin(), _kinds.end(),
                                      [&feed](const Kind &kind) { return kind.feed == &feed && !kind.known; });
    if (!streams.empty() && lacksIts)
        fail("the file has changed since it was opened");
}

/// Has a live source described anew whose blocks come, but do not fit what is known of their stream.
void InputRun::followChanges()
{
    for (const StreamKind kind : streamKinds) {
        Kind &of = at(kind);
        if (!isLive() || !of.stream || !of.feed->isOpenForOutputs())
            continue;
        InputFeed &feed = of.feed->feed();
        if (of.decoding.isFutile(of.stream->frames(), DecodedStream::damaged(of.stream->condition().counts),
                                 feed.figures(kind).lost, std::chrono::steady_clock::now()))
            feed.describeAnew();
    }
}

bool InputRun::isWritten(StreamKind kind) const
{
    return std::any_of(_options.outputs.begin(), _options.outputs.end(), [kind](const decoding::Output &output) {
        return kind == StreamKind::Video ? output.takesVideo() : output.takesAudio();
    });
}

bool InputRun::isWanted(StreamKind kind) const
{
    const bool isOfInterest = kind == StreamKind::Video ? _options.video : _options.audio;
    const Kind &of = _kinds[indexOf(kind)];
    return isOfInterest && (isWritten(kind) || (of.isStarted && !of.readers.empty()));
}

/// Gives each wanted stream the feed that it is to come from. The one that opened the input goes to all that is
/// written, or else to the first stream that is read.
void InputRun::chooseFeeds()
{
    const auto hasFeed = [this](const FeedRun *feed) {
        return std::any_of(_kinds.begin(), _kinds.end(), [feed](const Kind &kind) { return kind.feed == feed; });
    };
    const bool isFirstFree = _feeds.front()->isOpenForOutputs() && !hasFeed(_feeds.front().get());
    bool firstIsTaken = false;
    for (const StreamKind kind : streamKinds) {
        Kind &of = at(kind);
        if (of.feed || !isWanted(kind) || !_present[indexOf(kind)])
            continue;
        if (isLive() && !_feeds.front()->isOpenForOutputs())
            continue;
        if (isLive() || (isFirstFree && (isWritten(kind) || !firstIsTaken))) {
            of.feed = _feeds.front().get();
            firstIsTaken = true;
        } else {
            _feeds.push_back(makeFeed(kind == StreamKind::Video, kind == StreamKind::Audio));
            of.feed = _feeds.back().get();
            of.known.reset();
        }
    }
}

void InputRun::openOutputs(const std::vector<StreamKind> &kinds, const std::shared_ptr<const FileSet> &inputFiles)
{
    if (!kinds.empty())
        _openingSince = std::chrono::steady_clock::now();
    for (const StreamKind kind : kinds)
        at(kind).feed->feed().decode(kind);
    for (const StreamKind kind : kinds) {
        if (const auto error = openOutputs(kind, inputFiles))
            return giveUp(*error);
    }
}

std::optional<std::string> InputRun::openOutputs(StreamKind kind, const std::shared_ptr<const FileSet> &inputFiles)
{
    Kind &of = at(kind);
    DecodedStream::Settings settings;
    // What a live source sends is due when it comes.
    settings.creationFlags = (_options.paced && !isLive() ? CreationFlags::Paced : 0) |
                             (_options.excludeFromTuning ? CreationFlags::ExcludeFromTuning : 0);
    settings.keyBlocksOnly = _options.keyFramesOnly;
    if (!isPunctual()) {
        settings.bursts = _environment.feeds.bursts;
        settings.longestBurst = _options.burst;
    } else if (isLive() && kind == StreamKind::Video && _options.burst > 1) {
        settings.longestBurst = _options.burst;
        settings.burstPatience = burstPatience;
    }
    of.opening = std::make_unique<DecodedStream>(*of.known, of.feed->feed().queue(kind), _core->gate(kind), settings,
                                                 _environment.streams);
    SinkFactory::Input input{QString::fromStdString(_name.stem), of.known->startTimeUs, inputFiles};
    // A file waits for its outputs. What a live source sends cannot wait.
    if (!isLive())
        input.gate = _core->gate(kind);
    else if (!_options.overwrite)
        input.existing = OutputFile::Existing::Keep;
    for (const decoding::Output &output : _options.outputs) {
        if (kind == StreamKind::Video ? !output.takesVideo() : !output.takesAudio())
            continue;
        if (auto error = of.opening->addOutput(OutputSpecs::of(output), input))
            return error;
    }
    return std::nullopt;
}

bool InputRun::areOutputsOpening() const
{
    return std::any_of(_kinds.begin(), _kinds.end(), [](const Kind &kind) { return kind.opening != nullptr; });
}

/// Begins to decode the streams whose outputs are open. One that is not within a moment, such as a pipe that nobody
/// reads, holds up the others no longer.
void InputRun::decodeOnceOutputsAreOpen(std::chrono::steady_clock::time_point now)
{
    for (Kind &kind : _kinds) {
        if (kind.opening && !kind.feed->isOpenForOutputs())
            kind.opening.reset(); // There is nothing left to decode.
        if (!kind.opening)
            continue;
        if (const auto error = kind.opening->outputError())
            return giveUp(*error);
        if (!kind.opening->haveOutputsBegun() && now - _openingSince < openingLimit)
            return;
    }
    for (Kind &kind : _kinds) {
        if (!kind.opening)
            continue;
        if (const auto error = decode(kind))
            return giveUp(*error);
    }
}

std::optional<std::string> InputRun::decode(Kind &kind)
{
    for (const ReaderBuffer &reader : kind.readers)
        kind.opening->addReader(reader);
    auto error = kind.opening->decodeIntoOutputs();
    kind.stream = &kind.feed->add(std::move(kind.opening));
    return error;
}

/// Ends it, because it cannot be decoded as it should.
void InputRun::giveUp(const std::string &error)
{
    _error = error;
    for (Kind &kind : _kinds)
        kind.opening.reset();
    close();
}

/// Tells the readers of streams that will not be decoded, or no more, that nothing will come.
void InputRun::endReadersInVain()
{
    const bool isOver = _closed || _error || (_feeds.front()->isFinished() && (isLive() || !_isKnown));
    for (const StreamKind kind : streamKinds) {
        const Kind &of = at(kind);
        const bool isMissing = _isKnown && !_present[indexOf(kind)] && !isLive();
        if (of.feed ? !of.feed->isFinished() : !isOver && !isMissing)
            continue;
        for (const ReaderBuffer &reader : of.readers)
            std::visit([](const auto &buffer) { buffer->end(); }, reader);
    }
}

/// Forgets the feeds that were left, except the first, and keeps what they counted.
void InputRun::dropLeftFeeds()
{
    const auto isDropped = [this](const std::unique_ptr<FeedRun> &feed) {
        if (!feed->isLeft() || !feed->isFinished())
            return false;
        const InputFeed::Status status = feed->status();
        _packetsOfDropped += status.packets;
        _bytesOfDropped += status.bytes;
        return true;
    };
    _feeds.erase(std::remove_if(_feeds.begin() + 1, _feeds.end(), isDropped), _feeds.end());
}

std::vector<InputRun::ShownStream> InputRun::streams() const
{
    std::vector<ShownStream> streams;
    streams.reserve(streamKinds.size());
    for (const Kind &kind : _kinds) {
        const FeedRun &run = kind.stream ? *kind.feed : *_feeds.front();
        const auto add = [&](const MediaSource::Stream &description) {
            streams.push_back({description, kind.stream, run, kind.frames, kind.damaged, kind.troubles});
        };
        if (kind.stream)
            add(kind.stream->description());
        else if (kind.undecodable)
            add(*kind.undecodable);
        else if (kind.description)
            add(*kind.description);
    }
    return streams;
}

/// Whether all readers have left a file, so that more may be asked for.
bool InputRun::areAllLeft() const
{
    return std::all_of(_feeds.begin(), _feeds.end(), [](const auto &feed) { return feed->isLeft(); });
}

bool InputRun::isRunning() const
{
    return (!_closed && areAllLeft()) ||
           std::any_of(_feeds.begin(), _feeds.end(), [](const auto &feed) { return feed->isRunning(); });
}

bool InputRun::isFinished() const
{
    return (_closed || !areAllLeft()) &&
           std::all_of(_feeds.begin(), _feeds.end(), [](const auto &feed) { return feed->isFinished(); });
}

std::vector<InputFeed::Status> InputRun::statuses() const
{
    std::vector<InputFeed::Status> statuses;
    statuses.reserve(_feeds.size());
    for (const auto &feed : _feeds)
        statuses.push_back(feed->status());
    return statuses;
}

InputRun::Condition InputRun::condition(const std::vector<InputFeed::Status> &statuses) const
{
    Condition condition;
    condition.error = _error;
    std::array<bool, 4> hasState = {}; // by InputFeed::State
    for (const InputFeed::Status &status : statuses) {
        hasState[static_cast<std::size_t>(status.state)] = true;
        if (!condition.error)
            condition.error = status.error;
    }
    const bool isDecoding =
        std::any_of(_kinds.begin(), _kinds.end(), [](const Kind &kind) { return kind.stream != nullptr; });
    if (hasState[static_cast<std::size_t>(InputFeed::State::Waiting)])
        condition.state = State::Waiting;
    else if (hasState[static_cast<std::size_t>(InputFeed::State::Delivering)])
        condition.state = isDecoding || _closed ? State::Running : State::Ready;
    else if (hasState[static_cast<std::size_t>(InputFeed::State::Opening)])
        condition.state = State::Connecting;
    else if (!_closed && areAllLeft())
        condition.state = State::Ready;
    return condition;
}

/// The first feed knows of both kinds.
void InputRun::noteUndecodable()
{
    for (Kind &kind : _kinds)
        kind.undecodable.reset();
    for (const MediaSource::Stream &stream : _feeds.front()->feed().undecodable())
        at(kindOf(stream.streamId)).undecodable = stream;
}

void InputRun::noteFirstFrames()
{
    for (const Kind &kind : _kinds) {
        if (kind.stream)
            kind.stream->noteFirstFrame(std::chrono::steady_clock::now());
    }
}

TroubleWatch::Figures InputRun::figuresOf(StreamKind kind) const
{
    const Kind &of = _kinds[indexOf(kind)];
    TroubleWatch::Figures figures;
    figures.name = _name.shown + ' ' + nameOf(kind);
    figures.isVideo = kind == StreamKind::Video;
    if (of.undecodable)
        figures.missingCodec = of.undecodable->missingCodec;
    if (!of.stream)
        return figures;
    const DamageCounts::Condition condition = of.stream->condition();
    if (condition.codec.isMissing)
        figures.missingCodec = condition.codec.name.toStdString();
    figures.frames = of.frames + of.stream->frames();
    figures.damaged = of.damaged + DecodedStream::damaged(condition.counts);
    figures.damage = condition.damage.toStdString();
    figures.reads = of.feed->feed().figures(kind).reads;
    figures.decoding = of.feed->runningTime();
    figures.outputs = of.stream->outputs();
    return figures;
}

void InputRun::watch(const TroubleWatch::Moment &moment)
{
    for (const StreamKind kind : streamKinds)
        report(at(kind).troubles.update(figuresOf(kind), moment));
}

void InputRun::watchEnd(const TroubleWatch::Moment &moment, const std::vector<std::string> &errors)
{
    watch(moment);
    for (const StreamKind kind : streamKinds) {
        // One that was closed may not have come to its first frame, and of a live one it is an error.
        if (!_closed && !isLive())
            report(at(kind).troubles.end(figuresOf(kind), moment));
    }
    for (const std::string &error : errors) {
        if (_reportedErrors.count(error) == 0)
            report({{error, true}});
    }
}

void InputRun::report(std::vector<Report> reports)
{
    for (Report &each : reports) {
        if (each.isError)
            _reportedErrors.insert(each.text);
        _reports.push_back(std::move(each));
    }
}

std::vector<Report> InputRun::takeReports()
{
    for (const auto &feed : _feeds) {
        for (std::string &text : feed->feed().takeReports())
            report({{std::move(text), false}});
    }
    return std::exchange(_reports, {});
}

void InputRun::updateRates(RecentRate::Instant now, std::chrono::milliseconds longestPause)
{
    for (const auto &feed : _feeds) {
        for (const auto &stream : feed->streams())
            stream->rate().update(stream->frames(), now, longestPause);
    }
}

void InputRun::tellHandle()
{
    std::optional<std::string> error = _error;
    for (const auto &feed : _feeds) {
        if (!error)
            error = feed->error();
    }
    const std::string prefix = _name.shown + ": ";
    if (error) {
        const bool isNamed = error->compare(0, prefix.size(), prefix) == 0;
        const std::string text = isNamed ? error->substr(prefix.size()) : *error;
        if (!_lastError || _lastError->text != text)
            _lastError = {std::chrono::system_clock::now(), text};
    }
    // Who waits until it is known learns what is wrong with its outputs, too.
    _core->setStatus({_isKnown && !areOutputsOpening(), _present, std::move(error), isFinished()});
}
