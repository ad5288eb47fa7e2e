#include <algorithm>

#include "DatagramRelay.h"
#include "LiveRunFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::SizeIs;

/// What becomes of an input called "troubled", and of its neighbours, when its server is unwell.
class TroubledSource : public LiveRunFixture {
protected:
    static bool isDecoded(LiveHost &host, qint64 frames)
    {
        return host.until([&] { return host.row("troubled").frames >= frames; });
    }

    /// Fails unless the pictures of "troubled" are the camera's first ones, and then, after one break, again.
    void expectTheCameraTwice(const HostRun &run) const
    {
        const std::vector<std::string> frames = decoded("troubled");
        ASSERT_GT(frames.size(), 2u);
        const auto again = std::find(frames.begin() + 1, frames.end(), cameraFrames().front());
        ASSERT_NE(again, frames.end());
        EXPECT_TRUE(std::equal(frames.begin(), again, cameraFrames().begin()));
        EXPECT_TRUE(std::equal(again, frames.end(), cameraFrames().begin()));
        expectOneStreamWithBreaks(run);
    }

    /// The same decoder and output over all connections.
    void expectOneStreamWithBreaks(const HostRun &run) const
    {
        const QJsonObject input = run.input("troubled");
        EXPECT_GE(input["connections"].toInt(), 2);
        EXPECT_EQ(input["streams"].toArray().size(), 1);
        const QJsonObject stream = run.stream("troubled", "video");
        EXPECT_EQ(stream["frames"].toInt(), static_cast<int>(decoded("troubled").size()));
        EXPECT_GE(stream["outputs"].toArray().at(0)["nullBlocks"].toInt(), 1);
    }
};

// The cycle finds nothing to decode, and nothing is pushed.
constexpr char darkRow[] = "name=\"troubled video\" state=(waiting|connecting) unwell=yes lights=..[.]...[.] ";
constexpr char brightRow[] = "name=\"troubled video\" state=running unwell=no lights=GG....G ";

} // namespace

TEST_F(TroubledSource, OfAnRtspServerThatIsKilledComesBackAndCostsNoOtherAFrame)
{
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    auto server = ServerProcess::rtsp(camera(), port);
    LiveHost host(withNeighbours({QStringLiteral("troubled=rtsp://127.0.0.1:%1/live").arg(port)}));
    ASSERT_TRUE(neighboursRun(host));
    ASSERT_TRUE(isDecoded(host, 10));
    server->kill();
    ASSERT_TRUE(host.shows(darkRow));
    const qint64 framesBefore = host.row("troubled").frames;
    server = ServerProcess::rtsp(camera(), port);
    ASSERT_TRUE(isDecoded(host, framesBefore + 10));
    ASSERT_TRUE(host.shows(brightRow));
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 0) << testing::PrintToString(run.errors);
    run.expectNothingLeft();
    expectTheCameraTwice(run);
    EXPECT_THAT(host.messages(": cannot be opened: Connection refused; reconnecting$"), SizeIs(1));
    EXPECT_THAT(host.messages(": delivers again after "), SizeIs(1));
    expectNeighboursUntouched(run);
}
