#include "MadeUpSnapshot.h"

#include <algorithm>
#include <cmath>

using decoding::Light;
using decoding::Snapshot;
using decoding::State;

namespace {

constexpr int samples = 40;

void spoil(Snapshot::Input &input, int number)
{
    Snapshot::Stream &stream = input.streams.front();
    switch (number) {
    case 2:
        input.state = State::Waiting;
        stream.lights.reset();
        stream.framesPerSecond.reset();
        stream.latency.reset();
        input.error = input.name + ": connection refused, next try in 4 s";
        break;
    case 7:
        (*stream.lights)[Snapshot::LostLight] = Light::Bad;
        stream.lost = 412;
        input.error = input.name + ": the queue is full";
        break;
    case 11:
        input.state = State::Connecting;
        stream.lights.reset();
        stream.framesPerSecond.reset();
        stream.latency.reset();
        stream.frames = 0;
        break;
    case 13:
        (*stream.lights)[Snapshot::LatencyLight] = Light::Bad;
        stream.latency = {300, 1834, 2410};
        break;
    case 19:
        stream.framesPerSecond = 0;
        break;
    case 23:
        stream.tuned = false;
        break;
    case 29:
        input.state = State::Failed;
        stream.lights.reset();
        stream.framesPerSecond.reset();
        input.error = input.name + ": no decoder for this codec";
        break;
    case 31:
        input.state = State::Ended;
        stream.lights->fill(Light::Black);
        stream.framesPerSecond.reset();
        break;
    default:
        break;
    }
}

} // namespace

Snapshot::Input MadeUpSnapshot::input(const std::string &name)
{
    Snapshot::Stream stream;
    stream.name = name;
    stream.kind = "video";
    stream.lights = {Light::Good, Light::Good, Light::Good, Light::Good, Light::Black, Light::Black, Light::Good};
    stream.frames = 18'250;
    stream.framesPerSecond = 25.0;
    stream.latency = {14.5, 12, 41};
    stream.thread = "Decoder/1";
    Snapshot::Input input;
    input.name = name;
    input.state = State::Running;
    input.streams.push_back(stream);
    return input;
}

StreamRow MadeUpSnapshot::row(const Snapshot::Input &input)
{
    return {input, input.streams.at(0)};
}

Snapshot MadeUpSnapshot::streams(int count)
{
    Snapshot snapshot;
    snapshot.load.now = 0.01;
    snapshot.load.samples = samples;
    snapshot.measuredLoad.now = 0.37;
    snapshot.measuredLoad.samples = samples;
    snapshot.running = std::chrono::minutes(12);
    snapshot.threads = {{"Decoder/1", (count + 1) / 2}, {"Decoder/2", count / 2}};
    snapshot.decoders = count;
    for (int number = 1; number <= count; ++number) {
        const std::string name = "cam-" + std::to_string(number);
        Snapshot::Input input = MadeUpSnapshot::input(name);
        Snapshot::Stream &stream = input.streams.front();
        stream.name = name + " video";
        stream.frames += number * 1'001;
        stream.latency->lastMs = 10 + number * 7 % 31;
        stream.thread = "Decoder/" + std::to_string(2 - number % 2);
        (*stream.lights)[Snapshot::KeyBlockLight] = number % 12 == 0 ? Light::Good : Light::Black;
        spoil(input, number);
        snapshot.inputs.push_back(input);
    }
    return snapshot;
}

std::vector<Snapshot::Load> MadeUpSnapshot::loads()
{
    std::vector<Snapshot::Load> loads;
    for (int i = 0; i < samples; ++i) {
        Snapshot::Load load;
        load.now = 0.4 + 0.35 * std::sin(i / 4.0);
        load.samples = i + 1;
        loads.push_back(load);
    }
    return loads;
}

void MadeUpSnapshot::say(Snapshot &snapshot, const std::string &message)
{
    const std::int64_t number = snapshot.messages.empty() ? 1 : snapshot.messages.back().number + 1;
    snapshot.messages.push_back({number, {}, message});
}
