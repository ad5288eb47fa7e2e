#include <QDir>
#include <QFile>
#include <QJsonArray>

#include "ByteServer.h"
#include "LiveRunFixture.h"
#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::SizeIs;

/// What is wrong with a stream shows while the host runs.
class HealthWhileRunning : public LiveRunFixture {
protected:
    static QString named(const ByteServer &server) { return "door=" + server.url(); }

    /// Transport stream of the camera's pictures.
    QByteArray broadcast() const
    {
        const auto bytes = FfmpegTool::run({"-i", camera(), "-c", "copy", "-f", "mpegts", "-"});
        return bytes.value_or(QByteArray());
    }

    /// What `list` tells of the input's stream, in the order of its fields.
    static QStringList fields(const LiveHost &host, const QString &input, const QString &kind)
    {
        for (const std::string &line : host.request({"list"})) {
            const QStringList found = QString::fromStdString(line).split('\t');
            if (found.value(0) == input && found.value(1) == kind)
                return found;
        }
        return {};
    }
};

constexpr char timedMessage[] = "^decoding-host: \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d: ";

} // namespace

TEST_F(HealthWhileRunning, AStreamWithoutADecoderIsNamedWithinASecond)
{
    const QString known = generate("known.avi", "-f lavfi -i testsrc2=size=64x48:rate=25:duration=20 -f lavfi -i "
                                                "sine=duration=20 -c:v mpeg4 -vtag FMP4 -c:a pcm_s16le");
    const ByteServer server({{read(known).replace("FMP4", "NOPE"), true}});
    LiveHost host({});
    const auto begin = LiveHost::Clock::now();
    host.request({"add", server.url().toStdString(), "front door"});
    ASSERT_TRUE(host.until([&] { return !host.messages("front door video: no decoder for NOPE$").empty(); }));
    EXPECT_LT(host.messages("no decoder").front().at - begin, 1s);
    EXPECT_THAT(host.messages(timedMessage), SizeIs(host.messages().size()));
    EXPECT_EQ(host.row("front door").state, "no-decoder");
    EXPECT_TRUE(host.until([&] { return host.row("front door", "audio").frames > 0; })) << "its sound is decoded";
    EXPECT_TRUE(host.shows("^....-..-..T..:..:.. stream name=\"front door video\" state=no-decoder unwell=yes "));
    const HostRun run = host.quit();
    EXPECT_EQ(run.stream("front door", "video")["state"].toString(), QStringLiteral("no-decoder"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.report["errors"].toArray().contains("front door video: no decoder for NOPE"));
}

TEST_F(HealthWhileRunning, DamageMakesTheRowUnwellAndIsCountedWhileItComes)
{
    // A part of every second packet of the transport stream.
    QByteArray bytes = broadcast();
    for (int packet = 400; packet * 188 + 188 <= bytes.size(); packet += 2)
        bytes.replace(packet * 188 + 60, 60, QByteArray(60, '\x55'));
    const ByteServer server({{bytes, true}});
    LiveHost host({named(server)});
    ASSERT_TRUE(host.shows("name=\"door video\" state=running unwell=yes .* damaged=[1-9].* codec=\"h264 320x240\" "
                           ".* last_error=\".* trouble=\"damaged\""));
    const QStringList row = fields(host, "door", "video");
    ASSERT_EQ(row.size(), 15);
    EXPECT_GT(row[10].toInt(), 0);
    EXPECT_EQ(row[11], "0");
    EXPECT_EQ(row[12], "h264 320x240");
    EXPECT_GE(row[13].toInt(), 1);
    EXPECT_THAT(row[14].toStdString(), testing::MatchesRegex("....-..-..T..:..:.. [a-z].*"));
    EXPECT_EQ(host.quit().exitCode, 0) << "a live input does not fail by damage";
}

TEST_F(HealthWhileRunning, AStreamThatIsGivenNothingIsToldAndMakesItsRowUnwell)
{
    const QString both = generate("both.avi", "-f lavfi -i testsrc2=size=64x48:rate=25:duration=20 -f lavfi -i "
                                              "sine=duration=20 -c:v mpeg4 -c:a pcm_s16le");
    // The pictures are announced, and none comes.
    const ByteServer server({{read(both).replace("00dc", "JUNK"), true}});
    LiveHost host({named(server)});
    ASSERT_TRUE(host.until([&] { return !host.messages("door video: no frame in [56] s$").empty(); }));
    EXPECT_TRUE(host.shows("name=\"door video\" state=running unwell=yes "));
    EXPECT_GT(host.row("door", "audio").frames, 0);
    EXPECT_EQ(host.quit().exitCode, 1);
}

#if defined(Q_OS_LINUX)
TEST_F(HealthWhileRunning, AnOutputThatFailsIsReportedAtOnceAndMakesTheRowUnwellAndTheRunFail)
{
    ASSERT_TRUE(QDir().mkdir(path("out")));
    ASSERT_TRUE(QFile::link("/dev/full", path("out/pattern.y4m")));
    LiveHost host({"--output", "y4m:" + path("out"), "pattern=lavfi:testsrc2=size=160x120:rate=25,format=yuv420p"});
    ASSERT_TRUE(host.until([&] { return host.row("pattern").frames > 0; }));
    const auto begin = LiveHost::Clock::now();
    ASSERT_TRUE(host.until([&] { return !host.messages("/pattern.y4m: No space left on device$").empty(); }));
    EXPECT_LT(host.messages("No space").front().at - begin, 1s);
    ASSERT_TRUE(
        host.shows("name=\"pattern video\" state=running unwell=yes .* not_written=[1-9].* trouble=\".*No space"));
    EXPECT_GT(fields(host, "pattern", "video").value(11).toInt(), 0);
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(host.messages("cannot write .*: No space left on device$"), SizeIs(1)) << "reported again at the end";
    EXPECT_EQ(run.stream("pattern", "video")["notWritten"], run.stream("pattern", "video")["frames"]);
    const int missing = run.stream("pattern", "video")["notWritten"].toInt();
    EXPECT_THAT(run.report["errors"].toArray().first().toString().toStdString(),
                testing::MatchesRegex("cannot write .*: No space left on device; " + std::to_string(missing) +
                                      " frames are missing"));
    EXPECT_THAT(run.output, HasSubstr("\nerror      cannot write "));
}
#endif
