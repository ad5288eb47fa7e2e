#include "LiveRunFixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "Loopback.h"

namespace {

/// So late may a frame be on a machine that is busy, in which threads are woken in time.
constexpr std::chrono::milliseconds latenessLimit(2500);
constexpr char patternGraph[] = "testsrc2=size=160x120:rate=25,format=yuv420p";

std::vector<std::string> patternFrames(std::size_t count)
{
    const auto text = FfmpegTool::run(
        {"-f", "lavfi", "-i", patternGraph, "-frames:v", QString::number(count), "-f", "framemd5", "-"});
    return ToolFrames::hashes(text.value_or(QByteArray()));
}

} // namespace

/// Makes a clip; a long one of a short one over and over, since that takes little time. Many tests want the same, and
/// each is a program of its own: so the first keeps it for the others. @param options in which %1 is its duration.
QString LiveRunFixture::pictures(const QString &name, int seconds, const char *options) const
{
    const QByteArray key = QCryptographicHash::hash(options, QCryptographicHash::Sha1).toHex();
    const QString kept = QStringLiteral(CLIPS_DIR "/%1-%2-%3").arg(QLatin1String(key)).arg(seconds).arg(name);
    if (QFile::copy(kept, path(name)))
        return path(name);
    const int pieceSeconds = std::min(seconds, 30);
    const QString all = QStringLiteral("-f lavfi -i testsrc2=size=320x240:rate=25:duration=%1 ") +
                        QLatin1String(options) + QStringLiteral(" -pix_fmt yuv420p");
    const QString piece = pieceSeconds == seconds ? name : "piece-of-" + name;
    generate(piece, all.arg(pieceSeconds).toUtf8());
    if (piece != name)
        generate(name, QStringLiteral("-stream_loop -1 -i %1 -c copy -t %2").arg(path(piece)).arg(seconds).toUtf8());
    // Under a name of its own, so that nobody finds a part of it.
    const QString whole = kept + '.' + QString::number(getpid());
    QDir().mkpath(QStringLiteral(CLIPS_DIR));
    if (!QFile::copy(path(name), whole) || !QFile::rename(whole, kept))
        QFile::remove(whole); // another one was faster
    return path(name);
}

QStringList LiveRunFixture::withNeighbours(const QStringList &more)
{
    _file = pictures("steady.mp4", _fileSeconds, "-f lavfi -i sine=frequency=700:sample_rate=48000:duration=%1");
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    _server = ServerProcess::rtsp(camera(), port);
    // A machine that is busy otherwise may hold up a stream, which then is not to lose anything.
    return QStringList{"--paced",
                       "--max-latency",
                       "20000",
                       "--output",
                       "framemd5:" + path("out"),
                       _file,
                       QStringLiteral("well=rtsp://127.0.0.1:%1/live").arg(port),
                       QStringLiteral("pattern=lavfi:") + patternGraph} +
           more;
}

bool LiveRunFixture::neighboursRun(LiveHost &host)
{
    const bool run = host.until([&host] {
        const std::vector<LiveHost::Row> rows = host.list();
        return std::count_if(rows.begin(), rows.end(), [](const LiveHost::Row &row) {
                   return row.frames > 0 &&
                          (row.input == "steady.mp4" || row.input == "well" || row.input == "pattern");
               }) == 4; // the file has sound, too
    });
    const std::string out = path("out/").toStdString();
    _outputs.emplace(std::vector<std::string>{out + "steady.video.framemd5", out + "steady.audio.framemd5",
                                              out + "well.video.framemd5", out + "pattern.video.framemd5"});
    _wakeUps.emplace();
    return run;
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
    expectInTime();
}

void LiveRunFixture::expectInTime()
{
    ASSERT_TRUE(_outputs.has_value()) << "the neighbours were not waited for";
    const auto late = _wakeUps->end();
    const auto limit = latenessLimit + 4 * late;
    const auto still = _outputs->end();
    std::printf("outputs stood still for up to %lld ms, on a machine that woke threads up to %lld ms late\n",
                static_cast<long long>(still.count()), static_cast<long long>(late.count()));
    EXPECT_LT(still.count(), limit.count());
}

void LiveRunFixture::expectFirstFrames(const HostRun &run, const std::string &name,
                                       const std::vector<std::string> &expected) const
{
    SCOPED_TRACE(name);
    const std::vector<std::string> frames = decoded(name);
    EXPECT_GE(frames.size(), static_cast<std::size_t>(_fileSeconds - 4) * 25);
    ASSERT_LE(frames.size(), expected.size());
    EXPECT_TRUE(std::equal(frames.begin(), frames.end(), expected.begin())) << "a frame differs, or is missing";
    const QJsonObject stream = run.stream(name, "video");
    EXPECT_EQ(stream["frames"].toInt(), static_cast<int>(frames.size()));
    EXPECT_EQ(stream["lost"].toInt(-1), 0);
    EXPECT_EQ(run.input(name)["connections"].toInt(), 1);
}
