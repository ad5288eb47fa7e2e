#include "cli/RunControl.h"

#include <optional>

#include "FakeRunSession.h"
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::StartsWith;

namespace {

struct Answer {
    std::string name;
    IControl::Error error;
};

class RunControlTest : public testing::Test {
protected:
    void poll()
    {
        _inputs.poll();
        _control.poll(_now);
    }

    void askToAdd(const std::string &url, const std::optional<std::string> &name = std::nullopt)
    {
        _answer.reset();
        _control.add(url, name, [this](const std::string &given, const IControl::Error &error) {
            _answer = {given, error};
        });
    }
    /// A live source, which is not connected yet.
    void askToAddDoor()
    {
        askToAdd("door=rtsp://127.0.0.1:1/live");
        _session.input("door").live = true;
        poll();
    }
    void askToRemove(const std::string &name)
    {
        _answer.reset();
        _control.remove(name, [this](const IControl::Error &error) { _answer = {std::string(), error}; });
    }
    /// Whether it was answered that @p name is an input now.
    bool isAdded(const std::string &name) const
    {
        return _answer && !_answer->error && _answer->name == name && _inputs.contains(name);
    }
    /// An input that is open.
    void addOpen(const std::string &name)
    {
        askToAdd(name);
        _session.begin(name);
        poll();
    }

    FakeRunSession _session;
    RunMessages _messages;
    RunInputs _inputs{_session, _messages, {}};
    RunControl _control{_session, _inputs, [this] { _session.calls.emplace_back("quit"); }};
    RunControl::Instant _now{std::chrono::hours(1)};
    std::optional<Answer> _answer;
};

} // namespace

TEST_F(RunControlTest, AnswersOnceAFileIsOpen)
{
    askToAdd("tree.avi");
    poll();
    EXPECT_FALSE(_answer);
    _session.begin("tree.avi");
    poll();
    EXPECT_TRUE(isAdded("tree.avi"));
}

TEST_F(RunControlTest, AnswersWhyAFileCannotBeOpenedAndForgetsIt)
{
    askToAdd("/nowhere/clip.mp4", "clip");
    _session.fail("clip");
    poll();
    EXPECT_FALSE(_answer) << "its name is not free yet";
    poll();
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(std::string("clip: no such file")));
    EXPECT_FALSE(_inputs.contains("clip"));
    EXPECT_THAT(_session.state.inputs, IsEmpty());
    EXPECT_THAT(_messages.take(), IsEmpty()) << "the session tells it";
}

TEST_F(RunControlTest, AnswersThatAFileIsThereThoughItFailedOnceItWasOpen)
{
    askToAdd("clip.mp4");
    _session.begin("clip.mp4");
    _session.fail("clip.mp4");
    poll();
    EXPECT_TRUE(isAdded("clip.mp4"));
}

TEST_F(RunControlTest, AnswersOnceALiveSourceHasConnected)
{
    askToAddDoor();
    EXPECT_FALSE(_answer);
    _session.begin("door");
    poll();
    EXPECT_TRUE(isAdded("door"));
}

TEST_F(RunControlTest, WaitsNoLongerForALiveSourceThatIsTriedAgain)
{
    askToAddDoor();
    _session.input("door").state = decoding::State::Waiting;
    _session.input("door").error = "door: refused";
    poll();
    EXPECT_TRUE(isAdded("door"));
}

TEST_F(RunControlTest, WaitsForALiveSourceForThreeSecondsAtMost)
{
    askToAddDoor();
    _now += std::chrono::milliseconds(2999);
    poll();
    EXPECT_FALSE(_answer);
    _now += std::chrono::milliseconds(1);
    poll();
    EXPECT_TRUE(isAdded("door"));
}

TEST_F(RunControlTest, WaitsForTheTurnOfAFileForThreeSecondsAtMost)
{
    askToAdd("a.mp4");
    _session.input("a.mp4").state = decoding::State::Queued;
    poll();
    _now += std::chrono::milliseconds(2999);
    poll();
    EXPECT_FALSE(_answer);
    _now += std::chrono::milliseconds(1);
    poll();
    EXPECT_TRUE(isAdded("a.mp4"));
}

