#include "session/InputRun.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "interfaces/CreationFlags.h"
#include "media/SafeText.h"
#include "media/ShownUrl.h"

using decoding::State;

namespace {

// As long as the blocks of a live source, which wait meanwhile, are not late.
constexpr std::chrono::milliseconds openingLimit(200);

// Of pictures of a live source that are to be decoded several at a time.
constexpr std::chrono::seconds burstPatience(1);

} // namespace

InputRun::InputRun(quint64 number, const std::string &url, InputNames::Name name,
                   std::shared_ptr<decoding::Input::Core> core, const Environment &environment)
    : _number(number)
    , _name(std::move(name))
    , _core(std::move(core))
    , _options(_core->options())
    , _environment(environment)
    , _feeds(url, _name.shown, *_core, environment.feeds)
    , _troubles(_name.shown)
{
    // Nobody would read a stream that no output takes.
    const bool isOpen = _options.outputs.empty();
    _takesVideo = _options.video && (isOpen || isWritten(StreamKind::Video));
    _feeds.add(_takesVideo, _options.audio && (isOpen || isWritten(StreamKind::Audio)));
}

InputRun::~InputRun()
{
    close();
}

void InputRun::open()
{
    if (!isQueued())
        return;
    _isOpened = true;
    if (_takesVideo)
        _codecShare = std::make_unique<CodecThreads::Share>(_environment.codecThreads);
    _core->changes()->set();
    _feeds.open(_feeds.front());
}

Admission::Occupation InputRun::occupation(Admission::Instant now)
{
    using Occupation = Admission::Occupation;
    if (_core->isPunctual() || !_isOpened || isFinished() || (_isKnown && !isAnyWanted()))
        return Occupation::None;
    // Nothing more can be had for want of what others are to give back.
    if (isShort())
        return Occupation::Going;
    const bool hasOutputsWithoutRoom = std::any_of(streamKinds.begin(), streamKinds.end(),
                                                   [this](StreamKind kind) { return !_core->gate(kind)->isOpen(); });
    const qint64 reads = _feeds.reads();
    if (!_movedAt || reads != _reads || !(hasOutputsWithoutRoom || _feeds.areAllStarved()))
        _movedAt = now;
    _reads = reads;
    if (now - *_movedAt >= Admission::patience)
        return Occupation::None;
    if (isRemote() && !_isKnown)
        return Occupation::Connecting;
    return hasOutputsWithoutRoom ? Occupation::HeldUp : Occupation::Going;
}

/// Whether somebody asks for anything that is in it.
bool InputRun::isAnyWanted() const
{
    return std::any_of(streamKinds.begin(), streamKinds.end(),
                       [this](StreamKind kind) { return _present[indexOf(kind)] && isWanted(kind); });
}

void InputRun::start(StreamKind kind)
{
    at(kind).start();
    _core->changes()->set();
}

void InputRun::addReader(StreamKind kind, const ReaderBuffer &buffer)
{
    _core->changes()->set();
    if (const auto error = at(kind).addReader(buffer))
        giveUp(*error);
}

void InputRun::removeReader(StreamKind kind, const ReaderBuffer &buffer)
{
    _core->changes()->set();
    StreamRun &of = at(kind);
    of.removeReader(buffer);
    if (!of.hasReaders() && !isWritten(kind) && of.feed() && of.feed()->isOpenForOutputs())
        of.leave();
}

void InputRun::close()
{
    _closed = true;
    _core->changes()->set();
    _core->closeReaders();
    for (StreamRun &stream : _streams)
        stream.close();
    _feeds.cancel();
}

void InputRun::fail(const std::string &what)
{
    if (!_error)
        _error = _name.shown + ": " + ShownUrl::inSentence(SafeText::utf8(what));
    close();
}

void InputRun::poll()
{
    _core->changes()->take(); // before anything is looked at
    for (const auto &feed : _feeds.all()) {
        // What is closed while it is being opened has not failed.
        if (feed->isOpenForOutputs())
            takeStreams(*feed);
    }
    if (!_closed && _isKnown) {
        chooseFeeds();
        std::vector<StreamKind> ready;
        for (const StreamKind kind : streamKinds) {
            if (isWanted(kind) && at(kind).isReady())
                ready.push_back(kind);
        }
        openOutputs(ready);
    }
    if (areOutputsOpening()) {
        decodeOnceOutputsAreOpen(std::chrono::steady_clock::now());
        _core->changes()->set(); // for the limit, and for what comes after
    }
    _feeds.poll();
    followChanges();
    noteUndecodable();
    noteFirstFrames();
    endReadersInVain();
    _feeds.dropLeft();
    giveBackCodecThreads();
    tellHandle();
}

