#include "cli/RunControl.h"

#include <optional>

#include "host/session/FakeTuning.h"
#include "host/session/RunFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::StartsWith;

namespace {

struct Answer {
    std::string name;
    IControl::Error error;
};

class RunControlTest : public RunFixture {
protected:
    void poll() override
    {
        RunFixture::poll();
        _control.poll();
    }

    void askToAdd(const std::string &url, const std::optional<std::string> &name = std::nullopt)
    {
        _control.add(url, name, [this](const std::string &given, const IControl::Error &error) {
            _answer = {given, error};
        });
    }
    void askToRemove(const std::string &name)
    {
        _control.remove(name, [this](const IControl::Error &error) { _answer = {std::string(), error}; });
    }
    /// @return what was answered.
    Answer awaitAnswer()
    {
        EXPECT_TRUE(decodeUntil([this] { return _answer.has_value(); }));
        return _answer.value_or(Answer());
    }

    FakeTuning _tuning;
    RunObserver _observer{_inputs, nullptr, _tuning, true, {}};
    std::vector<std::string> _calls;
    RunControl _control{_inputs,
                        _observer,
                        {[this](DecodingMode mode) { _calls.emplace_back(toText(mode)); },
                         [this](bool on) {
                             _calls.emplace_back(on ? "on" : "off");
                             return IControl::Error("there is no governor");
                         },
                         [this] { _calls.emplace_back("quit"); }}};
    std::optional<Answer> _answer;
};

} // namespace

TEST_F(RunControlTest, AnswersOnceAFileIsOpen)
{
    askToAdd(sample("tree.avi"));
    EXPECT_FALSE(_answer);
    const Answer answer = awaitAnswer();
    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_EQ(answer.name, "tree.avi");
    EXPECT_TRUE(isOpen("tree.avi"));
}

TEST_F(RunControlTest, AnswersWhyAFileCannotBeOpenedAndForgetsIt)
{
    askToAdd("/nowhere/clip.mp4", "clip");
    EXPECT_THAT(awaitAnswer().error, Optional(std::string("/nowhere/clip.mp4: there is no such file")));
    EXPECT_THAT(names(), IsEmpty());
    ASSERT_TRUE(pollUntil([this] { return !_inputs.isLeaving("clip"); }));
    EXPECT_THAT(_messages, ElementsAre("/nowhere/clip.mp4: there is no such file"));
}

TEST_F(RunControlTest, DoesNotWaitForALiveSource)
{
    askToAdd("door=rtsp://127.0.0.1:1/live");
    EXPECT_EQ(awaitAnswer().name, "door");
    EXPECT_THAT(names(), ElementsAre("door"));
}

TEST_F(RunControlTest, RefusesANameThatIsTakenAtOnce)
{
    askToAdd(sample("tree.avi"), "tree");
    EXPECT_EQ(awaitAnswer().error, std::nullopt);
    _answer.reset();
    askToAdd(sample("cup.mp4"), "tree");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(StartsWith("tree: ")));
}

TEST_F(RunControlTest, AnswersOnceARemovedInputHasLeft)
{
    askToAdd(sample("cup.mp4"), "cup");
    awaitAnswer();
    _answer.reset();
    askToRemove("cup");
    EXPECT_FALSE(_answer);
    EXPECT_EQ(awaitAnswer().error, std::nullopt);
    EXPECT_FALSE(_inputs.isLeaving("cup"));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(RunControlTest, AnswersToBothWhenAnInputIsRemovedBeforeItIsOpen)
{
    askToAdd(sample("cup.mp4"), "cup");
    bool isRemoved = false;
    _control.remove("cup", [&](const IControl::Error &error) { isRemoved = !error; });
    EXPECT_THAT(awaitAnswer().error, Optional(StartsWith("cup: ")));
    EXPECT_TRUE(pollUntil([&] { return isRemoved; }));
}

TEST_F(RunControlTest, KnowsNoInputOfAnotherName)
{
    askToRemove("door");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(StartsWith("door: ")));
}

TEST_F(RunControlTest, ListsStreamsAndInputsWithoutAny)
{
    askToAdd(sample("cup.mp4"), "cup");
    awaitAnswer();
    ASSERT_TRUE(decodeUntil([this] { return isFinished("cup"); }));
    _answer.reset();
    askToAdd("rtsp://127.0.0.1:1/live", "door");
    awaitAnswer();
    ASSERT_TRUE(pollUntil([this] { return _control.list().back().state == "waiting"; }));
    const std::vector<IControl::Stream> streams = _control.list();
    ASSERT_EQ(streams.size(), 3U);
    EXPECT_EQ(streams[0].input, "cup");
    EXPECT_EQ(streams[0].kind, "video");
    EXPECT_EQ(streams[0].state, "ended");
    EXPECT_EQ(streams[0].frames, 217);
    EXPECT_TRUE(streams[0].worstLatency);
    EXPECT_EQ(streams[1].kind, "audio");
    EXPECT_EQ(streams[2].input, "door");
    EXPECT_EQ(streams[2].kind, "");
    EXPECT_FALSE(streams[2].latency);
}

TEST_F(RunControlTest, TellsTheStatusAndHandsTheRestOn)
{
    askToAdd(sample("cup.mp4"));
    awaitAnswer();
    _observer.setLoad(0.25, {});
    _observer.setMode(DecodingMode::TimeSaving);
    const IControl::Status status = _control.status();
    EXPECT_EQ(status.inputs, 1);
    EXPECT_EQ(status.streams, 2);
    EXPECT_EQ(status.cpuLoad, 0.25);
    EXPECT_EQ(status.mode, DecodingMode::TimeSaving);

    _control.setMode(DecodingMode::TimeSaving);
    EXPECT_THAT(_control.setGovernor(true), Optional(std::string("there is no governor")));
    _control.quit();
    EXPECT_THAT(_calls, ElementsAre("time-saving", "on", "quit"));
}
