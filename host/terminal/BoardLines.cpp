#include "terminal/BoardLines.h"

#include <QChar>
#include <QString>

#include <algorithm>
#include <cmath>

#include "media/SafeText.h"
#include "terminal/BoardFigures.h"
#include "terminal/RowHealth.h"

using Row = BoardState::Row;

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

std::string lightLetters(const std::optional<BoardState::Lights> &lights)
{
    if (!lights)
        return "-";
    std::string letters;
    for (const Light light : *lights)
        letters += light == Light::Good ? 'G' : light == Light::Warning ? 'Y' : light == Light::Bad ? 'R' : '.';
    return letters;
}

const char *stateWord(Row::State state)
{
    switch (state) {
    case Row::State::Connecting:
        return "connecting";
    case Row::State::Running:
        return "running";
    case Row::State::Waiting:
        return "waiting";
    case Row::State::Ended:
        return "ended";
    case Row::State::Failed:
        return "failed";
    }
    return "";
}

const char *modeWord(Row::Mode mode)
{
    switch (mode) {
    case Row::Mode::Performance:
        return "performance";
    case Row::Mode::TimeSaving:
        return "time-saving";
    case Row::Mode::Fixed:
        return "fixed";
    }
    return "";
}

std::string number(std::optional<qint64> value)
{
    return value ? std::to_string(*value) : "-";
}

std::string hostLine(const BoardState &state)
{
    const auto unwell = std::count_if(state.rows.begin(), state.rows.end(),
                                      [](const Row &row) { return RowHealth::of(row).isUnwell(); });
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(state.running).count();
    std::string line = "board running_s=" + std::to_string(seconds) + " load=" +
                       (std::isfinite(state.cpuLoad) ? QString::number(state.cpuLoad, 'f', 2).toStdString() : "-") +
                       " streams=" + std::to_string(state.rows.size()) + " unwell=" + std::to_string(unwell) +
                       " decoders=" + std::to_string(state.decoderCount) +
                       " mode=" + (state.performanceMode ? "performance" : "time-saving");
    if (!state.governor.empty())
        line += " governor=" + quoted(state.governor);
    for (const BoardState::Thread &thread : state.threads)
        line += " thread=" + quoted(thread.name) + ":" + std::to_string(thread.decoders);
    return line;
}

std::string streamLine(const Row &row)
{
    const RowHealth health = RowHealth::of(row);
    std::string line = "stream name=" + quoted(row.name) + " state=" + stateWord(row.state) +
                       " unwell=" + (health.isUnwell() ? "yes" : "no") + " lights=" + lightLetters(row.lights) +
                       " frames=" + std::to_string(row.frames) + " fps=" + BoardFigures::rate(row.framesPerSecond) +
                       " lost=" + std::to_string(row.lost) + " latency_ms=" + number(row.latencyMs) +
                       " worst_ms=" + number(row.worstLatencyMs) + " mode=" + modeWord(row.mode);
    if (!row.threadName.empty())
        line += " thread=" + quoted(row.threadName);
    const std::string trouble = row.trouble.empty() && health.isUnwell() ? health.text() : row.trouble;
    if (!trouble.empty())
        line += " trouble=" + quoted(trouble);
    return line;
}

} // namespace

BoardLines::BoardLines(std::chrono::milliseconds interval)
    : _interval(interval)
{
}

std::optional<std::string> BoardLines::update(const BoardState &state, Instant now)
{
    if (_writtenAt && now - *_writtenAt < _interval)
        return std::nullopt;
    _writtenAt = now;
    return render(state);
}

std::string BoardLines::render(const BoardState &state)
{
    std::string text = hostLine(state) + '\n';
    for (const Row &row : state.rows)
        text += streamLine(row) + '\n';
    return text;
}
