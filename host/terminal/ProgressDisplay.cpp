#include "terminal/ProgressDisplay.h"

#include <QString>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

#include "terminal/DisplayText.h"
#include <sys/ioctl.h>

using DisplayText::counted;
using DisplayText::grouped;

namespace {

constexpr std::chrono::milliseconds redrawInterval(200);
constexpr int minBarWidth = 10; // with its brackets and the gap after it
constexpr int maxBarWidth = 40;

using Input = ProgressDisplay::Input;

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

/// @return from 0.0 to 1.0; nothing when it cannot be told.
std::optional<double> progressOf(const Input &input)
{
    if (input.phase == Input::Phase::Done)
        return 1.0;
    return input.progress ? std::optional(std::clamp(*input.progress, 0.0, 1.0)) : std::nullopt;
}

QString rate(double framesPerSecond)
{
    return grouped(framesPerSecond, 0) + QStringLiteral(" fps");
}

QString stateOf(const Input &input)
{
    switch (input.phase) {
    case Input::Phase::Done:
        return QStringLiteral("done");
    case Input::Phase::Failed:
        return QStringLiteral("failed");
    case Input::Phase::Running:
        break;
    }
    const std::optional<double> progress = progressOf(input);
    return progress ? QStringLiteral("%1 %").arg(static_cast<int>(*progress * 100)) : QString();
}

/// @return brackets, filled in between as far as the input has come; blank where that cannot be told.
QString bar(const Input &input, int width)
{
    const std::optional<double> progress = progressOf(input);
    if (!progress)
        return QString(width, QLatin1Char(' '));
    const int inside = width - 2;
    const int filled = static_cast<int>(*progress * inside);
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(inside - filled, QLatin1Char('.')) +
           QLatin1Char(']');
}

QString summary(const ProgressDisplay::State &state)
{
    qint64 done = 0;
    qint64 failed = 0;
    qint64 frames = 0;
    double framesPerSecond = 0;
    for (const Input &input : state) {
        done += input.phase == Input::Phase::Done ? 1 : 0;
        failed += input.phase == Input::Phase::Failed ? 1 : 0;
        frames += input.frames;
        framesPerSecond += input.phase == Input::Phase::Running ? input.framesPerSecond : 0;
    }
    return QStringLiteral("%1 of %2 done, %3%4, %5")
        .arg(grouped(done), counted(static_cast<qint64>(state.size()), QStringLiteral("input")),
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

void ProgressDisplay::update(const State &state, std::chrono::steady_clock::time_point now)
{
    if (_file < 0 || (_drawnAt && now - *_drawnAt < redrawInterval))
        return;
    _drawnAt = now;

    // The cursor comes to stand on a line of its own below.
    const Size size = terminalSize(_file);
    const std::string lines = render(state, size.width, size.height - 1);
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

std::string ProgressDisplay::render(const State &state, int width, int height)
{
    if (state.empty() || width < 1 || height < 1)
        return std::string();
    if (state.size() > static_cast<std::size_t>(height))
        return (summary(state).left(width) + QLatin1Char('\n')).toStdString();

    int nameWidth = 0;
    int framesWidth = 0;
    int rateWidth = 0;
    for (const Input &input : state) {
        nameWidth = std::max(nameWidth, DisplayText::printable(input.name).size());
        framesWidth = std::max(framesWidth, counted(input.frames, QStringLiteral("frame")).size());
        rateWidth = std::max(rateWidth, rate(input.framesPerSecond).size());
    }
    nameWidth = std::min(nameWidth, width / 3);

    QString text;
    for (const Input &input : state) {
        const QString name = DisplayText::shortenedAtLeft(DisplayText::printable(input.name), nameWidth);
        const QString figures = QStringLiteral("%1  %2  %3")
                                    .arg(stateOf(input), 6)
                                    .arg(counted(input.frames, QStringLiteral("frame")), framesWidth)
                                    .arg(rate(input.framesPerSecond), rateWidth);
        const int barWidth = std::min(width - nameWidth - figures.size() - 4, maxBarWidth);
        QString line = name.leftJustified(nameWidth) + QStringLiteral("  ");
        if (barWidth >= minBarWidth)
            line += bar(input, barWidth) + QStringLiteral("  ");
        text += (line + figures).left(width) + QLatin1Char('\n');
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
