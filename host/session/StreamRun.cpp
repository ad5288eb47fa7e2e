#include "session/StreamRun.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "session/OutputSpecs.h"

StreamRun::StreamRun(StreamKind kind)
    : _kind(kind)
{
}

std::optional<std::string> StreamRun::addReader(const ReaderBuffer &buffer)
{
    _readers.push_back(buffer);
    if (!_stream || !_feed->isOpenForOutputs())
        return std::nullopt;
    _stream->addReader(buffer);
    return _stream->decodeIntoOutputs();
}

void StreamRun::removeReader(const ReaderBuffer &buffer)
{
    _readers.erase(std::remove(_readers.begin(), _readers.end(), buffer), _readers.end());
    if (_stream && _feed->isOpenForOutputs())
        _stream->removeReader(buffer);
}

void StreamRun::endReaders() const
{
    for (const ReaderBuffer &reader : _readers)
        std::visit([](const auto &buffer) { buffer->end(); }, reader);
}

void StreamRun::comeFrom(FeedRun &feed, bool isFresh)
{
    _feed = &feed;
    if (isFresh)
        _known.reset();
}

void StreamRun::describe(const FeedRun &feed, const InputFeed::Stream &stream)
{
    if (_feed && _feed != &feed)
        return;
    _known = stream;
    if (_stream)
        _stream->setDescription(stream.description);
}

std::optional<std::string> StreamRun::open(Opening opening, const DecodedStream::Environment &environment)
{
    _opening = std::make_unique<DecodedStream>(*_known, _feed->feed().queue(_kind), opening.gate, opening.settings,
                                               environment);
    opening.input.startTimeUs = _known->startTimeUs;
    for (const decoding::Output &output : opening.outputs) {
        if (_kind == StreamKind::Video ? !output.takesVideo() : !output.takesAudio())
            continue;
        if (auto error = _opening->addOutput(OutputSpecs::of(output), opening.input))
            return error;
    }
    return std::nullopt;
}

std::optional<std::string> StreamRun::decode()
{
    for (const ReaderBuffer &reader : _readers)
        _opening->addReader(reader);
    auto error = _opening->decodeIntoOutputs();
    _stream = &_feed->add(std::move(_opening));
    return error;
}

void StreamRun::close()
{
    if (_opening && _feed->isOpenForOutputs())
        _stream = &_feed->add(std::move(_opening));
}

void StreamRun::leave()
{
    _isStarted = false;
    if (_stream) {
        _description = _stream->description();
        _frames += _stream->frames();
        _damaged += DecodedStream::damaged(_stream->condition().counts);
    }
    if (_feed->feed().isLive()) {
        if (_stream)
            _feed->remove(*_stream);
    } else {
        _feed->leave();
        _feed = nullptr;
        _known.reset();
    }
    _stream = nullptr;
}

bool StreamRun::isFutile(std::chrono::steady_clock::time_point now)
{
    return _stream && _feed->isOpenForOutputs() &&
           _decoding.isFutile(_stream->frames(), DecodedStream::damaged(_stream->condition().counts),
                              _feed->feed().figures(_kind).lost, now);
}

void StreamRun::noteFirstFrame(std::chrono::steady_clock::time_point now)
{
    if (_stream)
        _stream->noteFirstFrame(now);
}

std::optional<StreamRun::Shown> StreamRun::shown(const FeedRun &front) const
{
    if (_stream)
        return Shown{_stream->description(), _stream, *_feed, _frames, _damaged, _troubles};
    if (const auto &description = _undecodable ? _undecodable : _description)
        return Shown{*description, nullptr, front, _frames, _damaged, _troubles};
    return std::nullopt;
}

TroubleWatch::Figures StreamRun::figures(const std::string &inputName) const
{
    TroubleWatch::Figures figures;
    figures.name = inputName + ' ' + nameOf(_kind);
    figures.isVideo = _kind == StreamKind::Video;
    figures.isLive = _feed && _feed->feed().isLive();
    if (_undecodable)
        figures.missingCodec = _undecodable->missingCodec;
    if (!_stream)
        return figures;
    const DamageCounts::Condition condition = _stream->condition();
    if (condition.codec.isMissing)
        figures.missingCodec = condition.codec.name.toStdString();
    figures.frames = _frames + _stream->frames();
    figures.damaged = _damaged + DecodedStream::damaged(condition.counts);
    figures.damage = condition.damage.toStdString();
    figures.reads = _feed->feed().figures(_kind).reads;
    if (const auto since = _stream->decodedSince())
        figures.decoding = _feed->timeSince(*since);
    figures.outputs = _stream->outputs();
    return figures;
}
