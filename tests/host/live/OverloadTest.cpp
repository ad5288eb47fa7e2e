#include <algorithm>
#include <cmath>
#include <cstdio>

#include "LiveHost.h"
#include "Loopback.h"
#include "ServerProcess.h"
#include "host/decode/DecodeFixture.h"
#include "host/decode/WakeUps.h"
#include "host/format/FfmpegTool.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;

/// More streams than one decoder thread can decode, whatever the machine.
class Overload : public DecodeFixture {
protected:
    static constexpr double demand = 1.6; // of the thread's time, without the governor
    static constexpr milliseconds dwell{5000};

    /// @return how much of a thread's time one heavy stream needs, as this machine's processor counts it.
    double shareOfOneStream() const
    {
        constexpr int rounds = 3;
        const HostRun run = HostRun::decode({"--threads", "1", "--repeat", QString::number(rounds), _piece});
        run.expectSuccess();
        return run.totals()["cpuTimeMs"].toDouble() / (rounds * pieceMs);
    }

    /// Starts as many heavy streams as it takes, and a light one.
    QStringList arguments(int heavyStreams) const
    {
        QStringList all{"--threads", "1", "--governor", "0.6:0.9",
                        "light=lavfi:testsrc2=size=160x120:rate=25,format=yuv420p"};
        for (int stream = 0; stream < heavyStreams; ++stream)
            all << QStringLiteral("heavy%1=rtsp://127.0.0.1:%2/live").arg(stream).arg(_port);
        return all;
    }

    /// Looks at all streams for @p duration, and notes their latencies.
    void observe(LiveHost &host, milliseconds duration)
    {
        const auto end = LiveHost::Clock::now() + duration;
        while (LiveHost::Clock::now() < end) {
            for (const LiveHost::Row &row : host.list()) {
                _worstMs = std::max({_worstMs, row.latencyMs.value_or(0), row.worstLatencyMs.value_or(0)});
            }
            host.watch(milliseconds(50));
        }
    }

    static qint64 heavyFrames(const LiveHost &host)
    {
        qint64 frames = 0;
        for (const LiveHost::Row &row : host.list())
            frames += row.input == "light" ? 0 : row.frames;
        return frames;
    }

    static std::string modeOf(const LiveHost &host) { return host.status()["mode"]; }

    int _worstMs = 0; // of all blocks of all streams

private:
    static constexpr double pieceMs = 2000;

    const QString _piece =
        generate("piece.mp4", "-f lavfi -i testsrc2=size=1280x720:rate=25:duration=2,noise=alls=24:allf=t -pix_fmt "
                              "yuv420p -c:v libx264 -preset veryfast -bf 0 -g 25 -sc_threshold 0 -b:v 16M");
    const QString _clip = generate("clip.mp4", ("-stream_loop 39 -i " + _piece + " -c copy").toUtf8().constData());
    const quint16 _port = Loopback::freePort(SOCK_STREAM);
    const std::unique_ptr<ServerProcess> _server = ServerProcess::rtsp(_clip, _port);
};

} // namespace

TEST_F(Overload, IsGovernedWithLatenciesUnderHalfASecondAndForgottenWhenTheLoadGoes)
{
    const double share = shareOfOneStream();
    ASSERT_GT(share, 0);
    const int heavyStreams = static_cast<int>(std::ceil(demand / share));
    WakeUps wakeUps;
    LiveHost host(arguments(heavyStreams));
    ASSERT_TRUE(host.until([&] { return modeOf(host) == "time-saving"; }));
    const qint64 framesBefore = heavyFrames(host);
    observe(host, seconds(12)); // in which the governor may try performance mode in vain
    // Of every stream a key picture each second.
    EXPECT_GE(heavyFrames(host) - framesBefore, 8 * heavyStreams);

    for (int stream = 0; stream < heavyStreams; ++stream)
        host.request({"remove", "heavy" + std::to_string(stream)});
    ASSERT_TRUE(host.until([&] { return modeOf(host) == "performance"; }));
    observe(host, dwell + seconds(1));
    EXPECT_EQ(modeOf(host), "performance");
    EXPECT_EQ(host.row("light").mode, "performance");
    const HostRun run = host.quit();
    const int lateMs = static_cast<int>(wakeUps.end().count());
    EXPECT_EQ(run.exitCode, 0) << testing::PrintToString(run.errors);
    run.expectNothingLeft();

    const auto switches = host.messages("governor: (time-saving|performance) mode: ");
    std::printf(
        "%d streams that need %.2f of the thread each; at most %d ms of latency; %zu switches; the machine woke "
        "threads up to %d ms late\n",
        heavyStreams, share, _worstMs, switches.size(), lateMs);
    EXPECT_LT(_worstMs, 500 + 4 * lateMs);
    ASSERT_GE(switches.size(), 2u);
    for (std::size_t position = 0; position < switches.size(); ++position) {
        EXPECT_THAT(switches[position].text,
                    HasSubstr(position % 2 == 0 ? ": time-saving mode" : ": performance mode"));
        if (position > 0) {
            EXPECT_GE(switches[position].at - switches[position - 1].at, dwell - milliseconds(200 + 4 * lateMs));
        }
    }
}
