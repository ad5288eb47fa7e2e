#include <atomic>
#include <stdexcept>
#include <thread>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::AudioFrame;
using decoding::Input;
using decoding::VideoFrame;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Frames that a session delivers to callbacks.
class FrameDeliverySessionTest : public SessionFixture {};

} // namespace

TEST_F(FrameDeliverySessionTest, PushesFramesToACallback)
{
    const auto input = _session->open(sample("cup.mp4"));
    std::atomic<int> pictures{0};
    std::atomic<int> samples{0};
    std::atomic<int> ended{0};
    const std::thread::id mine = std::this_thread::get_id();
    input->video().deliver(
        [&](const VideoFrame &frame) {
            EXPECT_NE(std::this_thread::get_id(), mine);
            EXPECT_EQ(frame.height(), 480);
            ++pictures;
        },
        [&] { ++ended; });
    input->audio().deliver([&](const AudioFrame &) { ++samples; }, [&] { ++ended; });
    EXPECT_THAT(errorOf([&] { input->video().next(); }), testing::Not(""));
    ASSERT_TRUE(waitUntil([&] { return ended == 2; }));
    EXPECT_EQ(pictures, 217);
    EXPECT_EQ(samples, 380);
}

TEST_F(FrameDeliverySessionTest, EndsAnInputWhoseCallbackThrowsAndNothingElse)
{
    const auto faulty = _session->open(sample("cup.mp4"));
    const auto healthy = _session->open(sample("tree.avi"));
    std::atomic<bool> ended{false};
    faulty->video().deliver([](const VideoFrame &) { throw std::runtime_error("the disk is full"); },
                            [&] { ended = true; });
    ASSERT_TRUE(waitUntil([&] { return ended.load(); }));
    ASSERT_TRUE(faulty->waitUntilFinished(30s));
    EXPECT_THAT(faulty->error().value_or(""), testing::AllOf(StartsWith("cup.mp4: "), HasSubstr("the disk is full")));
    EXPECT_EQ(countFrames(healthy->video()), 24);
    EXPECT_TRUE(waitUntil([&] { return !messages().empty(); }));
    EXPECT_THAT(messages(), testing::Contains(HasSubstr("the disk is full")));
}

TEST_F(FrameDeliverySessionTest, MayBeClosedFromItsCallback)
{
    auto input = _session->open(sample("cup.mp4"));
    std::atomic<bool> ended{false};
    Input *const raw = input.get();
    raw->video().deliver([raw](const VideoFrame &) { raw->close(); }, [&] { ended = true; });
    ASSERT_TRUE(waitUntil([&] { return ended.load(); }));
    ASSERT_TRUE(raw->waitUntilFinished(30s));
    EXPECT_EQ(raw->error(), std::nullopt);
}

TEST_F(FrameDeliverySessionTest, MayLoseInputAndSessionInItsCallback)
{
    auto input = _session->open(sample("cup.mp4"));
    std::atomic<int> count{0};
    std::atomic<bool> ended{false};
    decoding::VideoReader &reader = input->video();
    reader.deliver(
        [&](const VideoFrame &) {
            if (++count == 3) {
                input.reset();
                _session.reset();
            }
        },
        [&] { ended = true; });
    ASSERT_TRUE(waitUntil([&] { return ended.load(); }));
    EXPECT_EQ(count, 3);
    EXPECT_FALSE(_session);
}
