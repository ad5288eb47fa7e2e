#include "session/SnapshotFiller.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

using decoding::Snapshot;

namespace {

// As the stream decoders name their indications, in the order of Snapshot::LightIndex, which is also that of their
// creation.
const std::array<QString, Snapshot::lightCount> &lightNames()
{
    static const std::array<QString, Snapshot::lightCount> names = {
        QStringLiteral("DecoderMode"),
        QStringLiteral("DecoderLost"),
        QStringLiteral("DecoderCycle"),
        QStringLiteral("DecoderMaxLatency"),
        QStringLiteral("DecoderKeyBlockReceived"),
        QStringLiteral("DecoderNullBlockReceived"),
        QStringLiteral("DecoderDataPushed"),
    };
    return names;
}

decoding::Light shownAs(Light light)
{
    switch (light) {
    case Light::Good:
        return decoding::Light::Good;
    case Light::Warning:
        return decoding::Light::Warning;
    case Light::Bad:
        return decoding::Light::Bad;
    case Light::Black:
        break;
    }
    return decoding::Light::Black;
}

std::optional<Snapshot::Latency> latencyOf(const InputFeed::Figures &figures)
{
    if (figures.reads == 0)
        return std::nullopt;
    return Snapshot::Latency{static_cast<double>(figures.latencySumMs) / static_cast<double>(figures.reads),
                             figures.lastLatencyMs, figures.maxLatencyMs};
}

/// Adds what @p part has read to @p sum.
void addFigures(const InputFeed::Figures &part, InputFeed::Figures &sum)
{
    sum.reads += part.reads;
    sum.latencySumMs += part.latencySumMs;
    sum.lastLatencyMs = std::max(sum.lastLatencyMs, part.lastLatencyMs);
    sum.maxLatencyMs = std::max(sum.maxLatencyMs, part.maxLatencyMs);
}

} // namespace

SnapshotFiller::SnapshotFiller(const IndicationManager *indications, decoding::Mode mode)
    : _indications(indications)
    , _mode(mode)
    , _lightNames(lightNames())
{
    if (!indications)
        return;
    for (const QString &thread : ThreadNames::all())
        _threads.push_back(thread.toStdString());
}

void SnapshotFiller::add(const InputRun &input, Snapshot &snapshot) const
{
    fill(input, snapshot.inputs.emplace_back());
    for (const Snapshot::Stream &stream : snapshot.inputs.back().streams) {
        if (stream.thread.empty())
            continue;
        const auto known = std::find_if(snapshot.threads.begin(), snapshot.threads.end(),
                                        [&stream](const auto &thread) { return thread.name == stream.thread; });
        if (known == snapshot.threads.end())
            snapshot.threads.push_back({stream.thread, 1});
        else
            ++known->decoders;
    }
}

Snapshot::Input SnapshotFiller::snapshotOf(const InputRun &input) const
{
    Snapshot::Input shown;
    fill(input, shown);
    return shown;
}

void SnapshotFiller::fill(const InputRun &input, Snapshot::Input &shown) const
{
    shown.name = input.name().shown;
    const std::vector<InputFeed::Status> statuses = input.statuses();
    InputRun::Condition condition = input.condition(statuses);
    shown.state = condition.state;
    shown.live = input.isLive();
    shown.error = std::move(condition.error);
    shown.lastError = input.lastError();
    shown.decoded = !input.isRunning();
    shown.finished = input.isFinished();
    const InputFeeds::Dropped &dropped = input.dropped();
    shown.packets = dropped.packets;
    shown.bytes = dropped.bytes;
    shown.peakQueuedBlocks = dropped.peakQueuedBlocks;
    shown.peakQueuedBytes = dropped.peakQueuedBytes;
    shown.decoding = dropped.decoding;
    InputFeed::Figures figures;
    const std::vector<InputRun::ShownStream> streams = input.streams();
    shown.streams.reserve(streams.size());
    for (std::size_t index = 0; index < statuses.size(); ++index) {
        const std::unique_ptr<FeedRun> &run = input.feeds()[index];
        const InputFeed::Status &status = statuses[index];
        if (status.progress)
            shown.progress = std::max(shown.progress.value_or(0), *status.progress);
        shown.decoding = std::max(shown.decoding, run->runningTime());
        shown.packets += status.packets;
        shown.bytes += status.bytes;
        shown.connections += status.connections;
        shown.peakQueuedBlocks = std::max<std::int64_t>(shown.peakQueuedBlocks, status.peakQueuedBlocks);
        shown.peakQueuedBytes = std::max<std::int64_t>(shown.peakQueuedBytes, status.peakQueuedBytes);
        addFigures(run->feed().figures(), figures);
    }
    shown.latency = latencyOf(figures);
    for (const InputRun::ShownStream &stream : streams)
        fill(input, stream, shown.streams.emplace_back());
    if (shown.state == decoding::State::Ended && !shown.errors().empty())
        shown.state = decoding::State::Failed;
}

