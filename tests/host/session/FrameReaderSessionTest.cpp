#include <atomic>
#include <filesystem>
#include <poll.h>
#include <set>
#include <thread>
#include <unistd.h>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::AudioFrame;
using decoding::Input;
using decoding::InputOptions;
using decoding::Snapshot;
using decoding::VideoFrame;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class FrameReaderSessionTest : public SessionFixture {
protected:
    static bool isReadable(int descriptor, int timeoutMs)
    {
        pollfd waiting = {descriptor, POLLIN, 0};
        return ::poll(&waiting, 1, timeoutMs) == 1;
    }
    Snapshot::Stream shown(const Input &input, std::size_t stream = 0)
    {
        for (const Snapshot::Input &candidate : _session->snapshot().inputs) {
            if (candidate.name == input.name() && candidate.streams.size() > stream)
                return candidate.streams[stream];
        }
        return {};
    }
};

} // namespace

TEST_F(FrameReaderSessionTest, GivesEveryFrameOfAFileInOrder)
{
    const auto input = _session->open(sample("cup.mp4"));
    EXPECT_TRUE(input->hasVideo());
    EXPECT_TRUE(input->hasAudio());
    double last = -1;
    int count = 0;
    while (const auto frame = input->video().next()) {
        EXPECT_GT(frame->seconds(), last);
        EXPECT_EQ(frame->width(), 640);
        last = frame->seconds();
        ++count;
    }
    EXPECT_EQ(count, 217);
    EXPECT_TRUE(input->video().hasEnded());
    EXPECT_EQ(input->video().frames(), 217);
    EXPECT_EQ(countFrames(input->audio()), 380) << "which begins at its beginning, though the video has ended";
    EXPECT_TRUE(input->waitUntilFinished(30s));
    EXPECT_EQ(input->error(), std::nullopt);
}

TEST_F(FrameReaderSessionTest, LetsNoStreamWaitForOneThatIsNotRead)
{
    const auto input = _session->open(sample("cup.mp4"));
    ASSERT_TRUE(input->video().next());
    EXPECT_EQ(countFrames(input->audio()), 380);
    EXPECT_LT(input->video().frames(), 60) << "the decoder stops when its reader does";
    EXPECT_EQ(countFrames(input->video()), 216);
}

TEST_F(FrameReaderSessionTest, DecodesAStreamOnceForAllItsReaders)
{
    const auto input = _session->open(sample("cup.mp4"));
    decoding::VideoReader &first = input->video();
    const auto second = input->addVideoReader();
    const auto third = input->addVideoReader();
    std::atomic<int> ofSecond{0};
    std::atomic<int> ofThird{0};
    std::thread secondThread([&] { ofSecond = countFrames(*second); });
    std::thread thirdThread([&] { ofThird = countFrames(*third); });
    EXPECT_EQ(countFrames(first), 217);
    secondThread.join();
    thirdThread.join();
    EXPECT_EQ(ofSecond, 217);
    EXPECT_EQ(ofThird, 217);
    EXPECT_EQ(shown(*input).outputs.size(), 3U);
    EXPECT_EQ(shown(*input).frames, 217);
}

TEST_F(FrameReaderSessionTest, GivesReadersTheSameMemory)
{
    const auto input = _session->open(sample("tree.avi"));
    const auto second = input->addVideoReader();
    const auto one = input->video().next();
    const auto other = second->next();
    ASSERT_TRUE(one && other);
    EXPECT_EQ(one->plane(0).data, other->plane(0).data);
}

TEST_F(FrameReaderSessionTest, GoesOnForTheOthersWhenOneReaderLeaves)
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

TEST_F(FrameReaderSessionTest, BeginsAFileAnewForAReaderThatComesWhenAllHaveLeft)
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

TEST_F(FrameReaderSessionTest, DropsTheOldestFramesOfALiveStreamAndCountsThem)
{
    InputOptions options;
    options.queuedFrames = 3;
    const auto input = _session->openLater(pattern(100), options);
    ASSERT_TRUE(input->video().next());
    ASSERT_TRUE(waitUntil([&] { return input->video().dropped() >= 20; }));
    EXPECT_GE(shown(*input).outputs.at(0).dropped, 20);
    EXPECT_EQ(shown(*input).lost, 0) << "the decoder goes on";
    const auto kept = input->video().next();
    ASSERT_TRUE(kept);
    EXPECT_GT(kept->seconds(), 0.15);
}

TEST_F(FrameReaderSessionTest, GetsNoMoreFramesOfAFileThanItHasRoomForWhateverTheBurst)
{
    InputOptions options;
    options.queuedFrames = 3;
    options.burst = 20;
    const auto input = _session->open(sample("cup.mp4"), options);
    std::int64_t taken = 0;
    while (input->video().next()) {
        ++taken;
        // The last ones come all at once, of a codec that has held them back.
        if (taken < 200) {
            ASSERT_LE(input->video().frames() - taken, 3) << taken;
        }
    }
    EXPECT_EQ(taken, 217);
}

TEST_F(FrameReaderSessionTest, WaitsNoLongerThanItMay)
{
    const auto input = _session->openLater("rtsp://127.0.0.1:1/live");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(input->video().next(0ms), std::nullopt);
    EXPECT_EQ(input->video().next(-5ms), std::nullopt);
    EXPECT_EQ(input->video().next(50ms), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s);
    EXPECT_FALSE(input->video().hasEnded()) << "it may still come";
    ASSERT_TRUE(waitUntil([&] { return input->error().has_value(); }));
    EXPECT_THAT(*input->error(), HasSubstr("Connection refused"));
}

