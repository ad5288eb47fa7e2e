#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

#include "MadeUpSnapshot.h"
#include "terminal/Board.h"
#include "terminal/RunDisplay.h"

/// The board with made-up streams, for the tests to look at. The first argument is the number of streams, the second
/// how the program ends when it is told to quit: return, throw, exit or abort; or run, for the board as a run shows it.
namespace {

void switchMode(decoding::Snapshot &snapshot, decoding::Mode mode)
{
    snapshot.mode = mode;
    for (decoding::Snapshot::Input &input : snapshot.inputs) {
        decoding::Snapshot::Stream &stream = input.streams.front();
        if (!stream.tuned)
            continue;
        stream.mode = mode;
        if (stream.lights)
            (*stream.lights)[decoding::Snapshot::ModeLight] =
                mode == decoding::Mode::Performance ? decoding::Light::Good : decoding::Light::Warning;
    }
}

/// As if the board had been there for a while, before there were streams.
void showEarlierLoads(Board &board)
{
    decoding::Snapshot snapshot;
    for (const decoding::Snapshot::Load &load : MadeUpSnapshot::loads()) {
        snapshot.measuredLoad = load;
        board.draw(snapshot);
    }
}

int run(Board &board, decoding::Snapshot &snapshot, const std::string &ending)
{
    showEarlierLoads(board);
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        snapshot.running =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
        board.draw(snapshot);
        switch (board.poll()) {
        case BoardAction::PerformanceMode:
            switchMode(snapshot, decoding::Mode::Performance);
            break;
        case BoardAction::TimeSavingMode:
            switchMode(snapshot, decoding::Mode::TimeSaving);
            break;
        case BoardAction::ToggleGovernor:
            snapshot.governor = snapshot.governor.empty() ? "0.60:0.90 performance" : "";
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

/// At a moment that lasts: nothing is drawn again except after a key or a new size. The governor's key shows a message.
int runDisplay(const decoding::Snapshot &snapshot)
{
    RunDisplay display({true, false});
    const RunDisplay::Instant now = std::chrono::steady_clock::now();
    for (;;) {
        const BoardAction action = display.wantsUpdate(now) ? display.update(snapshot, now) : BoardAction::None;
        if (action == BoardAction::Quit)
            return 0;
        if (action == BoardAction::ToggleGovernor)
            display.tell("told behind the \x1b[2J\u202eboard");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

} // namespace

int main(int argc, char **argv)
{
    std::setlocale(LC_ALL, ""); // NOLINT(concurrency-mt-unsafe): there are no other threads
    decoding::Snapshot snapshot = MadeUpSnapshot::streams(argc > 1 ? std::atoi(argv[1]) : 3);
    MadeUpSnapshot::say(snapshot, "cam-29 video: no decoder for this codec");
    MadeUpSnapshot::say(snapshot, "cam-2 video: connection refused");
    const std::string ending = argc > 2 ? argv[2] : "return";
    try {
        if (ending == "run")
            return runDisplay(snapshot);
        const auto board = Board::open();
        if (const std::string *const error = std::get_if<std::string>(&board)) {
            std::fprintf(stderr, "no board: %s\n", error->c_str());
            return 2;
        }
        return run(*std::get<std::unique_ptr<Board>>(board), snapshot, ending);
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return 1;
    }
}
