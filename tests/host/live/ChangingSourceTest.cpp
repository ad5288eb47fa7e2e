#include <cstdio>

#include "LiveRunFixture.h"
#include "Loopback.h"
#include <gmock/gmock.h>

namespace {

using testing::IsEmpty;
using testing::SizeIs;

/// What becomes of an input called "changing", whose sender comes back with something else before anybody misses it.
class ChangingSource : public LiveRunFixture {
protected:
    QString clip(const char *name, const char *size, const char *codec, const char *sound = "") const
    {
        const QByteArray options = QByteArray("-f lavfi -i testsrc2=size=") + size + ":rate=25:duration=20 " + sound +
                                   " -pix_fmt yuv420p -bf 0 -g 25 -muxdelay 0 -preset ultrafast -c:v " + codec;
        return generate(QLatin1String(name), options.simplified().constData());
    }

    QString input() const { return QStringLiteral("changing=udp://127.0.0.1:%1").arg(_port); }

    std::unique_ptr<ServerProcess> sender(const QString &file) const
    {
        return ServerProcess::transportStream(file, QStringLiteral("udp://127.0.0.1:%1?pkt_size=1316").arg(_port));
    }

    /// Waits for so many frames more. @return how long that took.
    static std::chrono::milliseconds timeUntilMore(LiveHost &host, qint64 frames, const char *kind = "video")
    {
        const auto begin = LiveHost::Clock::now();
        const qint64 before = host.row("changing", kind).frames;
        EXPECT_TRUE(host.until([&] { return host.row("changing", kind).frames >= before + frames; }));
        return std::chrono::duration_cast<std::chrono::milliseconds>(LiveHost::Clock::now() - begin);
    }

    const quint16 _port = Loopback::freePort(SOCK_DGRAM);
};

} // namespace

TEST_F(ChangingSource, OfTheCodecIsFollowedAndCostsNoOtherAFrame)
{
    const QString before = clip("before.ts", "320x240", "libx264");
    const QString behind = clip("behind.ts", "320x240", "libx265 -x265-params log-level=none");
    LiveHost host(withNeighbours({input()}));
    ASSERT_TRUE(neighboursRun(host));
    auto server = sender(before);
    timeUntilMore(host, 30);
    server = nullptr;
    server = sender(behind);
    const auto time = timeUntilMore(host, 10);
    std::printf("followed after %lld ms\n", static_cast<long long>(time.count()));
    EXPECT_LT(time, std::chrono::seconds(3)); // with the second that the sender takes until it sends
    timeUntilMore(host, 30);
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
    EXPECT_EQ(run.stream("changing", "video")["codec"].toString(), "hevc");
    EXPECT_EQ(run.input("changing")["connections"].toInt(), 2);
    EXPECT_THAT(host.messages("changing: it has changed, and cannot be decoded as it began; reconnecting$"), SizeIs(1));
    EXPECT_THAT(host.messages("changing: delivers again "), SizeIs(1));
}

TEST_F(ChangingSource, OfTheSizeGoesOnInAnotherPartOfItsFileAndCostsNoOtherAFrame)
{
    const QString before = clip("before.ts", "320x240", "libx264");
    const QString behind = clip("behind.ts", "160x120", "libx264");
    LiveHost host(withNeighbours({"--output", "y4m:" + path("out"), input()}));
    ASSERT_TRUE(neighboursRun(host));
    auto server = sender(before);
    timeUntilMore(host, 30);
    server = nullptr;
    server = sender(behind);
    timeUntilMore(host, 60);
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
    EXPECT_EQ(run.input("changing")["connections"].toInt(), 1);
    EXPECT_THAT(host.messages("connect"), IsEmpty());
    EXPECT_TRUE(read(path("out/changing.y4m")).startsWith("YUV4MPEG2 W320 H240 "));
    EXPECT_TRUE(read(path("out/changing.part2.y4m")).startsWith("YUV4MPEG2 W160 H120 "));
}

TEST_F(ChangingSource, ThatGetsSoundUnderWayIsHeardAndCostsNoOtherAFrame)
{
    const QString before = clip("before.ts", "320x240", "libx264");
    const QString behind =
        clip("behind.ts", "320x240", "libx264 -c:a aac", "-f lavfi -i sine=sample_rate=48000:duration=20");
    LiveHost host(withNeighbours({"--output", "wav:" + path("out"), input()}));
    ASSERT_TRUE(neighboursRun(host));
    auto server = sender(before);
    timeUntilMore(host, 30);
    EXPECT_EQ(host.row("changing", "audio").input, "");
    server = nullptr;
    server = sender(behind);
    EXPECT_LT(timeUntilMore(host, 20, "audio"), std::chrono::seconds(3));
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
    EXPECT_EQ(run.input("changing")["connections"].toInt(), 1);
    const QByteArray wav = read(path("out/changing.wav"));
    ASSERT_GT(wav.size(), 20'000);
    EXPECT_EQ(wav.mid(24, 4), QByteArray("\x80\xbb\0\0", 4)) << "48,000 samples in a second";
}
