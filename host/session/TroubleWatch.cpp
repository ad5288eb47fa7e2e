#include "session/TroubleWatch.h"

#include <utility>

#include "media/ClockTime.h"

using decoding::Snapshot;

namespace {

// Key blocks of a camera may be so far from each other.
constexpr std::chrono::seconds firstFrameLimit(5);

// A single frame may still fit where the next ones do not.
constexpr std::chrono::seconds writtenAgainAfter(1);

std::string counted(std::int64_t count, const char *noun)
{
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace

std::vector<Report> TroubleWatch::update(const Figures &figures, const Moment &moment)
{
    watchCodec(figures, moment);
    // Of a stream without a decoder, nothing else is news.
    if (_missingCodec.empty()) {
        watchDamage(figures, moment);
        watchFrames(figures, moment);
    } else {
        _lacksFrames = false;
    }
    if (_outputs.size() < figures.outputs.size())
        _outputs.resize(figures.outputs.size());
    for (std::size_t place = 0; place < figures.outputs.size(); ++place)
        watchOutput(_outputs[place], figures.outputs[place], figures, moment);
    return std::exchange(_reports, {});
}

std::vector<Report> TroubleWatch::end(const Figures &figures, const Moment &moment)
{
    if (_missingCodec.empty() && figures.frames == 0 && figures.reads > 0 && figures.damaged == 0)
        tell(figures, "has given no frame", moment);
    return std::exchange(_reports, {});
}

void TroubleWatch::watchCodec(const Figures &figures, const Moment &moment)
{
    const bool isNew = std::exchange(_missingCodec, figures.missingCodec) != figures.missingCodec;
    if (_missingCodec.empty() || !(isNew || _codecReminder.isDue(moment.now)))
        return;
    if (isNew)
        _codecReminder.begin(moment.now);
    tell(figures, "no decoder for " + _missingCodec, moment, true);
}

void TroubleWatch::watchDamage(const Figures &figures, const Moment &moment)
{
    const bool isFirst = !_damage.latest();
    const std::optional<CountedTrouble::Spell> spell = _damage.update(figures.damaged, moment.now, moment.clock);
    if (_damage.latest() == moment.now)
        _last = Snapshot::Trouble{moment.clock, figures.damage};
    // The codec decoders tell the first of each kind themselves.
    if (spell && !isFirst)
        _reports.push_back({figures.name + ": " +
                                counted(spell->count, figures.isVideo ? "damaged picture" : "damaged block") +
                                " since " + ClockTime::ofDay(spell->since),
                            false});
}

void TroubleWatch::watchFrames(const Figures &figures, const Moment &moment)
{
    // A stream of a file may begin late, and its blocks wait for it to be due. What is live is due when it comes.
    const bool isDue = figures.isLive || figures.reads > 0;
    const bool lacked =
        std::exchange(_lacksFrames, figures.frames == 0 && isDue && figures.decoding >= firstFrameLimit);
    if (!_lacksFrames || (lacked && !_framesReminder.isDue(moment.now)))
        return;
    if (!lacked)
        _framesReminder.begin(moment.now);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(figures.decoding);
    tell(figures, "no frame in " + std::to_string(seconds.count()) + " s", moment);
}

void TroubleWatch::watchOutput(OutputTrouble &known, const Snapshot::Output &output, const Figures &figures,
                               const Moment &moment)
{
    if (!output.error)
        return;
    const std::optional<CountedTrouble::Spell> spell = known.failures.update(output.failed, moment.now, moment.clock);
    const bool failsNow = output.failing || known.failures.latest() == moment.now;
    if (known.failures.latest() == moment.now || !known.isReported)
        _last = Snapshot::Trouble{moment.clock, *output.error};
    if (!std::exchange(known.isReported, true))
        _reports.push_back({*output.error, true});
    else if (spell)
        _reports.push_back({figures.name + ": " + counted(spell->count, "frame") + " not written since " +
                                ClockTime::ofDay(spell->since) + ": " + *output.error,
                            false});
    if (failsNow) {
        known.isFailing = true;
        known.writtenSince.reset();
        return;
    }
    if (!known.isFailing)
        return;
    if (!known.writtenSince)
        known.writtenSince = moment.now;
    if (moment.now - *known.writtenSince < writtenAgainAfter)
        return;
    known.isFailing = false;
    known.failures.endSpell();
    _reports.push_back({figures.name + ": " + output.kind + " is written again; " + counted(output.failed, "frame") +
                            (output.failed == 1 ? " is missing" : " are missing"),
                        false});
}

/// Has it reported, and keeps it as the latest trouble.
void TroubleWatch::tell(const Figures &figures, const std::string &what, const Moment &moment, bool isError)
{
    _reports.push_back({figures.name + ": " + what, isError});
    _last = Snapshot::Trouble{moment.clock, what};
}
