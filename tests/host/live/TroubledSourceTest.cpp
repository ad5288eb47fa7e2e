#include <algorithm>

#include "DatagramRelay.h"
#include "LiveRunFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The cycle finds nothing to decode, and nothing is pushed.
constexpr char darkRow[] = "name=\"troubled video\" state=(waiting|connecting) unwell=yes lights=..[.]...[.] ";
constexpr char lossyRow[] = "name=\"troubled video\" state=running .* lights=.[YR]..... ";
constexpr char wellRow[] = "name=\"troubled video\" state=running unwell=no lights=GG....G ";
constexpr char unopenedRow[] = "name=\"troubled\" state=(waiting|connecting) .* trouble=\"nothing came within 10 s\"";

/// What becomes of an input called "troubled", and of its neighbours, when its server is unwell.
class TroubledSource : public LiveRunFixture {
protected:
    static bool isDecoded(LiveHost &host, qint64 frames)
    {
        return host.until([&] { return host.row("troubled").frames >= frames; });
    }

    static std::unique_ptr<ServerProcess> sender(const QString &file, quint16 port)
    {
        return ServerProcess::transportStream(file, QStringLiteral("udp://127.0.0.1:%1?pkt_size=1316").arg(port));
    }

    /// @return the end of the run, in which the neighbours were left in peace, and "troubled" was well at last.
    HostRun endOf(LiveHost &host)
    {
        EXPECT_TRUE(fileEnds(host));
        HostRun run = host.quit();
        EXPECT_EQ(run.exitCode, 0) << testing::PrintToString(run.errors);
        run.expectNothingLeft();
        expectNeighboursUntouched(run);
        // One decoder and one output for all connections.
        EXPECT_EQ(run.input("troubled")["streams"].toArray().size(), 1);
        EXPECT_EQ(run.stream("troubled", "video")["frames"].toInt(), static_cast<int>(decoded("troubled").size()));
        return run;
    }

    /// Which of the camera's pictures "troubled" has given; -1 for one that is not whole.
    std::vector<int> pictures() const
    {
        std::vector<int> pictures;
        for (const std::string &frame : decoded("troubled")) {
            const auto found = std::find(cameraFrames().begin(), cameraFrames().end(), frame);
            pictures.push_back(found == cameraFrames().end() ? -1 : static_cast<int>(found - cameraFrames().begin()));
        }
        return pictures;
    }

    /// @return those of @p pictures that do not follow the one before. Fails unless all of them are whole.
    static std::vector<int> beginnings(const std::vector<int> &pictures)
    {
        std::vector<int> beginnings;
        for (std::size_t position = 0; position < pictures.size(); ++position) {
            EXPECT_GE(pictures[position], 0) << "at " << position;
            if (position == 0 || pictures[position] != pictures[position - 1] + 1)
                beginnings.push_back(pictures[position]);
        }
        return beginnings;
    }

    static bool isKeyPicture(int picture) { return picture % 25 == 0; }
};

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
    ASSERT_TRUE(host.shows(wellRow));
    const HostRun run = endOf(host);
    EXPECT_EQ(run.input("troubled")["connections"].toInt(), 2);
    EXPECT_EQ(run.stream("troubled", "video")["lost"].toInt(-1), 0);
    EXPECT_THAT(beginnings(pictures()), ElementsAre(0, 0)); // the server begins anew for each client
    EXPECT_THAT(host.messages(": cannot be opened: Connection refused; reconnecting$"), SizeIs(1));
    EXPECT_THAT(host.messages(": delivers again after "), SizeIs(1));
}

