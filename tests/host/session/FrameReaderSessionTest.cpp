#include <poll.h>
#include <thread>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::InputOptions;
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

TEST_F(FrameReaderSessionTest, HasRoomForABurstOfALiveStream)
{
    InputOptions options;
    options.queuedFrames = 1;
    options.burst = 10;
    const auto input = _session->openLater(pattern(20), options);
    for (int taken = 0; taken < 25; ++taken)
        ASSERT_TRUE(input->video().next());
    EXPECT_EQ(input->video().dropped(), 0);
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
