#include "terminal/Board.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string_view>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "terminal/BoardPainter.h"
#include "terminal/TerminalGuard.h"
#include "terminal/TerminalType.h"
#include <sys/ioctl.h>

// Its macros have names such as clear and move.
#define NCURSES_NOMACROS
#include <curses.h>
#undef NCURSES_NOMACROS

using Tone = BoardPicture::Tone;

namespace {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct DeleteScreen {
    void operator()(SCREEN *screen) const { delscreen(screen); }
};

enum ColourPair : short { GreenPair = 1, YellowPair, WhiteOnRedPair, RedPair };

/// @return the value; empty where it is not set.
std::string_view environment(const char *name)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment of a program with threads
    const char *const value = std::getenv(name);
    return value ? value : "";
}

File keyboard()
{
    const int file =
        isatty(STDIN_FILENO) == 1 ? dup(STDIN_FILENO) : ::open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC);
    return File(file >= 0 ? fdopen(file, "r") : nullptr);
}

attr_t attributesOf(Tone tone, bool colours)
{
    switch (tone) {
    case Tone::Plain:
        break;
    case Tone::Dim:
        return A_DIM;
    case Tone::Strong:
        return A_BOLD;
    case Tone::Heading:
        return A_BOLD | A_UNDERLINE;
    case Tone::Overlay:
        return A_REVERSE;
    case Tone::Good:
        return colours ? COLOR_PAIR(GreenPair) : A_NORMAL;
    case Tone::Warning:
        return A_BOLD | (colours ? COLOR_PAIR(YellowPair) : A_NORMAL);
    case Tone::Bad:
        return A_BOLD | (colours ? COLOR_PAIR(WhiteOnRedPair) : A_REVERSE);
    case Tone::Alarm:
        return A_BOLD | (colours ? COLOR_PAIR(RedPair) : A_NORMAL);
    }
    return A_NORMAL;
}

BoardKey keyOf(int code)
{
    constexpr std::array<std::pair<int, BoardKey>, 16> keys{{
        {KEY_UP, BoardKey::Up},
        {KEY_DOWN, BoardKey::Down},
        {KEY_PPAGE, BoardKey::PageUp},
        {KEY_NPAGE, BoardKey::PageDown},
        {KEY_HOME, BoardKey::Home},
        {KEY_END, BoardKey::End},
        {'s', BoardKey::NextSort},
        {'S', BoardKey::ReverseSort},
        {'p', BoardKey::PerformanceMode},
        {'t', BoardKey::TimeSavingMode},
        {'g', BoardKey::ToggleGovernor},
        {'?', BoardKey::Help},
        {KEY_F(1), BoardKey::Help},
        {'h', BoardKey::Help},
        {'q', BoardKey::Quit},
        {'Q', BoardKey::Quit},
    }};
    for (const auto &[known, key] : keys) {
        if (known == code)
            return key;
    }
    return BoardKey::Other;
}

} // namespace