TEST_F(TroubledSource, OfASenderOfDatagramsThatIsKilledComesBackAndCostsNoOtherAFrame)
{
    const quint16 port = Loopback::freePort(SOCK_DGRAM);
    LiveHost host(withNeighbours({QStringLiteral("troubled=udp://127.0.0.1:%1").arg(port)}));
    ASSERT_TRUE(neighboursRun(host));
    auto server = sender(camera(), port);
    ASSERT_TRUE(isDecoded(host, 10));
    server->kill();
    ASSERT_TRUE(host.shows(darkRow));
    const qint64 framesBefore = host.row("troubled").frames;
    server = sender(camera(), port);
    ASSERT_TRUE(isDecoded(host, framesBefore + 10));
    ASSERT_TRUE(host.shows(wellRow));
    const HostRun run = endOf(host);
    EXPECT_GE(run.input("troubled")["connections"].toInt(), 2);
    const std::vector<int> begun = beginnings(pictures());
    ASSERT_THAT(begun, SizeIs(2));
    EXPECT_TRUE(isKeyPicture(begun[0])) << begun[0];
    EXPECT_TRUE(isKeyPicture(begun[1])) << begun[1];
    EXPECT_THAT(host.messages(": no packet for 5 s; reconnecting$"), SizeIs(1));
    EXPECT_THAT(host.messages(": delivers again after "), SizeIs(1));
}

TEST_F(TroubledSource, ThatLosesDatagramsShowsItAndIsWellAgainWithoutThat)
{
    const quint16 port = Loopback::freePort(SOCK_DGRAM);
    DatagramRelay relay(port);
    LiveHost host(withNeighbours({QStringLiteral("troubled=udp://127.0.0.1:%1").arg(port)}));
    ASSERT_TRUE(neighboursRun(host));
    const auto server = sender(camera(), relay.port());
    ASSERT_TRUE(isDecoded(host, 10));
    EXPECT_EQ(host.row("troubled").lost, 0);
    // So many that the light, which tells of the last block, is soon seen.
    relay.dropEvery(3);
    ASSERT_TRUE(host.shows(lossyRow));
    relay.dropEvery(0);
    const qint64 lost = host.row("troubled").lost;
    EXPECT_GT(lost, 0);
    ASSERT_TRUE(host.shows(wellRow));
    const HostRun run = endOf(host);
    EXPECT_EQ(run.input("troubled")["connections"].toInt(), 1);
    EXPECT_GE(run.stream("troubled", "video")["lost"].toInt(), lost);
    EXPECT_THAT(host.messages(": troubled video: damaged picture or samples: h264$"), SizeIs(1));
    EXPECT_THAT(host.messages("connect"), IsEmpty());
    const std::vector<int> given = pictures();
    EXPECT_GT(std::count(given.begin(), given.end(), -1), 0);
    ASSERT_GE(given.size(), 20u);
    EXPECT_THAT(beginnings({given.end() - 20, given.end()}), SizeIs(1));
}

TEST_F(TroubledSource, OfAServerThatNeverSendsIsTriedAgainAndCostsNoOtherAFrame)
{
    auto silent = std::make_unique<Loopback>(SOCK_STREAM);
    const quint16 port = silent->port();
    LiveHost host(withNeighbours({QStringLiteral("troubled=rtsp://127.0.0.1:%1/live").arg(port)}));
    ASSERT_TRUE(neighboursRun(host));
    ASSERT_TRUE(host.shows("name=\"troubled\" state=connecting "));
    ASSERT_TRUE(host.shows(unopenedRow));
    EXPECT_EQ(host.row("troubled", "").frames, 0);
    silent.reset();
    const auto server = ServerProcess::rtsp(camera(), port);
    ASSERT_TRUE(isDecoded(host, 10));
    ASSERT_TRUE(host.shows(wellRow));
    const HostRun run = endOf(host);
    EXPECT_EQ(run.input("troubled")["connections"].toInt(), 1);
    EXPECT_THAT(beginnings(pictures()), ElementsAre(0));
    EXPECT_THAT(host.messages(": nothing came within 10 s; trying again$"), SizeIs(1));
    EXPECT_THAT(host.messages(": delivers after "), SizeIs(1));
}
