#include "cli/RunInputs.h"

#include "FakeRunSession.h"
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

class RunInputsTest : public testing::Test {
protected:
    std::string add(const std::string &url, int copies = 1) { return _inputs.add({url, std::nullopt}, copies); }
    std::string addNamed(const char *name, int copies = 1) { return _inputs.add({"rtsp://h/1", name}, copies); }

    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const decoding::Snapshot::Input &input : _inputs.snapshot().inputs)
            names.push_back(input.name);
        return names;
    }

    static decoding::InputOptions options()
    {
        decoding::InputOptions options;
        options.paced = true;
        return options;
    }

    FakeRunSession _session;
    RunMessages _messages;
    RunInputs _inputs{_session, _messages, options()};
};

} // namespace

TEST_F(RunInputsTest, AreOpenedWithTheOptionsOfTheRunAndTheirNames)
{
    EXPECT_EQ(add("cup.mp4"), "cup.mp4");
    EXPECT_EQ(addNamed("door"), "door");
    ASSERT_EQ(_session.opened.size(), 2U);
    EXPECT_EQ(_session.opened[0].name, "");
    EXPECT_TRUE(_session.opened[0].paced);
    EXPECT_EQ(_session.opened[1].name, "door");
    EXPECT_THROW(addNamed("door"), decoding::Error);
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "door"));
}

TEST_F(RunInputsTest, MayHaveOptionsOfTheirOwn)
{
    _inputs.add(InputSpec::parse("cup.mp4#{paced=no&repeat=3}"));
    _inputs.add(InputSpec::parse("tree.avi"));
    ASSERT_EQ(_session.opened.size(), 2U);
    EXPECT_FALSE(_session.opened[0].paced);
    EXPECT_EQ(_session.opened[0].repeat, 3);
    EXPECT_TRUE(_session.opened[1].paced);
    EXPECT_EQ(_session.opened[1].repeat, 1);
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "tree.avi"));
}

TEST_F(RunInputsTest, OpenCopiesOnceTheFirstIsOpenAndKeepThemBesideIt)
{
    add("cup.mp4", 3);
    add("tree.avi", 2);
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "tree.avi"));
    _session.begin("tree.avi");
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "tree.avi", "tree.avi (2)"));
    _session.begin("cup.mp4");
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "cup.mp4 (2)", "cup.mp4 (3)", "tree.avi", "tree.avi (2)"));
    _inputs.poll();
    EXPECT_EQ(names().size(), 5U) << "once only";
}

TEST_F(RunInputsTest, OpenCopiesOfALiveInputThoughItIsNotConnected)
{
    addNamed("door", 2);
    _session.input("door").live = true;
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("door", "door (2)"));
}

TEST_F(RunInputsTest, OpenNoCopiesOfALiveInputThatHasFailed)
{
    addNamed("door", 2);
    _session.input("door").live = true;
    _session.fail("door");
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("door"));
    EXPECT_TRUE(_inputs.isFinished());
}

TEST_F(RunInputsTest, OpenCopiesOfAFileThatIsDecodedBeforeAnybodyLooks)
{
    add("cup.mp4", 2);
    _session.begin("cup.mp4");
    _session.fail("cup.mp4");
    EXPECT_FALSE(_inputs.isFinished());
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "cup.mp4 (2)"));
    EXPECT_FALSE(_inputs.isFinished());
    _session.finish("cup.mp4 (2)");
    EXPECT_TRUE(_inputs.isFinished());
}

TEST_F(RunInputsTest, NumberCopiesOfANamedInputPastNamesThatAreTaken)
{
    addNamed("door", 3);
    add("door (2)");
    _session.begin("door");
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("door", "door (3)", "door (4)", "door (2)"));
}

TEST_F(RunInputsTest, TellWhyACopyIsRefused)
{
    add("cup.mp4", 2);
    _session.begin("cup.mp4");
    _session.refuses = true;
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("cup.mp4"));
    EXPECT_THAT(_messages.take(), ElementsAre(EndsWith(": cup.mp4: refused")));
}

TEST_F(RunInputsTest, OpenNoCopiesOfWhatCannotBeOpened)
{
    add("clip.mp4", 3);
    _session.fail("clip.mp4");
    _inputs.poll();
    EXPECT_THAT(names(), ElementsAre("clip.mp4"));
    EXPECT_TRUE(_inputs.isFinished());
}