void InputRun::takeStreams(FeedRun &feed)
{
    const std::vector<InputFeed::Stream> streams = feed.feed().takeStreams();
    for (const InputFeed::Stream &stream : streams) {
        _isKnown = true;
        _present[indexOf(stream.kind())] = true;
        at(stream.kind()).describe(feed, stream);
    }
    // A file that was opened again may have another content by now.
    const bool lacksIts = std::any_of(_streams.begin(), _streams.end(),
                                      [&feed](const StreamRun &stream) { return stream.isMissingIn(feed); });
    if (!streams.empty() && lacksIts)
        fail("the file has changed since it was opened");
}

/// Has a live source described anew whose blocks come, but do not fit what is known of their stream.
void InputRun::followChanges()
{
    for (StreamRun &stream : _streams) {
        if (isLive() && stream.isFutile(std::chrono::steady_clock::now()))
            stream.feed()->feed().describeAnew();
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
    return isOfInterest && (isWritten(kind) || at(kind).isWanted());
}

/// Gives each wanted stream the feed that it is to come from. The one that opened the input goes to all that is
/// written, or else to the first stream that is read.
void InputRun::chooseFeeds()
{
    const auto hasFeed = [this](const FeedRun *feed) {
        return std::any_of(_streams.begin(), _streams.end(),
                           [feed](const StreamRun &stream) { return stream.feed() == feed; });
    };
    FeedRun &first = _feeds.front();
    const bool isFirstFree = first.isOpenForOutputs() && !hasFeed(&first);
    bool firstIsTaken = false;
    for (const StreamKind kind : streamKinds) {
        StreamRun &of = at(kind);
        if (of.feed() || !isWanted(kind) || !_present[indexOf(kind)])
            continue;
        if (isLive() && !first.isOpenForOutputs())
            continue;
        if (isLive() || (isFirstFree && (isWritten(kind) || !firstIsTaken))) {
            of.comeFrom(first, false);
            firstIsTaken = true;
        } else {
            FeedRun &own = _feeds.add(kind == StreamKind::Video, kind == StreamKind::Audio);
            _feeds.open(own);
            of.comeFrom(own, true);
        }
    }
}

void InputRun::openOutputs(const std::vector<StreamKind> &kinds)
{
    if (!kinds.empty())
        _openingSince = std::chrono::steady_clock::now();
    for (const StreamKind kind : kinds)
        at(kind).feed()->feed().decode(kind);
    for (const StreamKind kind : kinds) {
        if (const auto error = openOutputs(kind))
            return giveUp(*error);
    }
}

std::optional<std::string> InputRun::openOutputs(StreamKind kind)
{
    DecodedStream::Settings settings;
    // What a live source sends is due when it comes.
    settings.creationFlags = (_options.paced && !isLive() ? CreationFlags::Paced : 0) |
                             (_options.excludeFromTuning ? CreationFlags::ExcludeFromTuning : 0);
    settings.keyBlocksOnly = _options.keyFramesOnly;
    settings.changes = _core->changes();
    if (!_core->isPunctual()) {
        settings.bursts = _environment.feeds.bursts;
        settings.longestBurst = _options.burst;
        if (kind == StreamKind::Video)
            settings.codecThreads = _environment.codecThreads->forFile();
    } else if (isLive() && kind == StreamKind::Video && _options.burst > 1) {
        settings.longestBurst = _options.burst;
        settings.burstPatience = burstPatience;
    }
    SinkFactory::Input input{QString::fromStdString(_name.stem), 0, _environment.inputFiles};
    // A file waits for its outputs. What a live source sends cannot wait.
    if (!isLive())
        input.gate = _core->gate(kind);
    else if (!_options.overwrite)
        input.existing = OutputFile::Existing::Keep;
    input.burst = _options.burst;
    input.changes = _core->changes();
    return at(kind).open({settings, _core->gate(kind), input, _options.outputs}, _environment.streams);
}

bool InputRun::areOutputsOpening() const
{
    return std::any_of(_streams.begin(), _streams.end(), [](const StreamRun &stream) { return stream.isOpening(); });
}

/// Begins to decode the streams whose outputs are open. One that is not within a moment, such as a pipe that nobody
/// reads, holds up the others no longer.
void InputRun::decodeOnceOutputsAreOpen(std::chrono::steady_clock::time_point now)
{
    for (StreamRun &stream : _streams) {
        if (stream.isOpening() && !stream.feed()->isOpenForOutputs())
            stream.dropOpening(); // There is nothing left to decode.
        if (!stream.isOpening())
            continue;
        if (const auto error = stream.outputError())
            return giveUp(*error);
        if (!stream.haveOutputsBegun() && now - _openingSince < openingLimit)
            return;
    }
    std::array<StreamKind, streamKinds.size()> order = streamKinds;
    if (isSoundFirst())
        std::reverse(order.begin(), order.end());
    for (const StreamKind kind : order) {
        if (!at(kind).isOpening())
            continue;
        if (const auto error = at(kind).decode())
            return giveUp(*error);
    }
}

/// Whether the decoder of sound is to be made before that of pictures, where both are made now. A new decoder goes to
/// the thread that has the fewest, the first of these: where the number of threads is even, one half of them would
/// decode all the pictures, and the other one all the sound, which takes far less time. So the halves change each time
/// that every thread has got one more decoder.
bool InputRun::isSoundFirst() const
{
    const auto threads = static_cast<quint64>(_environment.streams.threads);
    const bool areBothMade = std::all_of(_streams.begin(), _streams.end(), std::mem_fn(&StreamRun::isOpening));
    return areBothMade && threads > 0 && threads % 2 == 0 && (*_environment.pairs)++ / (threads / 2) % 2 == 1;
}

/// Ends it, because it cannot be decoded as it should.
void InputRun::giveUp(const std::string &error)
{
    _error = error;
    for (StreamRun &stream : _streams)
        stream.dropOpening();
    close();
}

/// Tells the readers of streams that will not be decoded, or no more, that nothing will come.
void InputRun::endReadersInVain()
{
    const bool isOver = _closed || _error || (_feeds.front().isFinished() && (isLive() || !_isKnown));
    for (const StreamKind kind : streamKinds) {
        const FeedRun *const feed = at(kind).feed();
        const bool isMissing = _isKnown && !_present[indexOf(kind)] && !isLive();
        if (feed ? feed->isFinished() : isOver || isMissing)
            at(kind).endReaders();
    }
}

void InputRun::giveBackCodecThreads()
{
    const bool hasNoVideo = _isKnown && !_present[indexOf(StreamKind::Video)] && !isLive();
    if (hasNoVideo || isFinished())
        _codecShare.reset();
}

std::vector<InputRun::ShownStream> InputRun::streams() const
{
    std::vector<ShownStream> streams;
    streams.reserve(streamKinds.size());
    for (const StreamRun &stream : _streams) {
        if (const auto shown = stream.shown(_feeds.front()))
            streams.push_back(*shown);
    }
    return streams;
}

bool InputRun::isRunning() const
{
    return (!_closed && _feeds.areAllLeft()) || _feeds.isAnyRunning();
}

bool InputRun::isFinished() const
{
    return (_closed || !_feeds.areAllLeft()) && _feeds.areAllFinished();
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
        std::any_of(_streams.begin(), _streams.end(), [](const StreamRun &stream) { return stream.isDecoded(); });
    if (isQueued())
        condition.state = State::Queued;
    else if (hasState[static_cast<std::size_t>(InputFeed::State::Waiting)])
        condition.state = State::Waiting;
    else if (hasState[static_cast<std::size_t>(InputFeed::State::Delivering)])
        condition.state = isDecoding || _closed ? State::Running : State::Ready;
    else if (hasState[static_cast<std::size_t>(InputFeed::State::Opening)])
        condition.state = State::Connecting;
    else if (!_closed && _feeds.areAllLeft())
        condition.state = State::Ready;
    return condition;
}

/// The first feed knows of both kinds.
void InputRun::noteUndecodable()
{
    std::array<std::optional<MediaSource::Stream>, streamKinds.size()> undecodable;
    for (const MediaSource::Stream &stream : _feeds.front().feed().undecodable())
        undecodable[indexOf(kindOf(stream.streamId))] = stream;
    for (const StreamKind kind : streamKinds)
        at(kind).setUndecodable(std::move(undecodable[indexOf(kind)]));
}

void InputRun::noteFirstFrames()
{
    for (StreamRun &stream : _streams)
        stream.noteFirstFrame(std::chrono::steady_clock::now());
}

void InputRun::watch(const TroubleWatch::Moment &moment)
{
    for (StreamRun &stream : _streams)
        _troubles.add(stream.troubles().update(stream.figures(_name.shown), moment));
}

void InputRun::watchEnd(const TroubleWatch::Moment &moment, const std::vector<std::string> &errors)
{
    watch(moment);
    for (StreamRun &stream : _streams) {
        // One that was closed may not have come to its first frame, and of a live one it is an error.
        if (!_closed && !isLive())
            _troubles.add(stream.troubles().end(stream.figures(_name.shown), moment));
    }
    _troubles.addUnreported(errors);
}

std::vector<Report> InputRun::takeReports()
{
    for (const auto &feed : _feeds.all()) {
        for (std::string &text : feed->feed().takeReports())
            _troubles.add({{std::move(text), false}});
    }
    return _troubles.take();
}

void InputRun::updateRates(RecentRate::Instant now, std::chrono::milliseconds longestPause)
{
    for (const auto &feed : _feeds.all()) {
        for (const auto &stream : feed->streams())
            stream->rate().update(stream->frames(), now, longestPause);
    }
}

void InputRun::tellHandle()
{
    std::optional<std::string> error = _error ? _error : _feeds.error();
    if (error)
        _troubles.note(*error);
    // Who waits until it is known learns what is wrong with its outputs, too.
    _core->setStatus({_isKnown && !areOutputsOpening(), _present, std::move(error), isFinished()});
}
