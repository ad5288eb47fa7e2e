#include <QDir>
#include <QTemporaryDir>

#include <thread>

#include "host/live/Loopback.h"
#include "host/session/InputSetFixture.h"

using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;

namespace {

/// The inputs of a session that looks at none which has nothing new: there is a step when one is asked for, and no
/// rounds.
class InputChanges : public InputSetFixture {
protected:
    InputChanges()
        : InputSetFixture(1h)
    {
        // The first one is a round.
        poll();
    }

    /// While the component decodes.
    bool stepUntil(const std::function<bool()> &condition)
    {
        return waitUntil([&] {
            if (_wakeUps.exchange(0) > 0)
                poll();
            _manager.decode();
            return condition();
        });
    }
    void writeTo(const QTemporaryDir &folder)
    {
        _options.outputs[0].kind = decoding::Output::Kind::FrameMd5;
        _options.outputs[0].directory = folder.path().toStdString();
    }
};

} // namespace

TEST_F(InputChanges, TakeAFileToItsEnd)
{
    const QTemporaryDir folder;
    writeTo(folder);
    addSample("cup.mp4");
    ASSERT_TRUE(stepUntil([this] { return isFinished("cup.mp4"); }));
    EXPECT_EQ(shown("cup.mp4").streams[0].frames, 217);
    EXPECT_EQ(shown("cup.mp4").streams[1].frames, 380);
    remove("cup.mp4");
    EXPECT_TRUE(stepUntil([this] { return names().empty(); }));
}

TEST_F(InputChanges, TakeAFileToItsReaders)
{
    _options.outputs.clear();
    addSample("tree.avi");
    ASSERT_TRUE(stepUntil([this] { return _handles["tree.avi"]->hasVideo(); }));
    decoding::VideoReader &reader = _handles["tree.avi"]->video();
    int frames = 0;
    ASSERT_TRUE(stepUntil([&] {
        while (reader.next(0ms))
            ++frames;
        return isFinished("tree.avi");
    }));
    EXPECT_EQ(frames, 24);
}

TEST_F(InputChanges, TellWhatCannotBeOpened)
{
    add("/nowhere/clip.mp4");
    ASSERT_TRUE(stepUntil([this] { return isFinished("clip.mp4"); }));
    EXPECT_THAT(_messages, Contains("/nowhere/clip.mp4: there is no such file"));
    addUnreachable("door");
    EXPECT_TRUE(stepUntil([this] { return shown("door").state == decoding::State::Waiting; }));
    EXPECT_THAT(_messages, Contains(HasSubstr("door: ")));
}

TEST_F(InputChanges, TakeALiveInputToItsEnd)
{
    _options.duration = 500ms;
    add("lavfi:testsrc2=size=64x48:rate=25", "pattern");
    ASSERT_TRUE(stepUntil([this] { return shown("pattern").state == decoding::State::Running; }));
    EXPECT_TRUE(stepUntil([this] { return isFinished("pattern"); }));
    EXPECT_GT(shown("pattern").streams[0].frames, 0);
}

TEST_F(InputChanges, EndALiveInputThatIsRemoved)
{
    const QTemporaryDir folder;
    writeTo(folder);
    add("lavfi:testsrc2=size=64x48:rate=25", "pattern");
    ASSERT_TRUE(stepUntil([this] { return isOpen("pattern") && shown("pattern").streams[0].delivering > 0ms; }));
    remove("pattern");
    EXPECT_TRUE(stepUntil([this] { return names().empty(); }));
}

TEST_F(InputChanges, TellOfAnOutputThatFails)
{
    const QTemporaryDir folder;
    writeTo(folder);
    ASSERT_TRUE(QDir(folder.path()).mkpath("cup.video.framemd5"));
    addSample("cup.mp4");
    ASSERT_TRUE(stepUntil([this] { return isFinished("cup.mp4"); }));
    EXPECT_THAT(_handles["cup.mp4"]->error().value_or(""), HasSubstr("cup.video.framemd5"));
}

TEST_F(InputChanges, AreNoneWhileAnInputWaits)
{
    const std::string url = "tcp://127.0.0.1:" + std::to_string(Loopback::freePort(SOCK_STREAM)) + "?listen";
    add(url, "door");
    ASSERT_TRUE(stepUntil([this] { return shown("door").state == decoding::State::Connecting; }));
    // It is looked at for trouble so much later.
    std::this_thread::sleep_for(300ms);
    _wakeUps = 0;
    poll();
    int steps = 0;
    for (int glance = 0; glance < 300; ++glance) {
        std::this_thread::sleep_for(1ms);
        if (_wakeUps.exchange(0) > 0) {
            poll();
            ++steps;
        }
    }
    EXPECT_EQ(steps, 0);
    EXPECT_GT(_inputs.idleTime().value_or(0ms), 1min) << "nothing is due";
}
