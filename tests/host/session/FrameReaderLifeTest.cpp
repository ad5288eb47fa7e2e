#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>
#include <unistd.h>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::AudioFrame;
using decoding::InputOptions;
using decoding::VideoFrame;
using testing::HasSubstr;

namespace {

/// Readers that come and go, and inputs and sessions that end while somebody reads them.
class FrameReaderLifeTest : public SessionFixture {};

} // namespace

TEST_F(FrameReaderLifeTest, GoesOnForTheOthersWhenOneReaderLeaves)
{
    const auto input = _session->open(sample("cup.mp4"));
    auto never = input->addVideoReader();
    ASSERT_TRUE(input->video().next());
    // The one that reads waits for the one that does not.
    ASSERT_TRUE(waitUntil([&] { return !input->video().next(100ms); }));
    const std::int64_t before = input->video().frames();
    never.reset();
    EXPECT_GT(countFrames(input->video()), 217 - before - 10);
    EXPECT_EQ(input->video().frames(), 217);
}

TEST_F(FrameReaderLifeTest, BeginsAFileAnewForAReaderThatComesWhenAllHaveLeft)
{
    const auto input = _session->open(sample("cup.mp4"));
    for (int round = 0; round < 3; ++round) {
        const auto reader = input->addVideoReader();
        const auto frame = reader->next();
        ASSERT_TRUE(frame) << round;
        EXPECT_LT(frame->seconds(), 0.1) << round;
    }
    EXPECT_EQ(countFrames(*input->addVideoReader()), 217);
}

TEST_F(FrameReaderLifeTest, GivesNothingOnceItIsClosedAndWakesWhoWaits)
{
    const auto input = _session->openLater("rtsp://127.0.0.1:1/live");
    std::atomic<bool> woken{false};
    std::thread waiting([&] {
        EXPECT_EQ(input->video().next(), std::nullopt);
        woken = true;
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(woken);
    const auto before = std::chrono::steady_clock::now();
    input->close();
    waiting.join();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    EXPECT_TRUE(input->waitUntilFinished(1s));

    const auto file = _session->open(sample("cup.mp4"));
    ASSERT_TRUE(file->video().next());
    ASSERT_TRUE(waitUntil([&] { return file->video().frames() >= 8; }));
    file->close();
    EXPECT_EQ(file->video().next(), std::nullopt) << "what was queued is dropped";
}

TEST_F(FrameReaderLifeTest, EndsReadersThatComeTooLate)
{
    const auto input = _session->open(sample("cup.mp4"));
    InputOptions options;
    options.outputs = {{decoding::Output::Kind::Y4m, "/proc/nowhere"}};
    const auto failed = _session->open(sample("tree.avi"), options);
    ASSERT_TRUE(waitUntil([&] { return failed->error().has_value(); }));
    EXPECT_EQ(countFrames(failed->video()), 0) << *failed->error();
    _session.reset();
    EXPECT_EQ(countFrames(input->video()), 0);
    EXPECT_EQ(countFrames(*input->addAudioReader()), 0);
}

TEST_F(FrameReaderLifeTest, EndsTheSecondStreamOfAFileThatHasGoneMeanwhile)
{
    const std::string path = "/tmp/decoding-" + std::to_string(getpid()) + "-gone.mp4";
    std::filesystem::copy_file(sample("cup.mp4"), path);
    const auto input = _session->open(path);
    std::filesystem::remove(path);
    EXPECT_EQ(countFrames(input->video()), 217);
    EXPECT_EQ(countFrames(input->audio()), 0);
    EXPECT_THAT(input->error().value_or(""), HasSubstr("no such file"));
    EXPECT_TRUE(input->waitUntilFinished(30s));
}

TEST_F(FrameReaderLifeTest, BeginsAStreamOnlyWhenOneOfItsOwnReadersIsAsked)
{
    const auto input = _session->open(sample("cup.mp4"));
    const auto first = input->addAudioReader();
    ASSERT_TRUE(input->video().next());
    ASSERT_TRUE(waitUntil([&] { return input->video().frames() >= 8; }));
    const auto second = input->addAudioReader();
    EXPECT_EQ(first->frames(), 0);
    const auto ofSecond = second->next();
    const auto ofFirst = first->next();
    ASSERT_TRUE(ofFirst && ofSecond);
    EXPECT_EQ(ofFirst->plane(0).data, ofSecond->plane(0).data) << "both see the first one";
}

TEST_F(FrameReaderLifeTest, FinishesThoughAReaderWasThereForAMomentOnly)
{
    for (int round = 0; round < 20; ++round) {
        const auto input = _session->open(sample("cup.mp4"));
        ASSERT_TRUE(input->video().next()) << round;
        static_cast<void>(input->addAudioReader()->next(0ms)); // begins to open the file once more
        EXPECT_EQ(countFrames(input->video()), 216) << round;
        ASSERT_TRUE(input->waitUntilFinished(30s)) << round;
    }
}

TEST_F(FrameReaderLifeTest, IsReadyAgainWithItsCountersWhenAllReadersHaveLeft)
{
    const auto input = _session->open(sample("cup.mp4"));
    auto reader = input->addVideoReader();
    ASSERT_TRUE(waitUntil([&] { return reader->next(1s) && reader->frames() >= 10; }));
    const std::int64_t before = shown(*input).frames;
    reader.reset();
    ASSERT_TRUE(waitUntil([&] { return _session->snapshot().inputs[0].state == decoding::State::Ready; }));
    EXPECT_FALSE(input->isFinished());
    EXPECT_GE(shown(*input).frames, before);
    const std::int64_t packets = _session->snapshot().inputs[0].packets;
    EXPECT_EQ(countFrames(*input->addVideoReader()), 217);
    ASSERT_TRUE(waitUntil([&] { return _session->snapshot().inputs[0].streams.size() == 1; }));
    EXPECT_GE(shown(*input).frames, before + 217);
    EXPECT_GE(_session->snapshot().inputs[0].packets, packets);
    input->close();
    EXPECT_TRUE(input->waitUntilFinished(std::chrono::milliseconds::max()));
}

TEST_F(FrameReaderLifeTest, GivesFramesThatOutliveEverything)
{
    std::optional<VideoFrame> picture;
    std::optional<AudioFrame> samples;
    std::unique_ptr<decoding::VideoReader> reader;
    {
        const auto input = _session->open(sample("cup.mp4"));
        reader = input->addVideoReader();
        picture = reader->next();
        samples = input->audio().next();
    }
    ASSERT_TRUE(picture && samples);
    _session.reset();
    EXPECT_EQ(reader->next(), std::nullopt);
    int sum = 0;
    for (int row = 0; row < picture->plane(0).height; ++row)
        sum += picture->plane(0).data[row * picture->plane(0).stride];
    EXPECT_GT(sum, 0);
    EXPECT_GT(samples->samples(), 0);
    picture.reset();
    reader.reset();
}
