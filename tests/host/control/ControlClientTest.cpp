#include "control/ControlClient.h"

#include <atomic>
#include <list>
#include <thread>

#include "ControlFixture.h"

using namespace std::chrono_literals;
using ControlClient::Answer;
using ControlClient::Outcome;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

class ControlClientTest : public ControlFixture {
protected:
    /// Asks from another thread, while the server works on this one.
    Answer ask(const Words &words, std::chrono::milliseconds timeout = deadline)
    {
        Answer answer;
        std::atomic<bool> isAnswered{false};
        std::thread client([&] {
            answer = ControlClient::ask(path(), words, timeout);
            isAnswered = true;
        });
        EXPECT_TRUE(serveUntil([&isAnswered] { return isAnswered.load(); }));
        client.join();
        return answer;
    }

    /// Puts a peer in the server's place that reads @p bytes of the request, answers with @p text and leaves.
    Answer askPeerThatSays(const std::string &text, int bytes)
    {
        _server.reset();
        auto listening = ControlSocket::listen(path());
        auto &socket = *std::get<std::unique_ptr<ControlSocket>>(listening);
        std::thread peer([&socket, &text, bytes] {
            Descriptor client;
            EXPECT_TRUE(waitUntil([&] { return (client = socket.accept()).isOpen(); }));
            for (int i = 0; i < bytes; ++i) {
                char byte = 0;
                EXPECT_TRUE(waitUntil([&] { return recv(client.get(), &byte, 1, 0) == 1; }));
            }
            send(client.get(), text.data(), text.size(), MSG_NOSIGNAL);
        });
        Answer answer = ControlClient::ask(path(), {"list"}, deadline);
        peer.join();
        return answer;
    }
};

} // namespace

TEST_F(ControlClientTest, HandsOverTheWordsAndTheLinesOfTheAnswer)
{
    const Answer answer = ask({"add", "my \"clip\".mkv", "front \\ door"});
    EXPECT_EQ(answer.outcome, Outcome::Done) << answer.error;
    EXPECT_THAT(answer.lines, ElementsAre("front \\ door"));
    EXPECT_EQ(answer.error, "");
    EXPECT_THAT(_control.calls, ElementsAre("add my \"clip\".mkv as front \\ door"));
}

TEST_F(ControlClientTest, HandsOverALongAnswerWhole)
{
    decoding::Snapshot::Input input;
    input.name = std::string(1000, 'x');
    _control.state.inputs.assign(1000, input);
    EXPECT_EQ(ask({"list"}).lines.size(), 1000U);
}

TEST_F(ControlClientTest, TellsWhatTheHostCannotDo)
{
    _control.error = "there is no input cam1";
    const Answer answer = ask({"remove", "cam1"});
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_EQ(answer.error, "there is no input cam1");
}

TEST_F(ControlClientTest, SendsNothingThatIsNoRequest)
{
    for (const Words &words : {Words{}, Words{"lst"}, Words{"add"}, Words{"add", "a\nquit"}, Words{"add", "\xff"},
                               Words{"add", std::string(70000, 'x')}}) {
        const Answer answer = ask(words);
        EXPECT_EQ(answer.outcome, Outcome::WrongUsage);
        EXPECT_NE(answer.error, "");
    }
    EXPECT_THAT(_control.calls, IsEmpty());
}

TEST_F(ControlClientTest, SaysHowToStartAHostWhereNoneListens)
{
    const std::string advice = "no decoding-host listens on " + path() + ": start one with --control " + path();
    _server.reset();
    EXPECT_EQ(ControlClient::ask(path(), {"list"}, deadline).error, advice);
    {
        const Descriptor dead(::socket(AF_UNIX, SOCK_STREAM, 0));
        const auto address = std::get<sockaddr_un>(ControlAddress::of(path()));
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    const Answer answer = ControlClient::ask(path(), {"list"}, deadline);
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_EQ(answer.error, advice);
}

TEST_F(ControlClientTest, SaysWhatIsWrongWithTheSocketsPath)
{
    const Answer answer = ControlClient::ask(path() + "/x", {"list"}, deadline);
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_THAT(answer.error, AllOf(HasSubstr(path() + "/x"), HasSubstr("Not a directory")));
    EXPECT_THAT(ControlClient::ask(std::string(200, 'x'), {"list"}, deadline).error, HasSubstr("longer than"));
}

TEST_F(ControlClientTest, GivesUpWhenItsTimeIsOver)
{
    _control.isSlow = true;
    const Answer answer = ask({"add", "a"}, 50ms);
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_EQ(answer.error,
              "the decoding-host on " + path() + " has not answered within 50 ms; it may yet do what it was asked for");
}

TEST_F(ControlClientTest, GivesUpWhenNobodyAcceptsItInTime)
{
    std::list<RawClient> crowd;
    while (crowd.empty() || crowd.back().isConnected)
        crowd.emplace_back(path());
    const Answer answer = ControlClient::ask(path(), {"list"}, 50ms);
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_THAT(answer.error, HasSubstr("has not answered within 50 ms"));
}

TEST_F(ControlClientTest, TellsAHostThatEndsBeforeItAnswers)
{
    // One that has read the request ends the connection, another one breaks it.
    for (const int bytes : {5, 1}) {
        const Answer answer = askPeerThatSays(" half an answer\n half a li", bytes);
        EXPECT_EQ(answer.outcome, Outcome::Failed);
        EXPECT_EQ(answer.error, "the decoding-host on " + path() + " ended before it answered");
        EXPECT_THAT(answer.lines, ElementsAre("half an answer"));
    }
}

TEST_F(ControlClientTest, TellsAPeerThatIsNoHost)
{
    const Answer answer = askPeerThatSays("220 mail.example.org\n", 5);
    EXPECT_EQ(answer.outcome, Outcome::Failed);
    EXPECT_THAT(answer.error, StartsWith("what listens on " + path() + " is no decoding-host"));
}

TEST_F(ControlClientTest, HandsOverNoTextThatCommandsATerminal)
{
    const Answer done = askPeerThatSays(" cam\x1b]0;title\x07\tvid\u202eeo\nok\n", 5);
    EXPECT_EQ(done.outcome, Outcome::Done);
    EXPECT_THAT(done.lines, ElementsAre("cam?]0;title?\tvid?eo"));
    const Answer failed = askPeerThatSays("error no\x1b[2J\u202e\n", 5);
    EXPECT_EQ(failed.outcome, Outcome::Failed);
    EXPECT_EQ(failed.error, "no?[2J?");
}
