#include "cli/RunDisplay.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "sources/LiveSource.h"
#include "terminal/DisplayText.h"

namespace {

constexpr std::chrono::milliseconds redrawInterval(250);
constexpr std::size_t maxHidden = 1000;

void write(const std::string &message)
{
    std::fprintf(stderr, "decoding-host: %s\n", DisplayText::printable(message).toUtf8().constData());
}

bool isLive(const std::string &input)
{
    return LiveSource::isLive(QString::fromStdString(InputSpec::parse(input).url));
}

} // namespace

RunDisplay::RunDisplay(const DecodeOptions &options)
    : _showsProgress(!options.quiet && !showsBoard(options) && isatty(STDERR_FILENO) == 1)
    , _progress(STDERR_FILENO, !_showsProgress)
{
    if (!showsBoard(options))
        return;
    if (isatty(STDOUT_FILENO) == 1) {
        auto opened = Board::open();
        if (const std::string *const error = std::get_if<std::string>(&opened))
            write(*error);
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

bool RunDisplay::showsBoard(const DecodeOptions &options)
{
    if (options.quiet || options.board == DecodeOptions::Board::Never)
        return false;
    return options.board == DecodeOptions::Board::Always || options.controlSocket ||
           std::any_of(options.inputs.begin(), options.inputs.end(), isLive);
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

BoardAction RunDisplay::update(const InputSet &inputs, RunObserver &observer, Instant now)
{
    if (_board)
        return updateBoard(observer, now);
    if (_updatedAt && now - *_updatedAt < redrawInterval)
        return BoardAction::None;
    _updatedAt = now;
    if (_lines)
        updateLines(observer, now);
    else if (_showsProgress)
        updateProgress(inputs, now);
    return BoardAction::None;
}

void RunDisplay::updateProgress(const InputSet &inputs, Instant now)
{
    ProgressDisplay::State state;
    for (const auto &input : inputs.inputs()) {
        if (input->isOpen())
            state.push_back(input->progress());
    }
    _progress.update(state, now);
}

void RunDisplay::updateLines(RunObserver &observer, Instant now)
{
    const std::optional<std::string> lines = _lines->update(observer.boardState(now), now);
    if (!lines)
        return;
    std::fputs(lines->c_str(), stdout);
    std::fflush(stdout);
}

BoardAction RunDisplay::updateBoard(RunObserver &observer, Instant now)
{
    const BoardAction action = _board->poll();
    if (action == BoardAction::TerminalLost) {
        closeBoard();
        return action;
    }
    if (action != BoardAction::None || !_updatedAt || now - *_updatedAt >= redrawInterval) {
        _updatedAt = now;
        _board->draw(observer.boardState(now));
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