TEST_F(FrameReaderSessionTest, ShowsByADescriptorWhetherNextWouldWait)
{
    const auto input = _session->open(sample("tree.avi"));
    const int descriptor = input->video().descriptor();
    int count = 0;
    while (isReadable(descriptor, 30000)) {
        if (!input->video().next(0ms))
            break;
        ++count;
    }
    EXPECT_EQ(count, 24);
    EXPECT_TRUE(input->video().hasEnded());
    EXPECT_TRUE(isReadable(descriptor, 0)) << "nothing will come";

    const auto silent = _session->openLater("rtsp://127.0.0.1:1/live");
    EXPECT_FALSE(isReadable(silent->video().descriptor(), 20));
}

TEST_F(FrameReaderSessionTest, SaysWhichStreamIsNotThere)
{
    const auto input = _session->open(sample("tree.avi"));
    EXPECT_FALSE(input->hasAudio());
    EXPECT_THAT(errorOf([&] { input->audio(); }), StartsWith("tree.avi: there is no audio"));
    InputOptions options;
    options.video = false;
    const auto silent = _session->openLater(sample("cup.mp4"), options);
    EXPECT_THAT(errorOf([&] { silent->video(); }), HasSubstr("InputOptions::video"));
    // Where that was not known yet, the reader ends.
    const auto later = _session->openLater(sample("tree.avi"));
    const std::string error = errorOf([&] { EXPECT_EQ(countFrames(later->audio()), 0); });
    EXPECT_THAT(error, testing::AnyOf("", StartsWith("tree.avi")));
    const auto missing = _session->openLater("/nowhere/clip.mp4");
    EXPECT_EQ(countFrames(missing->video()), 0);
    EXPECT_THAT(missing->error().value_or(""), HasSubstr("no such file"));
}

TEST_F(FrameReaderSessionTest, GivesKeyFramesOnlyWhereNothingElseIsWanted)
{
    InputOptions options;
    options.keyFramesOnly = true;
    const auto input = _session->open(sample("cup.mp4"), options);
    int count = 0;
    while (const auto frame = input->video().next()) {
        EXPECT_TRUE(frame->isKeyFrame());
        ++count;
    }
    EXPECT_GT(count, 0);
    EXPECT_LT(count, 20);
    EXPECT_EQ(countFrames(input->audio()), 380);
}

TEST_F(FrameReaderSessionTest, PacesAFile)
{
    InputOptions options;
    options.paced = true;
    options.duration = 1s;
    const auto input = _session->open(sample("cup.mp4"), options);
    const auto before = std::chrono::steady_clock::now();
    const int count = countFrames(input->video());
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - before;
    EXPECT_GE(count, 26);
    EXPECT_LE(count, 28);
    EXPECT_GT(time.count(), 0.8);
}

TEST_F(FrameReaderSessionTest, APacedFileCatchesUpAfterItsReaderPaused)
{
    InputOptions options;
    options.paced = true;
    options.duration = 6s;
    const auto input = _session->open(sample("cup.mp4"), options);
    const auto before = std::chrono::steady_clock::now();
    ASSERT_TRUE(input->video().next());
    std::this_thread::sleep_for(3s); // over two key frames
    EXPECT_EQ(countFrames(input->video()), 160);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 7s);
}

TEST_F(FrameReaderSessionTest, PushesFramesToACallback)
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

TEST_F(FrameReaderSessionTest, EndsAnInputWhoseCallbackThrowsAndNothingElse)
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

TEST_F(FrameReaderSessionTest, MayBeClosedFromItsCallback)
{
    auto input = _session->open(sample("cup.mp4"));
    std::atomic<bool> ended{false};
    Input *const raw = input.get();
    raw->video().deliver([raw](const VideoFrame &) { raw->close(); }, [&] { ended = true; });
    ASSERT_TRUE(waitUntil([&] { return ended.load(); }));
    ASSERT_TRUE(raw->waitUntilFinished(30s));
    EXPECT_EQ(raw->error(), std::nullopt);
}

TEST_F(FrameReaderSessionTest, MayLoseInputAndSessionInItsCallback)
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

TEST_F(FrameReaderSessionTest, GivesNothingOnceItIsClosedAndWakesWhoWaits)
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

TEST_F(FrameReaderSessionTest, EndsReadersThatComeTooLate)
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

TEST_F(FrameReaderSessionTest, EndsTheSecondStreamOfAFileThatHasGoneMeanwhile)
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

TEST_F(FrameReaderSessionTest, BeginsAStreamOnlyWhenOneOfItsOwnReadersIsAsked)
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

TEST_F(FrameReaderSessionTest, FinishesThoughAReaderWasThereForAMomentOnly)
{
    for (int round = 0; round < 20; ++round) {
        const auto input = _session->open(sample("cup.mp4"));
        ASSERT_TRUE(input->video().next()) << round;
        static_cast<void>(input->addAudioReader()->next(0ms)); // begins to open the file once more
        EXPECT_EQ(countFrames(input->video()), 216) << round;
        ASSERT_TRUE(input->waitUntilFinished(30s)) << round;
    }
}

TEST_F(FrameReaderSessionTest, IsReadyAgainWithItsCountersWhenAllReadersHaveLeft)
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

TEST_F(FrameReaderSessionTest, GivesFramesThatOutliveEverything)
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
