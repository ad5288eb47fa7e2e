#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <malloc.h>
#include <thread>

#include "host/session/ProcessFigures.h"
#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using decoding::InputOptions;

namespace {

class OpeningForEver : public SessionFixture {
protected:
    /// Opens and closes one more input: in turns files and live ones, of one name and of names that never come again,
    /// that are read or not.
    void open(int round)
    {
        InputOptions options;
        if (round % 2 == 0)
            options.name = "input " + std::to_string(round);
        if (round % 5 == 0)
            options.outputs.emplace_back();
        const bool isLive = round % 4 == 3;
        const auto input = isLive && round % 8 == 3
                               ? _session->openLater("udp://127.0.0.1:20779", options)
                               : _session->open(isLive ? pattern(100) : sample("cup.mp4"), options);
        if (isLive ? round % 8 == 7 : round % 3 != 0) {
            ASSERT_TRUE(input->video().next()) << round;
        }
        if (!isLive && round % 3 == 2) {
            ASSERT_TRUE(input->audio().next()) << round;
        }
    }

    /// @return the least bytes that are allocated within a second once all inputs have gone, since decoders and sources
    ///         are gone a moment before their memory is.
    std::size_t heapBytes()
    {
        EXPECT_TRUE(waitUntil([&] {
            const decoding::Snapshot snapshot = _session->snapshot();
            return snapshot.inputs.empty() && snapshot.decoders == 0;
        }));
        std::size_t least = mallinfo2().uordblks;
        for (int sample = 0; sample < 100; ++sample) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            least = std::min(least, mallinfo2().uordblks);
        }
        return least;
    }
};

} // namespace

// The long run takes some minutes:
//     DECODING_ROUNDS=10000 host_library_tests --gtest_filter='OpeningForEver.*'
TEST_F(OpeningForEver, TakesNoMoreThanTheFirstTimes)
{
    const char *const rounds = std::getenv("DECODING_ROUNDS"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    const int count = rounds ? std::atoi(rounds) : 180;
    // The first rounds start threads, each of which keeps a little for itself.
    const int firstCount = count - count / 3;
    const ProcessFigures before = ProcessFigures::now();
    for (int round = 0; round < firstCount; ++round)
        open(round);
    [[maybe_unused]] const std::size_t heapBefore = heapBytes();
    [[maybe_unused]] const ProcessFigures middle = ProcessFigures::now();
    for (int round = firstCount; round < count; ++round)
        open(round);
    EXPECT_TRUE(waitUntil([&] { return ProcessFigures::now().descriptors <= before.descriptors; }));
    // Of those that open and end inputs, a session starts six at most, as they are needed.
    EXPECT_TRUE(waitUntil([&] { return ProcessFigures::now().threads <= before.threads + 6; }));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what is freed
    // What threads keep for themselves comes and goes; what each round leaves adds up.
    std::size_t heapAfter = 0;
    const std::size_t limit = heapBefore + 64 * 1024 + 256 * static_cast<std::size_t>(count / 3);
    EXPECT_TRUE(waitUntil([&] { return (heapAfter = heapBytes()) < limit; })) << heapAfter << " after " << heapBefore;
    EXPECT_LT(ProcessFigures::now().residentMegabytes, middle.residentMegabytes + 16);
#endif
}