TEST_F(RunControlTest, AnswersWhyALiveSourceHasFailedAndForgetsIt)
{
    askToAddDoor();
    _session.fail("door");
    _session.input("door").finished = false; // its outputs are yet to be completed
    _now += std::chrono::seconds(3);
    poll();
    EXPECT_FALSE(_answer);
    _session.finish("door");
    poll();
    poll();
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(std::string("door: no such file")));
    EXPECT_FALSE(_inputs.contains("door"));
}

TEST_F(RunControlTest, TakesOptionsOfOneInputAndRefusesWrongOnes)
{
    askToAdd("cup.mp4#{repeat=3}", "cup");
    ASSERT_EQ(_session.opened.size(), 1U);
    EXPECT_EQ(_session.opened[0].repeat, 3);
    EXPECT_EQ(_session.opened[0].name, "cup");
    askToAdd("tree.avi#{repeat=never}");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(StartsWith("tree.avi: repeat: ")));
    askToAdd("tree.avi#{output=y4m:-}");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(StartsWith("tree.avi: the standard output ")));
    EXPECT_EQ(_session.opened.size(), 1U);
}

TEST_F(RunControlTest, RefusesANameThatIsTakenAtOnce)
{
    addOpen("tree");
    askToAdd("cup.mp4", "tree");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(StartsWith("tree: ")));
}

TEST_F(RunControlTest, RefusesInputsOnceTheRunIsEnding)
{
    _inputs.close();
    askToAdd("cup.mp4");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(std::string("no input is taken any more: this host is ending")));
}

TEST_F(RunControlTest, AnswersOnceARemovedInputHasLeft)
{
    addOpen("cup");
    askToRemove("cup");
    poll();
    EXPECT_FALSE(_answer);
    _session.finish("cup");
    poll();
    ASSERT_TRUE(_answer);
    EXPECT_EQ(_answer->error, std::nullopt);
    EXPECT_THAT(_session.state.inputs, IsEmpty());
}

TEST_F(RunControlTest, AnswersToBothWhenAnInputIsRemovedBeforeItIsOpen)
{
    askToAdd("cup.mp4", "cup");
    bool isRemoved = false;
    _control.remove("cup", [&](const IControl::Error &error) { isRemoved = !error; });
    poll();
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(std::string("cup: removed before it was open")));
    EXPECT_FALSE(isRemoved);
    _session.finish("cup");
    poll();
    EXPECT_TRUE(isRemoved);
}

TEST_F(RunControlTest, KnowsNoInputOfAnotherName)
{
    askToRemove("door");
    ASSERT_TRUE(_answer);
    EXPECT_THAT(_answer->error, Optional(std::string("door: there is no input of this name")));
}

TEST_F(RunControlTest, ShowsTheInputsThatWereNotRemoved)
{
    addOpen("cup");
    addOpen("tree");
    askToRemove("cup");
    const decoding::Snapshot snapshot = _control.snapshot();
    ASSERT_EQ(snapshot.inputs.size(), 1U);
    EXPECT_EQ(snapshot.inputs[0].name, "tree");
}

TEST_F(RunControlTest, HandsTheRestOn)
{
    _control.setMode(decoding::Mode::TimeSaving);
    EXPECT_EQ(_control.setGovernor(true), std::nullopt);
    _control.quit();
    EXPECT_THAT(_session.calls, ElementsAre("time-saving", "on", "quit"));
}

TEST_F(RunControlTest, TurnsTheGovernorRoundWhoeverTurnedItLast)
{
    EXPECT_EQ(_control.toggleGovernor(), std::nullopt);
    EXPECT_EQ(_control.toggleGovernor(), std::nullopt);
    EXPECT_EQ(_control.setGovernor(false), std::nullopt);
    EXPECT_EQ(_control.toggleGovernor(), std::nullopt);
    EXPECT_THAT(_session.calls, ElementsAre("off", "on", "off", "on"));
}

TEST_F(RunControlTest, TellsHowToStartAHostWithAGovernorWhereThereIsNone)
{
    _session.hasGovernor = false;
    const std::string advice = "there is no governor; start decoding-host with --governor LOW:HIGH";
    EXPECT_THAT(_control.setGovernor(true), Optional(advice));
    EXPECT_THAT(_control.toggleGovernor(), Optional(advice));
}
