#include <optional>
#include <thread>

#include "LiveRunFixture.h"
#include "Loopback.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char refusal[] = "door: cannot be opened: Server returned 401 Unauthorized \\(authorization failed\\)$";

/// What becomes of an input that its server does not let in.
class RefusedSource : public LiveRunFixture {
protected:
    QString door(const char *password) const
    {
        return QStringLiteral("rtsp://keeper:%1@127.0.0.1:%2/live").arg(QLatin1String(password)).arg(_port);
    }

    const quint16 _port = Loopback::freePort(SOCK_STREAM);
    const std::unique_ptr<ServerProcess> _server = ServerProcess::rtsp(camera(), _port, {QStringLiteral("password")});
};

} // namespace

TEST_F(RefusedSource, IsReportedToWhoeverAddsItAndLeavesTheNameFree)
{
    LiveHost host({"well=lavfi:testsrc=size=160x120:rate=25"});
    const ControlClient::Answer answer = host.ask({"add", door("wrong").toStdString(), "door"});
    EXPECT_EQ(answer.outcome, ControlClient::Outcome::Failed);
    EXPECT_THAT(answer.error, testing::MatchesRegex(refusal));
    EXPECT_EQ(_server->linesOf("client"), 1);
    host.request({"add", door("sesame").toStdString(), "door"});
    ASSERT_TRUE(host.until([&] { return host.row("door").frames > 0; }));
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 0) << testing::PrintToString(run.errors);
    run.expectNothingLeft();
}

TEST_F(RefusedSource, HasFailedAndIsNotTriedAgainWhileOthersAreDecoded)
{
    LiveHost host(withNeighbours({"door=" + door("wrong")}));
    ASSERT_TRUE(neighboursRun(host));
    ASSERT_TRUE(host.until([&] { return host.row("door", "").state == "failed"; }));
    ASSERT_TRUE(fileEnds(host));
    EXPECT_EQ(_server->linesOf("client"), 1);
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 1);
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
    EXPECT_THAT(host.messages(refusal), SizeIs(1));
    EXPECT_THAT(host.messages("door: .*(trying|reconnecting)"), IsEmpty());
}

TEST_F(RefusedSource, ThatDoesNotAnswerIsAddedAfterAWhileAndKeepsNoOtherClientWaiting)
{
    const Loopback silent(SOCK_STREAM);
    LiveHost host({"well=lavfi:testsrc=size=160x120:rate=25"});
    const auto begin = LiveHost::Clock::now();
    std::optional<LiveHost::Clock::time_point> answeredAt;
    std::thread client([&] {
        const auto lines =
            host.request({"add", "rtsp://127.0.0.1:" + std::to_string(silent.port()) + "/live", "silent"});
        answeredAt = LiveHost::Clock::now();
        EXPECT_THAT(lines, ElementsAre("silent"));
    });
    ASSERT_TRUE(host.until([&] { return host.row("silent", "").state == "connecting"; }));
    EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::seconds(2));
    client.join();
    EXPECT_GE(*answeredAt - begin, std::chrono::milliseconds(2900));
    EXPECT_EQ(host.row("silent", "").state, "connecting");
    host.quit().expectNothingLeft();
}
