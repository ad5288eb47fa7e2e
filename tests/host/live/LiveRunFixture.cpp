#include "LiveRunFixture.h"

#include <algorithm>

#include "Loopback.h"

namespace {

constexpr int leastFrames = 8 * 25;
constexpr char patternGraph[] = "testsrc2=size=160x120:rate=25,format=yuv420p";

std::vector<std::string> patternFrames(std::size_t count)
{
    const auto text = FfmpegTool::run(
        {"-f", "lavfi", "-i", patternGraph, "-frames:v", QString::number(count), "-f", "framemd5", "-"});
    return ToolFrames::hashes(text.value_or(QByteArray()));
}

} // namespace

QStringList LiveRunFixture::withNeighbours(const QStringList &more)
{
    _file = generate("steady.mp4", "-f lavfi -i testsrc2=size=320x240:rate=25:duration=12 -f lavfi -i "
                                   "sine=frequency=700:sample_rate=48000:duration=12 -pix_fmt yuv420p");
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    _server = ServerProcess::rtsp(camera(), port);
    // A machine that is busy otherwise may hold up a stream, which then is not to lose anything.
    return QStringList{"--paced",
                       "--max-latency",
                       "5000",
                       "--output",
                       "framemd5:" + path("out"),
                       _file,
                       QStringLiteral("well=rtsp://127.0.0.1:%1/live").arg(port),
                       QStringLiteral("pattern=lavfi:") + patternGraph} +
           more;
}

bool LiveRunFixture::neighboursRun(LiveHost &host)
{
    return host.until([&host] {
        const std::vector<LiveHost::Row> rows = host.list();
        return std::count_if(rows.begin(), rows.end(), [](const LiveHost::Row &row) {
                   return row.frames > 0 &&
                          (row.input == "steady.mp4" || row.input == "well" || row.input == "pattern");
               }) == 4; // the file has sound, too
    });
}

bool LiveRunFixture::fileEnds(LiveHost &host)
{
    return host.until([&host] { return host.row("steady.mp4").state == "ended"; });
}

void LiveRunFixture::expectNeighboursUntouched(const HostRun &run)
{
    expectFramesOfTool(run, {_file}, path("out"));
    expectFirstFrames(run, "well", cameraFrames());
    expectFirstFrames(run, "pattern", patternFrames(decoded("pattern").size()));
}

void LiveRunFixture::expectFirstFrames(const HostRun &run, const std::string &name,
                                       const std::vector<std::string> &expected) const
{
    SCOPED_TRACE(name);
    const std::vector<std::string> frames = decoded(name);
    EXPECT_GE(frames.size(), std::size_t(leastFrames));
    ASSERT_LE(frames.size(), expected.size());
    EXPECT_TRUE(std::equal(frames.begin(), frames.end(), expected.begin())) << "a frame differs, or is missing";
    const QJsonObject stream = run.stream(name, "video");
    EXPECT_EQ(stream["frames"].toInt(), static_cast<int>(frames.size()));
    EXPECT_EQ(stream["lost"].toInt(-1), 0);
    EXPECT_EQ(run.input(name)["connections"].toInt(), 1);
}