TEST_F(RunInputsTest, OpenNoCopiesOfWhatIsRemoved)
{
    add("cup.mp4", 2);
    _session.begin("cup.mp4");
    EXPECT_TRUE(_inputs.remove("cup.mp4"));
    _inputs.poll();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_FALSE(_inputs.isFinished());
    _session.finish("cup.mp4");
    _inputs.poll();
    EXPECT_TRUE(_inputs.isFinished());
}

TEST_F(RunInputsTest, LeaveOnceTheyAreFinishedAndFreeTheirNames)
{
    addNamed("door");
    add("tree.avi");
    _session.begin("door", 5);
    EXPECT_TRUE(_inputs.contains("door"));
    EXPECT_TRUE(_inputs.remove("door"));
    EXPECT_FALSE(_inputs.remove("door"));
    EXPECT_FALSE(_inputs.contains("door"));
    EXPECT_THAT(_session.closed, ElementsAre("door"));
    EXPECT_THAT(names(), ElementsAre("tree.avi"));
    EXPECT_THROW(addNamed("door"), decoding::Error);
    _inputs.poll();
    EXPECT_TRUE(_inputs.isLeaving("door"));
    EXPECT_FALSE(_inputs.isFinished());

    _session.input("door").streams[0].frames = 7;
    _session.finish("door");
    _inputs.poll();
    EXPECT_FALSE(_inputs.isLeaving("door"));
    EXPECT_THAT(_messages.take(), ElementsAre(EndsWith(": door: removed, after 7 frames")));
    EXPECT_EQ(addNamed("door"), "door");
    EXPECT_THAT(names(), ElementsAre("tree.avi", "door"));
}

TEST_F(RunInputsTest, LeaveTheErrorsOfTheirOutputsBehind)
{
    addNamed("door");
    _session.begin("door", 5);
    _session.input("door").streams[0].outputs.resize(2);
    EXPECT_TRUE(_inputs.remove("door"));
    EXPECT_THAT(_inputs.outputErrorsOfRemoved(), IsEmpty());
    decoding::Snapshot::Output &output = _session.input("door").streams[0].outputs[1];
    output.error = "cannot write door.raw: full";
    output.failed = 3;
    _session.input("door").error = "door: cannot be opened"; // which may be why it was removed
    _session.finish("door");
    _inputs.poll();
    EXPECT_THAT(_inputs.outputErrorsOfRemoved(), ElementsAre("cannot write door.raw: full; 3 frames are missing"));
    _inputs.poll();
    EXPECT_EQ(_inputs.outputErrorsOfRemoved().size(), 1U) << "once only";
}

TEST_F(RunInputsTest, ThatWereNotOpenLeaveSilently)
{
    add("clip.mp4");
    _session.fail("clip.mp4");
    EXPECT_TRUE(_inputs.remove("clip.mp4"));
    _inputs.poll();
    EXPECT_FALSE(_inputs.isLeaving("clip.mp4"));
    EXPECT_THAT(_messages.take(), IsEmpty());
}

TEST_F(RunInputsTest, EndAllTogetherAndTakeNoMoreThen)
{
    add("cup.mp4", 2);
    addNamed("door");
    _session.begin("cup.mp4");
    _inputs.close();
    EXPECT_THAT(_session.closed, ElementsAre("cup.mp4", "door"));
    EXPECT_THROW(add("tree.avi"), decoding::Error);
    EXPECT_FALSE(_inputs.isFinished());
    _session.finish("cup.mp4");
    _session.begin("door");
    _session.finish("door");
    _inputs.poll();
    EXPECT_TRUE(_inputs.isFinished()) << "without the copies";
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "door"));
}

TEST_F(RunInputsTest, ShowTheMessagesOfTheRunRatherThanOfTheSessionAlone)
{
    _session.state.messages.resize(3);
    _messages.add("ours");
    const decoding::Snapshot snapshot = _inputs.snapshot();
    ASSERT_EQ(snapshot.messages.size(), 1U);
    EXPECT_EQ(snapshot.messages[0].text, "ours");
}

TEST_F(RunInputsTest, LookAtTheSessionOnlyWhenSomethingWaits)
{
    add("cup.mp4");
    _session.begin("cup.mp4");
    _inputs.poll();
    _inputs.isFinished();
    EXPECT_EQ(_session.snapshots, 0);
}
