#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

#include "MadeUpState.h"
#include "terminal/Board.h"

/// The board with made-up streams, for the tests to look at. The first argument is the number of streams, the second
/// how the program ends when it is told to quit: return, throw, exit or abort.
namespace {

void switchMode(BoardState &state, bool performanceMode)
{
    using Mode = BoardState::Row::Mode;
    state.performanceMode = performanceMode;
    for (BoardState::Row &row : state.rows) {
        if (row.mode == Mode::Fixed)
            continue;
        row.mode = performanceMode ? Mode::Performance : Mode::TimeSaving;
        if (row.lights)
            (*row.lights)[BoardState::ModeLight] = performanceMode ? Light::Good : Light::Warning;
    }
}

int run(Board &board, BoardState &state, const std::string &ending)
{
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        state.running = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
        board.draw(state);
        switch (board.poll()) {
        case BoardAction::PerformanceMode:
            switchMode(state, true);
            break;
        case BoardAction::TimeSavingMode:
            switchMode(state, false);
            break;
        case BoardAction::ToggleGovernor:
            state.governor = state.governor.empty() ? "0.60:0.90 performance" : "";
            break;
        case BoardAction::Quit:
            if (ending == "throw")
                throw std::runtime_error("thrown");
            if (ending == "exit")
                std::exit(3); // NOLINT(concurrency-mt-unsafe): there are no other threads
            if (ending == "abort")
                std::abort();
            return 0;
        case BoardAction::TerminalLost:
            return 4;
        case BoardAction::None:
        case BoardAction::Redraw:
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

} // namespace

int main(int argc, char **argv)
{
    std::setlocale(LC_ALL, ""); // NOLINT(concurrency-mt-unsafe): there are no other threads
    BoardState state = MadeUpState::streams(argc > 1 ? std::atoi(argv[1]) : 3);
    state.messages = {"cam-29 video: no decoder for this codec", "cam-2 video: connection refused"};
    try {
        const auto board = Board::open();
        if (const std::string *const error = std::get_if<std::string>(&board)) {
            std::fprintf(stderr, "no board: %s\n", error->c_str());
            return 2;
        }
        return run(*std::get<std::unique_ptr<Board>>(board), state, argc > 2 ? argv[2] : "return");
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return 1;
    }
}
