#include "MadeUpState.h"

#include <algorithm>
#include <cmath>

using Row = BoardState::Row;

namespace {

void spoil(Row &row, int number)
{
    switch (number) {
    case 2:
        row.state = Row::State::Waiting;
        row.lights.reset();
        row.framesPerSecond.reset();
        row.latencyMs.reset();
        row.trouble = "connection refused, next try in 4 s";
        break;
    case 7:
        (*row.lights)[BoardState::LostLight] = Light::Bad;
        row.lost = 412;
        row.trouble = "the queue is full";
        break;
    case 11:
        row.state = Row::State::Connecting;
        row.lights.reset();
        row.framesPerSecond.reset();
        row.latencyMs.reset();
        row.worstLatencyMs.reset();
        row.frames = 0;
        break;
    case 13:
        (*row.lights)[BoardState::LatencyLight] = Light::Bad;
        row.latencyMs = 1834;
        row.worstLatencyMs = 2410;
        break;
    case 19:
        row.framesPerSecond = 0;
        break;
    case 23:
        row.mode = Row::Mode::Fixed;
        break;
    case 29:
        row.state = Row::State::Failed;
        row.lights.reset();
        row.framesPerSecond.reset();
        row.trouble = "no decoder for this codec";
        break;
    case 31:
        row.state = Row::State::Ended;
        row.lights->fill(Light::Black);
        row.framesPerSecond.reset();
        break;
    default:
        break;
    }
}

} // namespace

Row MadeUpState::row(const std::string &name)
{
    Row row;
    row.name = name;
    row.state = Row::State::Running;
    row.lights = {Light::Good, Light::Good, Light::Good, Light::Good, Light::Black, Light::Black, Light::Good};
    row.frames = 18'250;
    row.framesPerSecond = 25.0;
    row.latencyMs = 12;
    row.worstLatencyMs = 41;
    row.threadName = "Decoder/1";
    return row;
}

BoardState MadeUpState::streams(int count)
{
    BoardState state;
    state.cpuLoad = 0.37;
    for (int i = 0; i < 40; ++i)
        state.loadHistory.add(0.4 + 0.35 * std::sin(i / 4.0), LoadHistory::Instant(std::chrono::seconds(i)));
    state.running = std::chrono::minutes(12);
    state.threads = {{"Decoder/1", (count + 1) / 2}, {"Decoder/2", count / 2}};
    state.decoderCount = count;
    for (int number = 1; number <= count; ++number) {
        Row row = MadeUpState::row("cam-" + std::to_string(number) + " video");
        row.frames += number * 1'001;
        row.latencyMs = 10 + number * 7 % 31;
        row.threadName = "Decoder/" + std::to_string(2 - number % 2);
        (*row.lights)[BoardState::KeyBlockLight] = number % 12 == 0 ? Light::Good : Light::Black;
        spoil(row, number);
        state.rows.push_back(row);
    }
    return state;
}
