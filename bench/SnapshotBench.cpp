#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <decoding/Session.h>
#include <sys/resource.h>

// What a snapshot costs whoever takes it, and the decoders: one stream of many, which nobody reads, and one live stream
// whose blocks tell how long they have waited for their decoder.

namespace {

using namespace std::chrono_literals;

/// As many streams with decoders, and their lights.
class ManyStreams final {
public:
    explicit ManyStreams(int count)
        : _session(options())
    {
        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        for (int index = 0; index < count; ++index) {
            decoding::InputOptions input;
            input.audio = false;
            _inputs.push_back(_session.openLater(SAMPLES_DIR "/tree.avi", input));
            // Starts the decoder, which stops when the reader has no room.
            static_cast<void>(_inputs.back()->video().next(0ms));
        }
        while (decoders() < count)
            std::this_thread::sleep_for(100ms);
    }

    decoding::Session &session() { return _session; }
    int decoders() const { return _session.snapshot().decoders; }

private:
    static decoding::SessionOptions options()
    {
        decoding::SessionOptions options;
        options.lights = true;
        options.filesAtOnce = 1000; // as many as there are
        return options;
    }

    decoding::Session _session;
    std::vector<std::shared_ptr<decoding::Input>> _inputs;
};

void takeSnapshots(benchmark::State &state)
{
    ManyStreams streams(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(streams.session().snapshot());
    state.counters["streams"] = static_cast<double>(streams.decoders());
}
BENCHMARK(takeSnapshots)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

/// How long the blocks of a live stream wait for their decoder, among 100 others, while a thread takes snapshots one
/// after the other (1), and while one is as busy with something else (0).
void waitForDecoder(benchmark::State &state)
{
    ManyStreams streams(100);
    for ([[maybe_unused]] auto _ : state) {
        const auto live = streams.session().openLater("lavfi:testsrc2=size=320x240:rate=100");
        const auto end = std::chrono::steady_clock::now() + 5s;
        live->video().deliver([](const decoding::VideoFrame & /*frame*/) {});
        while (std::chrono::steady_clock::now() < end) {
            if (state.range(0) == 0)
                benchmark::DoNotOptimize(end);
            else
                benchmark::DoNotOptimize(streams.session().snapshot());
        }
        const decoding::Snapshot snapshot = streams.session().snapshot();
        const decoding::Snapshot::Input &shown = snapshot.inputs.back();
        if (shown.streams.empty() || !shown.latency) {
            state.SkipWithError("the live stream was not decoded");
            break;
        }
        state.counters["frames"] = static_cast<double>(shown.streams.front().frames);
        state.counters["averageMs"] = shown.latency->averageMs;
        state.counters["maximumMs"] = static_cast<double>(shown.latency->maximumMs);
    }
}
BENCHMARK(waitForDecoder)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace
