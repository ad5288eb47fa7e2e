#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/session/SessionFixture.h"
#include "session/ProcessThreads.h"

using namespace std::chrono_literals;
using decoding::Input;
using decoding::InputOptions;
using decoding::VideoFrame;

namespace {

class ManyDeliveriesTest : public SessionFixture {
protected:
    using Reader = std::unique_ptr<decoding::VideoReader>;
};

/// @return how many threads of this process call back.
std::size_t deliveryThreads()
{
    std::size_t count = 0;
    for (const int id : ProcessThreads::ids()) {
        std::string name;
        std::ifstream("/proc/self/task/" + std::to_string(id) + "/comm") >> name;
        count += name == "Frames" ? 1 : 0;
    }
    return count;
}

/// What the callback of one reader has seen. Used by one thread at a time, except for the atomic fields.
struct Delivered {
    Delivered() = default;
    Delivered(const Delivered &) = delete;
    Delivered &operator=(const Delivered &) = delete;

    void take(const VideoFrame &frame, std::chrono::milliseconds pause)
    {
        EXPECT_FALSE(isCalled.exchange(true)) << "two calls at a time";
        EXPECT_GT(frame.seconds(), lastSeconds);
        EXPECT_EQ(ends, 0);
        lastSeconds = frame.seconds();
        if (++frames % 8 == 0)
            std::this_thread::sleep_for(pause);
        isCalled = false;
    }

    std::atomic<bool> isCalled{false};
    std::atomic<int> frames{0};
    std::atomic<int> ends{0};
    double lastSeconds = -1;
};

} // namespace

TEST_F(ManyDeliveriesTest, TakeNoThreadsBeyondThoseOfTheProcessors)
{
    std::vector<std::shared_ptr<Input>> inputs;
    for (int count = 0; count < 8; ++count) {
        inputs.push_back(_session->openLater(pattern(25)));
        ASSERT_TRUE(inputs.back()->video().next());
    }
    const std::size_t before = ProcessThreads::ids().size();
    const std::size_t limit = before + std::max(1U, std::thread::hardware_concurrency()) + 2;
    std::vector<Reader> readers;
    std::vector<std::atomic<int>> frames(64);
    std::size_t most = 0;
    for (std::atomic<int> &count : frames) {
        readers.push_back(inputs[readers.size() % inputs.size()]->addVideoReader());
        readers.back()->deliver([&count](const VideoFrame &) { ++count; });
    }
    EXPECT_TRUE(waitUntil([&] {
        most = std::max(most, ProcessThreads::ids().size());
        return std::all_of(frames.begin(), frames.end(), [](const auto &count) { return count >= 25; });
    }));
    EXPECT_GT(most, before);
    EXPECT_LE(most, limit);
    inputs.clear();
    _session.reset(); // which waits for the callbacks
}

TEST_F(ManyDeliveriesTest, WaitForNoneOfTheOthers)
{
    constexpr int waiting = 20;
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    std::vector<std::shared_ptr<Input>> inputs;
    for (int count = 0; count < waiting; ++count) {
        inputs.push_back(_session->openLater(sample("tree.avi")));
        inputs.back()->video().deliver(
            [&begun, gate, isFirst = true](const VideoFrame &) mutable {
                begun += isFirst ? 1 : 0;
                isFirst = false;
                gate.wait();
            },
            [&ended] { ++ended; });
    }
    EXPECT_TRUE(waitUntil([&begun] { return begun == waiting; }));

    const auto quick = _session->open(sample("cup.mp4"));
    std::atomic<int> frames{0};
    std::atomic<bool> hasEnded{false};
    quick->video().deliver([&frames](const VideoFrame &) { ++frames; }, [&hasEnded] { hasEnded = true; });
    EXPECT_TRUE(waitUntil([&hasEnded] { return hasEnded.load(); }));
    EXPECT_EQ(frames, 217);
    EXPECT_EQ(ended, 0);
    EXPECT_GT(deliveryThreads(), waiting);

    open.set_value();
    EXPECT_TRUE(waitUntil([&ended] { return ended == waiting; }));
    EXPECT_TRUE(waitUntil([] { return deliveryThreads() == 0; }));
}

TEST_F(ManyDeliveriesTest, KeepTheOrderOfEachReaderUnderLoad)
{
    std::vector<std::unique_ptr<Delivered>> all;
    std::vector<std::shared_ptr<Input>> inputs;
    for (int count = 0; count < 12; ++count) {
        Delivered &own = *all.emplace_back(std::make_unique<Delivered>());
        inputs.push_back(_session->openLater(sample(count % 3 == 0 ? "cup.mp4" : "tree.avi")));
        const auto pause = std::chrono::milliseconds(count % 4);
        inputs.back()->video().deliver([&own, pause](const VideoFrame &frame) { own.take(frame, pause); },
                                       [&own] { ++own.ends; });
    }
    EXPECT_TRUE(
        waitUntil([&] { return std::all_of(all.begin(), all.end(), [](const auto &own) { return own->ends == 1; }); }));
    for (std::size_t index = 0; index < all.size(); ++index)
        EXPECT_EQ(all[index]->frames, index % 3 == 0 ? 217 : 24);
}
