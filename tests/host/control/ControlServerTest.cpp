#include "control/ControlServer.h"

#include <algorithm>
#include <limits>

#include "ControlFixture.h"
#include "media/ClockTime.h"
#include <sys/resource.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ControlServerTest : public ControlFixture {
protected:
    // More than the system keeps for a client that does not read, and the server besides.
    static constexpr int mostLists = 60;
    static constexpr std::size_t listBytes = 10000;

    /// @return so many requests, each with an answer of more than listBytes.
    std::string manyLists(int count)
    {
        decoding::Snapshot::Input input;
        input.name = std::string(listBytes, 'x');
        _control.state.inputs = {input};
        std::string requests;
        for (int i = 0; i < count; ++i)
            requests += "list\n";
        return requests;
    }

    /// Until it can do no more without the client, and some more.
    static void letServerWork()
    {
        for (int i = 0; i < 200; ++i)
            QCoreApplication::processEvents();
    }
};

} // namespace

TEST_F(ControlServerTest, AddsAndRemovesInputs)
{
    RawClient client(path());
    EXPECT_EQ(client.ask("add rtsp://h/1"), " camera\nok\n");
    EXPECT_EQ(client.ask("add \"my clip.mkv\" \"front door\""), " front door\nok\n");
    EXPECT_EQ(client.ask("remove \"front door\""), "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("add rtsp://h/1", "add my clip.mkv as front door", "remove front door"));
}

TEST_F(ControlServerTest, TellsWhyTheHostCannot)
{
    _control.error = "clip.mkv: no such\nfile";
    RawClient client(path());
    EXPECT_EQ(client.ask("add clip.mkv"), "error clip.mkv: no such?file\n");
    EXPECT_EQ(client.ask("remove x"), "error clip.mkv: no such?file\n");
    EXPECT_EQ(client.ask("governor on"), "error clip.mkv: no such?file\n");
}

TEST_F(ControlServerTest, ListsEachStreamOnALineAndEachInputThatHasNone)
{
    decoding::Snapshot::Stream video;
    video.kind = "video";
    video.frames = 12345678901;
    video.framesPerSecond = 24.96;
    video.lost = 7;
    video.latency = decoding::Snapshot::Latency{12.5, 40, 480};
    video.mode = decoding::Mode::TimeSaving;
    video.damaged = 147;
    video.codec = "h264";
    video.width = 1280;
    video.height = 720;
    video.outputs.resize(2);
    video.outputs[0].dropped = 2;
    video.outputs[1].dropped = 3;
    video.outputs[0].failed = 12;
    const std::chrono::system_clock::time_point time{};
    video.lastError = decoding::Snapshot::Trouble{time, "damaged\tpicture"};
    decoding::Snapshot::Stream audio;
    audio.kind = "audio";
    audio.missingCodec = "NOPE";
    decoding::Snapshot::Input front;
    front.name = "front\tdoor\n";
    front.state = decoding::State::Running;
    front.connections = 3;
    front.streams = {video, audio};
    decoding::Snapshot::Input ok;
    ok.name = "ok";
    ok.state = decoding::State::Waiting;
    _control.state.inputs = {front, ok};
    RawClient client(path());
    EXPECT_EQ(
        client.ask("list"),
        " front?door?\tvideo\trunning\t12345678901\t25.0\t7\t40\t480\ttime-saving\t5\t147\t12\th264 1280x720\t3\t" +
            ClockTime::full(time) +
            " damaged?picture\n"
            " front?door?\taudio\tno-decoder\t0\t0.0\t0\t-\t-\tperformance\t0\t0\t0\t-\t3\t-\n"
            " ok\t\twaiting\t0\t0.0\t0\t-\t-\tperformance\t0\t0\t0\t-\t0\t-\n"
            "ok\n");
    _control.state.inputs.clear();
    EXPECT_EQ(client.ask("list"), "ok\n");
}

TEST_F(ControlServerTest, ListsNoTextThatCommandsATerminalOrTurnsTheDirectionOfWriting)
{
    decoding::Snapshot::Input input;
    input.name = "\x1b]0;title\x07 \u202e4pm.gpj\u2066\u200b\u009b2J";
    input.streams.resize(1);
    input.streams[0].kind = "vi\x1b[1mdeo";
    _control.state.inputs = {input};
    _control.error = "no \x1b[31mroute\u202e";
    _control.state.governor = "off\x1b[0m\u202e";
    RawClient client(path());
    EXPECT_EQ(client.ask("list"),
              " ?]0;title? ?4pm.gpj???2J\tvi?[1mdeo\tconnecting\t0\t0.0\t0\t-\t-\tperformance\t0\t0\t0\t-\t0\t-\nok\n");
    EXPECT_EQ(client.ask("remove x"), "error no ?[31mroute?\n");
    EXPECT_THAT(client.ask("status"), HasSubstr(" governor=off?[0m?\n"));
    EXPECT_THAT(client.ask("re\u202emove"), HasSubstr("there is no request \"re?move\""));
}

TEST_F(ControlServerTest, TellsTheStatusOfTheHost)
{
    _control.state.running = 61234ms;
    _control.state.inputs.resize(3);
    _control.state.inputs[0].streams.resize(2);
    _control.state.inputs[2].streams.resize(3);
    _control.state.load.now = 0.8765;
    _control.state.measuredLoad.now = 0.9312;
    _control.state.mode = decoding::Mode::TimeSaving;
    _control.state.governor = "0.60:0.90, time-saving";
    RawClient client(path());
    EXPECT_EQ(client.ask("status"),
              " runningMs=61234\n inputs=3\n streams=5\n cpuLoad=0.876\n measuredCpuLoad=0.931\n mode=time-saving\n"
              " governor=0.60:0.90, time-saving\nok\n");
    _control.state = decoding::Snapshot();
    _control.state.load.now = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(
        client.ask("status"),
        " runningMs=0\n inputs=0\n streams=0\n cpuLoad=-\n measuredCpuLoad=-\n mode=performance\n governor=-\nok\n");
}

TEST_F(ControlServerTest, SwitchesModeAndGovernor)
{
    RawClient client(path());
    EXPECT_EQ(client.ask("mode time-saving"), "ok\n");
    EXPECT_EQ(client.ask("mode performance"), "ok\n");
    EXPECT_EQ(client.ask("governor off"), "ok\n");
    EXPECT_EQ(client.ask("governor on"), "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("mode time-saving", "mode performance", "governor off", "governor on"));
}

TEST_F(ControlServerTest, AnswersBeforeItAsksTheHostToEnd)
{
    RawClient client(path());
    std::string answer;
    _control.onQuit = [&client, &answer] { answer = client.answerAtHand(); };
    ASSERT_TRUE(client.send("quit\n"));
    ASSERT_TRUE(serveUntil([this] { return !_control.calls.empty(); }));
    EXPECT_EQ(answer, "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("quit"));
}

TEST_F(ControlServerTest, HelpsAndSaysWhatIsWrong)
{
    RawClient client(path());
    EXPECT_THAT(client.ask("help"), HasSubstr("\n remove NAME: "));
    EXPECT_EQ(client.ask("remove"), "error the request is: remove NAME\n");
    EXPECT_EQ(client.ask(""), "error the request is empty; try help\n");
    EXPECT_EQ(client.ask("list\r"), "ok\n") << "a carriage return before the end is left out";
}

TEST_F(ControlServerTest, TakesRequestsInWhateverPiecesTheyCome)
{
    RawClient client(path());
    for (const char *const piece : {"mo", "de perf", "ormance", "\ngove"}) {
        ASSERT_TRUE(client.send(piece));
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(client.answer(), "ok\n");
    EXPECT_EQ(client.ask("rnor on"), "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("mode performance", "governor on"));
}

TEST_F(ControlServerTest, AnswersEachClientInTheOrderOfItsRequests)
{
    _control.isSlow = true;
    RawClient slow(path());
    RawClient other(path());
    ASSERT_TRUE(slow.send("add a\nmode time-saving\nremove b\ngovernor on\n"));
    ASSERT_TRUE(serveUntil([this] { return !_control.pending.empty(); }));
    EXPECT_EQ(other.ask("mode performance"), "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("add a", "mode performance"));

    _control.pending[0]({});
    EXPECT_EQ(slow.answer(), " camera\nok\n");
    EXPECT_EQ(slow.answer(), "ok\n");
    ASSERT_TRUE(serveUntil([this] { return _control.pending.size() == 2; }));
    EXPECT_THAT(_control.calls, ElementsAre("add a", "mode performance", "mode time-saving", "remove b"));
    _control.pending[1]("gone");
    EXPECT_EQ(slow.answer(), "error gone\n");
    EXPECT_EQ(slow.answer(), "ok\n");
}

TEST_F(ControlServerTest, KeepsTheOrderHoweverMuchOfItsAnswersIsUnread)
{
    for (int lists = 1; lists <= mostLists; ++lists) {
        _control.isSlow = true;
        _control.calls.clear();
        _control.pending.clear();
        RawClient client(path());
        ASSERT_TRUE(client.send(manyLists(lists) + "add a\nmode performance\n"));
        letServerWork();
        for (int i = 0; i < lists; ++i)
            ASSERT_GT(client.answer().size(), listBytes);
        ASSERT_TRUE(serveUntil([this] { return !_control.pending.empty(); }));
        letServerWork();
        ASSERT_THAT(_control.calls, ElementsAre("add a")) << lists;
        _control.pending[0]({});
        EXPECT_EQ(client.answer(), " camera\nok\n");
        EXPECT_EQ(client.answer(), "ok\n");
    }
}

TEST_F(ControlServerTest, GivesAllAnswersToAClientThatHasEndedItsRequestsHoweverMuchIsUnread)
{
    for (int lists = 1; lists <= mostLists; ++lists) {
        RawClient client(path());
        ASSERT_TRUE(client.send(manyLists(lists)));
        client.endSending();
        letServerWork();
        for (int i = 0; i < lists; ++i)
            ASSERT_GT(client.answer().size(), listBytes) << i << " of " << lists;
    }
}

TEST_F(ControlServerTest, AnswersAClientThatHasEndedItsRequests)
{
    _control.isSlow = true;
    RawClient client(path());
    ASSERT_TRUE(client.send("mode performance\nadd a\nlist\n"));
    client.endSending();
    EXPECT_EQ(client.answer(), "ok\n");
    ASSERT_TRUE(serveUntil([this] { return !_control.pending.empty(); }));
    _control.pending[0]({});
    EXPECT_EQ(client.answer(), " camera\nok\n");
    EXPECT_EQ(client.answer(), "ok\n");
    EXPECT_TRUE(serveUntil([&client] { return client.isLeft(); }));
}

TEST_F(ControlServerTest, GivesAnswersOfAnySizeWhole)
{
    decoding::Snapshot::Input input;
    input.name = std::string(1000, 'x');
    _control.state.inputs.assign(2000, input);
    RawClient client(path());
    ASSERT_TRUE(client.send("list\n"));
    client.endSending();
    const std::string answer = client.answer();
    EXPECT_EQ(std::count(answer.begin(), answer.end(), '\n'), 2001);
    EXPECT_EQ(answer.substr(answer.size() - 4), "\nok\n");
}

TEST_F(ControlServerTest, CannotBeHadTwiceOnOnePath)
{
    const auto second = ControlSocket::listen(path());
    ASSERT_TRUE(std::holds_alternative<std::string>(second));
    EXPECT_THAT(std::get<std::string>(second), HasSubstr("another program listens"));
    EXPECT_TRUE(serves());
}

TEST_F(ControlServerTest, ServesOneClientAfterTheOtherWhereTheProcessHasNoDescriptorLeft)
{
    // UndefinedBehaviorSanitizer needs descriptors to look at an object of a type that it has not met yet, such as that
    // of a connection that ends.
    EXPECT_EQ(RawClient(path()).ask("mode performance"), "ok\n");
    EXPECT_EQ(RawClient(path()).ask("mode performance"), "ok\n");

    auto first = std::make_unique<RawClient>(path());
    RawClient second(path());
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int lowestFree = Descriptor(::dup(STDIN_FILENO)).get();
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(lowestFree);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(first->ask("mode performance"), "ok\n");
    first.reset();
    // Its own descriptor may go to anybody.
    const Descriptor taken(::dup(STDIN_FILENO));
    EXPECT_EQ(second.ask("mode performance"), "ok\n");
    setrlimit(RLIMIT_NOFILE, &before);
}
