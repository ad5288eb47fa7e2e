#include <csignal>

#include "ByteServer.h"
#include "LiveHost.h"
#include "Loopback.h"
#include "host/decode/DecodeFixture.h"
#include "host/decode/WakeUps.h"
#include <gmock/gmock.h>

namespace {

/// The end of a host none of whose live inputs has anything to give.
class LiveEnd : public DecodeFixture {
protected:
    /// Waits to be answered, for datagrams, to connect again, and for more of a stream.
    QStringList stalledInputs() const
    {
        return {QStringLiteral("--output"),
                "framemd5:" + path("out"),
                QStringLiteral("silent=rtsp://127.0.0.1:%1/live").arg(_silent.port()),
                QStringLiteral("nothing=udp://127.0.0.1:%1").arg(Loopback::freePort(SOCK_DGRAM)),
                QStringLiteral("refused=tcp://127.0.0.1:%1").arg(Loopback::freePort(SOCK_STREAM)),
                "stalled=" + _stalled.url()};
    }

    /// Waits until every one of them is where it is stuck.
    static bool isStuck(LiveHost &host)
    {
        return host.until([&host] {
            return host.row("silent", "").state == "connecting" && host.row("nothing", "").state == "connecting" &&
                   host.row("refused", "").state == "waiting" && host.row("stalled").frames > 0;
        });
    }

    /// @return what the host, which was asked to end, has left of itself. Fails the test when that takes longer than it
    ///         may.
    HostRun promptEnd(LiveHost &host)
    {
        const auto begin = LiveHost::Clock::now();
        WakeUps wakeUps;
        HostRun run = host.end();
        const auto late = wakeUps.end();
        EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::seconds(2) + 4 * late);
        run.expectNothingLeft();
        EXPECT_EQ(run.inputs().size(), 4);
        EXPECT_EQ(run.input("stalled")["connections"].toInt(), 1);
        EXPECT_EQ(run.input("silent")["connections"].toInt(-1), 0);
        // What came is complete.
        EXPECT_EQ(run.stream("stalled", "video")["frames"].toInt(),
                  static_cast<int>(ToolFrames::hashes(framemd5(path("out"), "stalled", "video")).size()));
        return run;
    }

private:
    const QString _clip = generate("clip.ts", "-f lavfi -i testsrc2=size=160x120:rate=25:duration=2 -pix_fmt yuv420p "
                                              "-c:v libx264 -preset veryfast -g 25");
    const ByteServer _stalled{{{read(_clip), true}}};
    const Loopback _silent{SOCK_STREAM};
};

} // namespace

TEST_F(LiveEnd, ComesSoonAfterAnInterruptThoughNothingAnswers)
{
    LiveHost host(stalledInputs());
    ASSERT_TRUE(isStuck(host));
    kill(static_cast<pid_t>(host.processId()), SIGINT);
    const HostRun run = promptEnd(host);
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_TRUE(run.report["interrupted"].toBool());
}

TEST_F(LiveEnd, ComesSoonAfterItIsAskedForThoughNothingAnswers)
{
    LiveHost host(stalledInputs());
    ASSERT_TRUE(isStuck(host));
    host.request({"quit"});
    const HostRun run = promptEnd(host);
    EXPECT_FALSE(run.report["interrupted"].toBool());
    // The run reports those that were without a connection as failed.
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.input("refused")["error"].toString(), QString());
    for (const std::string name : {"silent", "nothing"}) {
        const std::string error = run.input(name)["error"].toString().toStdString();
        EXPECT_THAT(error, testing::StartsWith(name + ": nothing came "));
        EXPECT_THAT(run.errors, testing::Contains(testing::EndsWith(": " + error)).Times(1));
    }
}

TEST_F(LiveEnd, AfterItsDurationIsAFailureOfWhatNeverCame)
{
    const HostRun run =
        HostRun::decode({QStringLiteral("--duration"), QStringLiteral("1"),
                         QStringLiteral("nothing=udp://127.0.0.1:%1").arg(Loopback::freePort(SOCK_DGRAM))});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, testing::ElementsAre(testing::HasSubstr(": nothing: nothing came ")));
    run.expectNothingLeft();
}