void SnapshotFiller::fill(const InputRun &input, const InputRun::ShownStream &of, Snapshot::Stream &shown) const
{
    const InputFeed::Figures figures = of.run.feed().figures(kindOf(of.description.streamId));
    shown.name = of.stream ? of.stream->shownName() : of.description.origin.toStdString();
    shown.index = of.description.index;
    shown.kind = of.description.kind;
    shown.codec = of.description.missingCodec.empty() ? of.description.codec : of.description.missingCodec;
    shown.width = of.description.width;
    shown.height = of.description.height;
    shown.missingCodec = of.description.missingCodec;
    shown.lastError = of.troubles.last();
    shown.frames = of.framesBefore;
    shown.damaged = of.damagedBefore;
    shown.lost = figures.lost;
    shown.late = figures.late;
    shown.latency = latencyOf(figures);
    shown.tuned = !input.core().options().excludeFromTuning;
    if (shown.tuned)
        shown.mode = _mode;
    if (!of.stream)
        return;
    showCodec(of.stream->condition(), shown);
    shown.outputs = of.stream->outputs();
    shown.frames += of.stream->frames(shown.outputs);
    shown.lacksFrames = of.troubles.lacksFrames() && shown.frames == 0;
    if (const auto at = of.troubles.damagedAt())
        shown.sinceDamage = std::chrono::duration_cast<std::chrono::milliseconds>(_now - *at);
    shown.framesPerSecond = of.stream->rate().perSecond();
    if (const auto at = of.stream->firstFrameAt())
        shown.delivering = of.run.timeSince(*at);
    if (_indications)
        showLights(*of.stream, shown);
}

void SnapshotFiller::showCodec(const DamageCounts::Condition &condition, Snapshot::Stream &shown)
{
    shown.damaged += DecodedStream::damaged(condition.counts);
    if (condition.codec.name.isEmpty())
        return;
    shown.codec = condition.codec.name.toStdString();
    shown.width = condition.codec.width;
    shown.height = condition.codec.height;
    if (condition.codec.isMissing)
        shown.missingCodec = shown.codec;
}

/// @return which light the indication called @p name is; likely the one at @p guess.
std::optional<std::size_t> SnapshotFiller::lightIndex(const QString &name, std::size_t guess) const
{
    if (guess < _lightNames.size() && _lightNames[guess].isSharedWith(name))
        return guess;
    if (guess < _lightNames.size() && _lightNames[guess] == name) {
        // All decoders' indications share it: those of the next need no comparison.
        _lightNames[guess] = name;
        return guess;
    }
    const auto found = std::find(_lightNames.begin(), _lightNames.end(), name);
    if (found == _lightNames.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - _lightNames.begin());
}

void SnapshotFiller::showLights(const DecodedStream &stream, Snapshot::Stream &shown) const
{
    Snapshot::Lights lights = {}; // black
    std::size_t position = 0;
    ThreadNames::Id thread = ThreadNames::nameless;
    // Of decoders with the same name, the last is the present one.
    const auto take = [&](const QString &name, const Indication::Reading &reading) {
        const auto index = lightIndex(name, position++);
        if (!index)
            return;
        lights[*index] = shownAs(lightOf(reading.value));
        if (*index == Snapshot::CycleLight)
            thread = reading.setter;
    };
    if (!_indications->readLast(stream.name(), take))
        return;
    shown.lights = lights;
    // One that has got its name meanwhile is shown the next time.
    if (thread < _threads.size())
        shown.thread = _threads[thread];
}