/// The terminal under the screen library, which knows one at a time.
class Board::Screen final {
public:
    Screen(File output, File input, const std::string &leaveText)
        : _output(std::move(output))
        , _input(std::move(input))
        , _guard(fileno(_output.get()), leaveText)
        , _screen(newterm(nullptr, _output.get(), _input.get()))
    {
        if (!_screen)
            return;
        cbreak();
        noecho();
        nonl();
        keypad(stdscr, TRUE);
        nodelay(stdscr, TRUE);
        set_escdelay(50);
        curs_set(0);
        leaveok(stdscr, TRUE);
        keepRunningOnControlS();
        _colours = environment("NO_COLOR").empty() && has_colors();
        if (_colours) {
            start_color();
            use_default_colors();
            init_pair(GreenPair, COLOR_GREEN, -1);
            init_pair(YellowPair, COLOR_YELLOW, -1);
            init_pair(WhiteOnRedPair, COLOR_WHITE, COLOR_RED);
            init_pair(RedPair, COLOR_RED, -1);
        }
    }
    ~Screen()
    {
        if (_screen)
            endwin();
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    bool isOpen() const { return _screen != nullptr; }

    /// @return whether the terminal's size is another one than that of the last call.
    bool fitSize()
    {
        const std::optional<winsize> now = size();
        if (!now || !is_term_resized(now->ws_row, now->ws_col))
            return false;
        return resizeterm(now->ws_row, now->ws_col) == OK;
    }

    /// @return whether the last picture has another size than the terminal. The screen library may know by then.
    bool isOutgrown() const
    {
        const std::optional<winsize> now = size();
        return now && (now->ws_col != _shownWidth || now->ws_row != _shownHeight);
    }

    void show(const BoardPicture &picture)
    {
        _shownWidth = picture.width();
        _shownHeight = picture.height();
        for (int row = 0; row < picture.height(); ++row) {
            const std::vector<BoardPicture::Cell> &cells = picture.line(row);
            for (std::size_t begin = 0, end = 0; begin < cells.size(); begin = end) {
                std::string text;
                for (end = begin; end < cells.size() && cells[end].looksAs(cells[begin]); ++end)
                    text += cells[end].text;
                attr_t look = attributesOf(cells[begin].tone, _colours);
                look ^= cells[begin].isHighlighted ? A_REVERSE : A_NORMAL;
                wattrset(stdscr, static_cast<int>(look));
                mvwaddstr(stdscr, row, static_cast<int>(begin), text.c_str());
            }
        }
        wrefresh(stdscr);
    }

    /// @return the next key that was pressed; nothing when no key was pressed.
    std::optional<int> key() const
    {
        const int code = wgetch(stdscr);
        return code != ERR ? std::optional(code) : std::nullopt;
    }

    bool isLost() const { return (inputEvents() & (POLLHUP | POLLERR | POLLNVAL)) != 0; }

    /// @return of `poll`: what has happened to the keyboard.
    int inputEvents() const
    {
        pollfd file = {fileno(_input.get()), POLLIN, 0};
        return ::poll(&file, 1, 0) > 0 ? file.revents : 0;
    }

private:
    /// @return the terminal's present size; nothing when it does not tell.
    std::optional<winsize> size() const
    {
        winsize size = {};
        if (ioctl(fileno(_output.get()), TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0)
            return std::nullopt;
        return size;
    }

    /// A terminal that holds its output back would hold up the program.
    void keepRunningOnControlS() const
    {
        termios modes = {};
        if (tcgetattr(fileno(_output.get()), &modes) != 0)
            return;
        modes.c_iflag &= ~static_cast<tcflag_t>(IXON);
        tcsetattr(fileno(_output.get()), TCSADRAIN, &modes);
        def_prog_mode();
    }

    const File _output;
    const File _input;
    const TerminalGuard _guard; // from before the screen is taken until it is given back
    const std::unique_ptr<SCREEN, DeleteScreen> _screen;
    bool _colours = false;
    int _shownWidth = 0;
    int _shownHeight = 0;
};

std::variant<std::unique_ptr<Board>, std::string> Board::open()
{
    if (isatty(STDOUT_FILENO) != 1)
        return "the standard output is no terminal";
    const std::string name(environment("TERM"));
    const auto type = TerminalType::of(name, STDOUT_FILENO);
    if (const std::string *const problem = std::get_if<std::string>(&type))
        return *problem;

    File input = keyboard();
    const int file = dup(STDOUT_FILENO);
    File output(file >= 0 ? fdopen(file, "w") : nullptr);
    if (!input || !output)
        return "there is no terminal that keys could come from";
    auto screen = std::make_unique<Screen>(std::move(output), std::move(input), std::get<TerminalType>(type).leaveText);
    if (!screen->isOpen())
        return "the terminal \"" + name + "\", which TERM names, cannot show a full screen";
    return std::unique_ptr<Board>(new Board(std::move(screen)));
}

Board::Board(std::unique_ptr<Screen> screen)
    : _screen(std::move(screen))
{
}

Board::~Board() = default;

void Board::draw(const decoding::Snapshot &snapshot)
{
    _loads.add(snapshot.measuredLoad);
    _screen->fitSize();
    _screen->show(BoardPainter::paint(snapshot, _loads, _view, getmaxx(stdscr), getmaxy(stdscr)));
}

BoardAction Board::poll()
{
    bool isChanged = _screen->fitSize();
    while (const std::optional<int> code = _screen->key()) {
        if (*code == KEY_RESIZE) {
            isChanged = true;
            continue;
        }
        const BoardAction action = _view.handleKey(keyOf(*code));
        if (action == BoardAction::Redraw)
            isChanged = true;
        else if (action != BoardAction::None)
            return action;
    }
    if (_screen->isLost())
        return BoardAction::TerminalLost;
    return isChanged ? BoardAction::Redraw : BoardAction::None;
}

bool Board::hasNews() const
{
    return _screen->inputEvents() != 0 || _screen->isOutgrown();
}
