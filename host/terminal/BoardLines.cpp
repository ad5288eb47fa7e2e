#include "terminal/BoardLines.h"

#include <QChar>
#include <QString>

#include <algorithm>
#include <cmath>

#include "media/ClockTime.h"
#include "media/SafeText.h"
#include "terminal/BoardFigures.h"
#include "terminal/RowHealth.h"
#include "terminal/StreamRow.h"

using decoding::Light;

namespace {

std::string quoted(const std::string &text)
{
    QString result(QLatin1Char('"'));
    for (const QChar character : SafeText::of(text)) {
        if (character == QLatin1Char('"') || character == QLatin1Char('\\'))
            result += QLatin1Char('\\');
        result += character;
    }
    return (result + QLatin1Char('"')).toStdString();
}

std::string lightLetters(const std::optional<StreamRow::Lights> &lights)
{
    if (!lights)
        return "-";
    std::string letters;
    for (const Light light : *lights)
        letters += light == Light::Good ? 'G' : light == Light::Warning ? 'Y' : light == Light::Bad ? 'R' : '.';
    return letters;
}

std::string number(std::optional<std::int64_t> value)
{
    return value ? std::to_string(*value) : "-";
}

std::string figure(const decoding::Snapshot::Load &load)
{
    return std::isfinite(load.now) ? QString::number(load.now, 'f', 2).toStdString() : "-";
}

std::string hostLine(const decoding::Snapshot &snapshot, const std::vector<StreamRow> &rows)
{
    const auto unwell =
        std::count_if(rows.begin(), rows.end(), [](const StreamRow &row) { return RowHealth::of(row).isUnwell(); });
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(snapshot.running).count();
    std::string line = ClockTime::full(snapshot.at) + " board running_s=" + std::to_string(seconds) +
                       " load=" + figure(snapshot.load) + " measured_load=" + figure(snapshot.measuredLoad) +
                       " streams=" + std::to_string(rows.size()) + " unwell=" + std::to_string(unwell) +
                       " decoders=" + std::to_string(snapshot.decoders) + " mode=" + toText(snapshot.mode);
    if (!snapshot.governor.empty())
        line += " governor=" + quoted(snapshot.governor);
    for (const decoding::Snapshot::Thread &thread : snapshot.threads)
        line += " thread=" + quoted(thread.name) + ":" + std::to_string(thread.decoders);
    return line;
}

std::string streamLine(const decoding::Snapshot &snapshot, const StreamRow &row)
{
    const RowHealth health = RowHealth::of(row);
    std::string line = ClockTime::full(snapshot.at) + " stream name=" + quoted(row.name()) +
                       " state=" + toText(row.state()) + " unwell=" + (health.isUnwell() ? "yes" : "no") +
                       " lights=" + lightLetters(row.lights()) + " frames=" + std::to_string(row.frames()) +
                       " fps=" + BoardFigures::rate(row.framesPerSecond()) + " lost=" + std::to_string(row.lost()) +
                       " latency_ms=" + number(row.latencyMs()) + " worst_ms=" + number(row.worstLatencyMs()) +
                       " mode=" + row.modeText() + " damaged=" + std::to_string(row.damaged()) +
                       " not_written=" + std::to_string(row.notWritten()) +
                       " connections=" + std::to_string(row.connections());
    if (!row.form().empty())
        line += " codec=" + quoted(row.form());
    if (!row.threadName().empty())
        line += " thread=" + quoted(row.threadName());
    std::string trouble = row.trouble();
    if (trouble.empty() && health.isUnwell())
        trouble = health.text();
    if (!row.lastError().empty())
        line += " last_error=" + quoted(row.lastError());
    if (!trouble.empty())
        line += " trouble=" + quoted(trouble);
    return line;
}

} // namespace

BoardLines::BoardLines(std::chrono::milliseconds interval)
    : _interval(interval)
{
}

std::optional<std::string> BoardLines::update(const decoding::Snapshot &snapshot, Instant now)
{
    if (_writtenAt && now - *_writtenAt < _interval)
        return std::nullopt;
    _writtenAt = now;
    return render(snapshot);
}

std::string BoardLines::render(const decoding::Snapshot &snapshot)
{
    const std::vector<StreamRow> rows = StreamRow::of(snapshot);
    std::string text = hostLine(snapshot, rows) + '\n';
    for (const StreamRow &row : rows)
        text += streamLine(snapshot, row) + '\n';
    return text;
}
