#include "terminal/ProgressDisplay.h"

#include <QString>

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <vector>

#include "terminal/DisplayText.h"
#include <sys/ioctl.h>

using DisplayText::counted;
using DisplayText::grouped;

namespace {

constexpr std::chrono::milliseconds lineInterval(200);
constexpr int minBarWidth = 10; // with its brackets and the gap after it
constexpr int maxBarWidth = 40;

enum class Phase { Queued, Running, Done, Failed };

/// What is shown of an input.
struct Line {
    QString name;
    Phase phase = Phase::Running;
    std::optional<double> progress; // from 0.0 to 1.0; nothing when it is unknown
    qint64 frames = 0;
    double framesPerSecond = 0;
};

Phase phaseOf(const decoding::Snapshot::Input &input)
{
    if (input.state == decoding::State::Queued)
        return Phase::Queued;
    if (!input.finished)
        return Phase::Running;
    if (!input.errors().empty())
        return Phase::Failed;
    // One that was ended early goes on showing how far it came.
    return input.progress.value_or(1.0) < 1.0 ? Phase::Running : Phase::Done;
}

Line lineOf(const decoding::Snapshot::Input &input)
{
    Line line;
    line.name = DisplayText::printable(input.name);
    line.phase = phaseOf(input);
    if (line.phase == Phase::Done)
        line.progress = 1.0;
    else if (input.progress)
        line.progress = std::clamp(*input.progress, 0.0, 1.0);
    const auto decoded = std::find_if(input.streams.begin(), input.streams.end(),
                                      [](const auto &stream) { return stream.missingCodec.empty(); });
    line.frames = decoded != input.streams.end() ? decoded->frames : 0;
    const auto timeMs = input.decoding.count();
    line.framesPerSecond = timeMs > 0 ? static_cast<double>(line.frames) * 1000 / static_cast<double>(timeMs) : 0;
    return line;
}

std::vector<Line> linesOf(const decoding::Snapshot &snapshot)
{
    std::vector<Line> lines;
    for (const decoding::Snapshot::Input &input : snapshot.inputs) {
        if (!input.streams.empty() || input.state == decoding::State::Queued)
            lines.push_back(lineOf(input));
    }
    return lines;
}

struct Size {
    int width;
    int height;
};

Size terminalSize(int file)
{
    winsize size = {};
    if (ioctl(file, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {80, 24};
    return {size.ws_col, size.ws_row};
}

QString rate(double framesPerSecond)
{
    return grouped(framesPerSecond, 0) + QStringLiteral(" fps");
}

QString stateOf(const Line &line)
{
    switch (line.phase) {
    case Phase::Queued:
        return QLatin1String(toText(decoding::State::Queued));
    case Phase::Done:
        return QStringLiteral("done");
    case Phase::Failed:
        return QStringLiteral("failed");
    case Phase::Running:
        break;
    }
    return line.progress ? QStringLiteral("%1 %").arg(static_cast<int>(*line.progress * 100)) : QString();
}

/// @return brackets, filled in between as far as the input has come; blank where that is unknown.
QString bar(const Line &line, int width)
{
    if (!line.progress)
        return QString(width, QLatin1Char(' '));
    const int inside = width - 2;
    const int filled = static_cast<int>(*line.progress * inside);
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(inside - filled, QLatin1Char('.')) +
           QLatin1Char(']');
}

QString summary(const std::vector<Line> &lines)
{
    qint64 done = 0;
    qint64 failed = 0;
    qint64 frames = 0;
    double framesPerSecond = 0;
    for (const Line &line : lines) {
        done += line.phase == Phase::Done ? 1 : 0;
        failed += line.phase == Phase::Failed ? 1 : 0;
        frames += line.frames;
        framesPerSecond += line.phase == Phase::Running ? line.framesPerSecond : 0;
    }
    return QStringLiteral("%1 of %2 done, %3%4, %5")
        .arg(grouped(done), counted(static_cast<qint64>(lines.size()), QStringLiteral("input")),
             failed > 0 ? QStringLiteral("%1 failed, ").arg(grouped(failed)) : QString(),
             counted(frames, QStringLiteral("frame")), rate(framesPerSecond));
}

} // namespace

ProgressDisplay::ProgressDisplay(int file, bool quiet)
    : _file(!quiet && isatty(file) == 1 ? file : -1)
{
}

ProgressDisplay::~ProgressDisplay()
{
    clear();
}

void ProgressDisplay::update(const decoding::Snapshot &snapshot, std::chrono::steady_clock::time_point now)
{
    if (_file < 0 || (_drawnAt && now - *_drawnAt < lineInterval))
        return;
    _drawnAt = now;

    // The cursor comes to stand on a line of its own below.
    const Size size = terminalSize(_file);
    const std::string lines = render(snapshot, size.width, size.height - 1);
    clear();
    // Characters may be wider than counted: rather than wrap, a line ends at the terminal's edge.
    write("\x1b[?7l" + lines + "\x1b[?7h");
    _drawnLines = static_cast<int>(std::count(lines.begin(), lines.end(), '\n'));
}

void ProgressDisplay::clear()
{
    if (_drawnLines > 0)
        write("\x1b[" + std::to_string(_drawnLines) + "A\r\x1b[J");
    _drawnLines = 0;
}

std::string ProgressDisplay::render(const decoding::Snapshot &snapshot, int width, int height)
{
    const std::vector<Line> lines = linesOf(snapshot);
    if (lines.empty() || width < 1 || height < 1)
        return std::string();
    if (lines.size() > static_cast<std::size_t>(height))
        return (summary(lines).left(width) + QLatin1Char('\n')).toStdString();

    int nameWidth = 0;
    int framesWidth = 0;
    int rateWidth = 0;
    for (const Line &line : lines) {
        nameWidth = std::max(nameWidth, line.name.size());
        framesWidth = std::max(framesWidth, counted(line.frames, QStringLiteral("frame")).size());
        rateWidth = std::max(rateWidth, rate(line.framesPerSecond).size());
    }
    nameWidth = std::min(nameWidth, width / 3);

    QString text;
    for (const Line &line : lines) {
        const QString name = DisplayText::shortenedAtLeft(line.name, nameWidth);
        const QString figures = QStringLiteral("%1  %2  %3")
                                    .arg(stateOf(line), 6)
                                    .arg(counted(line.frames, QStringLiteral("frame")), framesWidth)
                                    .arg(rate(line.framesPerSecond), rateWidth);
        const int barWidth = std::min(width - nameWidth - figures.size() - 4, maxBarWidth);
        QString shown = name.leftJustified(nameWidth) + QStringLiteral("  ");
        if (barWidth >= minBarWidth)
            shown += bar(line, barWidth) + QStringLiteral("  ");
        text += (shown + figures).left(width) + QLatin1Char('\n');
    }
    return text.toStdString();
}

void ProgressDisplay::write(const std::string &text) const
{
    // What cannot be shown is not worth failing for.
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(_file, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR)
            return;
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}
