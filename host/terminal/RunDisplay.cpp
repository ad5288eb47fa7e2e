#include "terminal/RunDisplay.h"

#include <unistd.h>

#include "media/ClockTime.h"
#include "terminal/DisplayText.h"

namespace {

constexpr std::chrono::milliseconds redrawInterval(250);
constexpr std::size_t maxHidden = 1000;

void write(const std::string &message)
{
    LineOutput output(STDERR_FILENO);
    output.write("decoding-host: " + DisplayText::printable(message).toStdString() + '\n');
    // Not by the C library: the end of the program would wait for its lock while the terminal takes nothing.
    static_cast<void>(output.finish(std::nullopt));
}

} // namespace

RunDisplay::RunDisplay(Options options)
    : _showsProgress(!options.quiet && !options.showsBoard && isatty(STDERR_FILENO) == 1)
    , _progress(STDERR_FILENO, !_showsProgress)
    , _lineOutput(options.isStandardOutputTaken ? STDERR_FILENO : STDOUT_FILENO)
{
    if (options.quiet || !options.showsBoard)
        return;
    if (!options.isStandardOutputTaken && isatty(STDOUT_FILENO) == 1) {
        auto opened = Board::open();
        if (const std::string *const error = std::get_if<std::string>(&opened))
            write(ClockTime::full(std::chrono::system_clock::now()) + ": " + *error);
        else
            _board = std::move(std::get<std::unique_ptr<Board>>(opened));
    }
    if (!_board)
        _lines.emplace();
}

RunDisplay::~RunDisplay()
{
    closeBoard();
}

void RunDisplay::tell(const std::string &message)
{
    if (_board && isatty(STDERR_FILENO) == 1) {
        // The board shows the last ones itself.
        if (_hidden.size() == maxHidden)
            _hidden.erase(_hidden.begin());
        _hidden.push_back(message);
        return;
    }
    _progress.clear();
    write(message);
}

bool RunDisplay::wantsUpdate(Instant now) const
{
    if (_board)
        return isDue(now) || _board->hasNews();
    return (_lines || _showsProgress) && isDue(now);
}

bool RunDisplay::isDue(Instant now) const
{
    return !_updatedAt || now - *_updatedAt >= redrawInterval;
}

BoardAction RunDisplay::update(const decoding::Snapshot &snapshot, Instant now)
{
    if (_board)
        return updateBoard(snapshot, now);
    if (!isDue(now))
        return BoardAction::None;
    _updatedAt = now;
    if (_lines)
        updateLines(snapshot, now);
    else if (_showsProgress)
        _progress.update(snapshot, now);
    return BoardAction::None;
}

void RunDisplay::updateLines(const decoding::Snapshot &snapshot, Instant now)
{
    const std::optional<std::string> lines = _lines->update(snapshot, now);
    if (!lines)
        return;
    _lineOutput.write(*lines);
    // Not by the C library, which would try to write the rest once more when the program exits.
    static_cast<void>(_lineOutput.finish(std::nullopt));
}

BoardAction RunDisplay::updateBoard(const decoding::Snapshot &snapshot, Instant now)
{
    const BoardAction action = _board->poll();
    if (action == BoardAction::TerminalLost) {
        closeBoard();
        return action;
    }
    if (action != BoardAction::None || isDue(now)) {
        _updatedAt = now;
        _board->draw(snapshot);
    }
    return action;
}

void RunDisplay::closeBoard()
{
    if (!_board)
        return;
    _board.reset();
    for (const std::string &message : _hidden)
        write(message);
    _hidden.clear();
}
