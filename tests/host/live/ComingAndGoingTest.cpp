#include <QUrl>

#include <algorithm>
#include <cstdio>
#include <future>

#include "ByteServer.h"
#include "LiveHost.h"
#include "Loopback.h"
#include "ServerProcess.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

/// Inputs that come and go while others are decoded.
class ComingAndGoing : public DecodeFixture {
protected:
    static constexpr int lastingInputs = 4;
    static constexpr int kinds = 5; // of inputs that come and go

    /// The inputs that stay, each written to files.
    QStringList lasting() const
    {
        return {"--paced",
                "--repeat",
                "50",
                "--threads",
                "2",
                "--output",
                "framemd5:" + path("out"),
                sample("cup.mp4"),
                "large=lavfi:testsrc2=size=640x480:rate=25,format=yuv420p",
                "sound=lavfi:testsrc=size=160x120:rate=50[out0];sine[out1]",
                QStringLiteral("camera=tcp://127.0.0.1:%1").arg(QUrl(_camera.url()).port())};
    }

    /// Adds one and removes it. @param cycle says which kind it is, and whether it is let come to decoding.
    void addAndRemove(LiveHost &host, int cycle)
    {
        const std::string name = "guest" + std::to_string(cycle);
        SCOPED_TRACE(name);
        const bool mayOpen = cycle / kinds % 2 == 0;
        if (mayOpen) {
            host.request({"add", url(cycle % kinds), name});
            if (cycle % kinds < decodableKinds) {
                EXPECT_TRUE(host.until([&] { return framesOf(host, name) > 0; }));
            }
            host.request({"remove", name});
            return;
        }
        const auto adding = std::async(std::launch::async, [&] { return host.ask({"add", url(cycle % kinds), name}); });
        EXPECT_TRUE(host.until([&] { return host.ask({"remove", name}).outcome == ControlClient::Outcome::Done; }));
    }

    static qint64 framesOf(const LiveHost &host, const std::string &name)
    {
        qint64 frames = 0;
        for (const LiveHost::Row &row : host.list())
            frames += row.input.compare(0, name.size(), name) == 0 ? row.frames : 0;
        return frames;
    }

    /// What the host holds, once it has freed what it is about to: the least of half a second.
    static qint64 settledBytes(LiveHost &host)
    {
        qint64 least = host.residentBytes();
        for (int look = 0; look < 10; ++look) {
            host.watch(std::chrono::milliseconds(50));
            least = std::min(least, host.residentBytes());
        }
        return least;
    }

private:
    static constexpr int decodableKinds = 3;

    std::string url(int kind) const
    {
        switch (kind) {
        case 0:
            return sample("tree.avi").toStdString();
        case 1:
            return "lavfi:testsrc2=size=640x480:rate=25,format=yuv420p";
        case 2:
            return _camera.url().toStdString();
        case 3: // where nobody sends anything
            return "udp://127.0.0.1:" + std::to_string(_datagrams);
        default: // who answers nothing
            return "rtsp://127.0.0.1:" + std::to_string(_silent.port()) + "/live";
        }
    }

    const QString _clip = generate("camera.ts", "-f lavfi -i testsrc2=size=640x480:rate=25:duration=2 -pix_fmt yuv420p "
                                                "-c:v libx264 -preset veryfast -g 25");
    ByteServer _camera{{{read(_clip), true}}};
    const Loopback _silent{SOCK_STREAM};
    const quint16 _datagrams = Loopback::freePort(SOCK_DGRAM);
};

} // namespace

TEST_F(ComingAndGoing, AHundredTimesUnderLoadLeavesNothingBehind)
{
    constexpr int cycles = 100;
    constexpr int firstCycles = 20;
    LiveHost host(lasting());
    for (int cycle = 0; cycle < firstCycles; ++cycle)
        addAndRemove(host, cycle);
    const qint64 bytesBefore = settledBytes(host);
    for (int cycle = firstCycles; cycle < cycles; ++cycle)
        addAndRemove(host, cycle);
    const qint64 bytesAfter = settledBytes(host);
    std::printf("%.1f MB after %d inputs, %.1f MB after %d\n", static_cast<double>(bytesBefore) / 1e6, firstCycles,
                static_cast<double>(bytesAfter) / 1e6, cycles);
    // One picture in each of the cycles would take three times as much, and a codec decoder with its pictures far more.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what is freed
    EXPECT_LT(bytesAfter - bytesBefore, 12e6);
#endif
    EXPECT_EQ(host.status()["inputs"], std::to_string(lastingInputs));
    for (const LiveHost::Row &row : host.list())
        EXPECT_GT(row.frames, 0) << row.input;
    const HostRun run = host.quit();
    run.expectNothingLeft();
    EXPECT_EQ(run.inputs().size(), lastingInputs);
}
