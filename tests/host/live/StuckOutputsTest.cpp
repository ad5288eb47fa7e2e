#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include "LiveRunFixture.h"
#include "fakes/WaitUntil.h"
#include "host/control/RawClient.h"
#include "host/decode/WakeUps.h"
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using testing::Contains;
using testing::HasSubstr;

/// A live input whose output takes nothing, beside others that must not notice.
class StuckOutputs : public LiveRunFixture {
protected:
    StuckOutputs() { EXPECT_EQ(::mkdir(qUtf8Printable(path("out")), 0700), 0); }
    ~StuckOutputs() override { closeReader(); }

    /// Fast, so that little time fills a pipe.
    static QString fast(const char *name)
    {
        return QString::fromLatin1(name) + "=lavfi:testsrc2=size=64x64:rate=250,format=yuv420p";
    }
    QString output(const char *name) const { return path(QStringLiteral("out/%1.video.framemd5").arg(name)); }
    void makePipe(const char *name) const { EXPECT_EQ(::mkfifo(qUtf8Printable(output(name)), 0600), 0); }
    /// Opens the pipe, which holds little, and reads nothing.
    void openReader(const char *name)
    {
        _reader = ::open(qUtf8Printable(output(name)), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(_reader, 0);
        EXPECT_GE(::fcntl(_reader, F_SETPIPE_SZ, 4096), 0);
    }
    void closeReader()
    {
        if (_reader >= 0)
            ::close(std::exchange(_reader, -1));
    }

    /// @return a playlist of two parts of two seconds, the second of which hangs when it is opened.
    QString makeHangingPlaylist() const
    {
        EXPECT_EQ(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x64:duration=2",
                                               "-c:v", "mpeg2video", path("0.ts")}),
                  0);
        EXPECT_TRUE(QFile::copy(path("0.ts"), path("cannot-open.ts")));
        QFile list(path("list.m3u8"));
        EXPECT_TRUE(list.open(QIODevice::WriteOnly));
        list.write("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n"
                   "#EXTINF:2,\n0.ts\n#EXTINF:2,\ncannot-open.ts\n");
        return list.fileName();
    }

    static bool drops(LiveHost &host, const char *name)
    {
        return host.until([&] { return host.row(name).dropped > 0; });
    }
    /// Its decoder goes on, whatever the output does.
    static bool goesOn(LiveHost &host, const char *name)
    {
        const qint64 frames = host.row(name).frames;
        return host.until([&] { return host.row(name).frames > frames + 100; });
    }
    std::string loss(const char *name) const { return output(name).toStdString() + " did not take its last "; }

    /// Does what should take less than a second.
    template <class Action>
    static void promptly(Action action)
    {
        const auto begin = LiveHost::Clock::now();
        WakeUps wakeUps;
        action();
        const auto late = wakeUps.end();
        const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(LiveHost::Clock::now() - begin);
        EXPECT_LT(took.count(), 1000 + 4 * late.count()) << "ms";
    }

private:
    int _reader = -1;
};

/// Has programs that this one starts meet a disk that hangs.
class HangingDisk final {
public:
    HangingDisk()
    {
        qputenv("LD_PRELOAD", HANGING_DISK_FILE);
        // The sanitizer wants to be the first, and need not be.
        qputenv("ASAN_OPTIONS", _sanitizer + ":verify_asan_link_order=0");
    }
    ~HangingDisk()
    {
        qunsetenv("LD_PRELOAD");
        qputenv("ASAN_OPTIONS", _sanitizer);
    }
    Q_DISABLE_COPY(HangingDisk)

private:
    const QByteArray _sanitizer = qgetenv("ASAN_OPTIONS");
};

} // namespace

TEST_F(StuckOutputs, APipeThatNobodyReadsCostsItsStreamFramesOfThatOutputAlone)
{
    makePipe("unread");
    makePipe("paused");
    LiveHost host(withNeighbours({fast("unread"), fast("paused")}));
    ASSERT_TRUE(neighboursRun(host));
    openReader("paused");
    EXPECT_TRUE(drops(host, "unread"));
    EXPECT_TRUE(drops(host, "paused"));
    EXPECT_TRUE(goesOn(host, "unread"));
    EXPECT_TRUE(goesOn(host, "paused"));
    EXPECT_EQ(host.row("unread").lost, 0);
    promptly([&] { host.request({"remove", "unread"}); });
    EXPECT_THAT(host.request({"list"}), testing::Not(Contains(HasSubstr("unread"))));
    ASSERT_TRUE(fileEnds(host));

    HostRun run;
    promptly([&] { run = host.quit(); });
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, Contains(HasSubstr(loss("unread"))));
    EXPECT_THAT(run.errors, Contains(HasSubstr(loss("paused"))).Times(1));
    const QJsonObject paused = run.stream("paused", "video")["outputs"].toArray()[0].toObject();
    EXPECT_GT(paused["dropped"].toInt(), 0);
    EXPECT_THAT(paused["error"].toString().toStdString(), HasSubstr(loss("paused")));
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(host.socket())));
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
}

TEST_F(StuckOutputs, AReaderThatClosesItsPipeCostsThatOutputAlone)
{
    makePipe("closed");
    LiveHost host(withNeighbours({fast("closed")}));
    openReader("closed");
    ASSERT_TRUE(neighboursRun(host));
    EXPECT_TRUE(host.until([&] { return host.row("closed").frames > 0; }));
    closeReader();
    EXPECT_TRUE(goesOn(host, "closed"));
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 1);
    const std::string error = "cannot write " + output("closed").toStdString() + ": its reader has closed it";
    EXPECT_THAT(run.errors, Contains(testing::EndsWith(": " + error)));
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
}

TEST_F(StuckOutputs, ADiskThatHangsIsLeftBehind)
{
    const HangingDisk disk;
    LiveHost host(withNeighbours({fast("cannot-open"), fast("cannot-write")}));
    ASSERT_TRUE(neighboursRun(host));
    EXPECT_TRUE(drops(host, "cannot-open"));
    EXPECT_TRUE(drops(host, "cannot-write"));
    EXPECT_TRUE(goesOn(host, "cannot-open"));
    ASSERT_TRUE(fileEnds(host));
    HostRun run;
    promptly([&] {
        kill(static_cast<pid_t>(host.processId()), SIGINT);
        run = host.end();
    });
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_THAT(run.errors, Contains(HasSubstr(loss("cannot-open"))));
    EXPECT_THAT(run.errors, Contains(HasSubstr(loss("cannot-write"))));
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(host.socket())));
    expectNeighboursUntouched(run);
}

TEST_F(StuckOutputs, AnInputOnADiskThatHangsIsLeftBehind)
{
    const HangingDisk disk;
    ASSERT_TRUE(QFile::copy(sample("tree.avi"), path("cannot-open.avi")));
    LiveHost host({fast("well"), path("cannot-stat.mp4")});
    RawClient client(host.socket());
    client.send("add " + path("cannot-open.avi").toStdString() + '\n');
    EXPECT_TRUE(goesOn(host, "well"));
    EXPECT_EQ(host.row("cannot-stat.mp4", "").state, "connecting");
    EXPECT_EQ(host.row("cannot-open.avi", "").state, "connecting");
    host.request({"add", sample("tree.avi").toStdString()});
    EXPECT_TRUE(host.until([&] { return host.row("tree.avi").state == "ended"; }));
    host.request({"remove", "cannot-stat.mp4"});
    host.quit().expectNothingLeft();
}

TEST_F(StuckOutputs, InputsOnADiskThatHangsLetNoOutputBeWrittenOverAnInput)
{
    for (const char *const name : {"cannot-open1.avi", "cannot-open2.avi", "clip.avi"})
        ASSERT_TRUE(QFile::copy(sample("tree.avi"), path(name)));
    ASSERT_TRUE(QDir().mkpath(path("out")));
    const QString precious = write("out/clip.y4m", "precious");
    const HangingDisk disk;
    LiveHost host({"--output", "y4m:" + path("out"), path("cannot-open1.avi"), path("cannot-open2.avi"),
                   path("clip.avi"), precious});
    EXPECT_TRUE(host.until([&] { return host.row("clip.avi", "").state == "failed"; }));
    EXPECT_THAT(host.quit().errors, Contains(HasSubstr("it is one of the inputs")));
    EXPECT_EQ(read(precious), "precious");
}

TEST_F(StuckOutputs, AnInputWhoseDiskHangsWhileItIsReadIsLeftBehind)
{
    const QString file = path("cannot-read.y4m");
    ASSERT_EQ(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x64:duration=10",
                                           "-pix_fmt", "yuv420p", file}),
              0);
    const HangingDisk disk;
    QStringList arguments;
    for (int number = 0; number < 4; ++number)
        arguments.append(QStringLiteral("hanging%1=file://").arg(number) + file);
    LiveHost host(withNeighbours(arguments));
    ASSERT_TRUE(neighboursRun(host));
    constexpr int readable = (512 << 10) / (64 * 64 * 3 / 2) - 5;
    for (const char *const name : {"hanging0", "hanging1", "hanging2", "hanging3"})
        EXPECT_TRUE(host.until([&] { return host.row(name).frames >= readable; })) << name;
    promptly([&] {
        host.request({"remove", "hanging0"});
        EXPECT_TRUE(host.until([&] { return host.row("hanging0").input.empty(); }));
    });
    ASSERT_TRUE(fileEnds(host));
    HostRun run;
    promptly([&] {
        kill(static_cast<pid_t>(host.processId()), SIGINT);
        run = host.end();
    });
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_GE(run.stream("hanging1", "video")["frames"].toInt(), readable);
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
}

TEST_F(StuckOutputs, ALivePlaylistWhoseDiskHangsIsLeftBehind)
{
    const QString list = makeHangingPlaylist();
    const HangingDisk disk;
    LiveHost host({fast("well"), "removed=hls:" + list, "quit=hls:" + list});
    EXPECT_TRUE(host.until([&] { return host.row("removed").frames >= 45 && host.row("quit").frames >= 45; }));
    promptly([&] {
        host.request({"remove", "removed"});
        EXPECT_TRUE(host.until([&] { return host.row("removed").input.empty(); }));
    });
    EXPECT_TRUE(goesOn(host, "well"));
    HostRun run;
    promptly([&] { run = host.quit(); });
    EXPECT_GE(run.stream("quit", "video")["frames"].toInt(), 45);
    run.expectNothingLeft();
}

TEST_F(StuckOutputs, ADurationEndsALivePlaylistWhoseDiskHangs)
{
    const QString list = makeHangingPlaylist();
    const HangingDisk disk;
    const auto begin = LiveHost::Clock::now();
    WakeUps wakeUps;
    const HostRun run = HostRun::decode({"--duration", "5", "hls:" + list, fast("well")});
    const auto late = wakeUps.end();
    // As with outputs, and until somebody looks.
    EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::milliseconds(8000) + 4 * late);
    EXPECT_GE(run.stream("list.m3u8", "video")["frames"].toInt(), 45);
    run.expectNothingLeft();
}

TEST_F(StuckOutputs, ALivePlaylistThatCannotEvenBeOpenedHasFailed)
{
    ASSERT_FALSE(write("cannot-open.m3u8", "#EXTM3U\n").isEmpty());
    const HangingDisk disk;
    const HostRun run = HostRun::decode({"--duration", "1", "hls:" + path("cannot-open.m3u8"), fast("well")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, Contains(HasSubstr("cannot-open.m3u8: nothing came until the end")));
}

TEST_F(StuckOutputs, AControlSocketOnADiskThatHangsKeepsNoHostFromItsEnd)
{
    const HangingDisk disk;
    const QString socket = path("cannot-remove");
    QProcess host;
    host.start(QStringLiteral(HOST_FILE), {"decode", "--quiet", "--control", socket, fast("well")});
    EXPECT_TRUE(waitUntil([&] {
        return ControlClient::ask(socket.toStdString(), {"quit"}, deadline).outcome == ControlClient::Outcome::Done;
    }));
    EXPECT_TRUE(host.waitForFinished(10'000));
    EXPECT_EQ(host.exitCode(), 0) << host.readAllStandardError().toStdString();
}

TEST_F(StuckOutputs, AStandardOutputThatIsReadNoFurtherHoldsUpNothing)
{
    const QString pager = path("pager");
    ASSERT_EQ(::mkfifo(qUtf8Printable(pager), 0600), 0);
    const int reader = ::open(qUtf8Printable(pager), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const QByteArray page(4096, 'x');
    while (::write(reader, page.constData(), static_cast<std::size_t>(page.size())) > 0) {
    }
    const QString socket = path("socket");
    const auto ask = [&](const char *what) { return ControlClient::ask(socket.toStdString(), {what}, deadline); };
    QProcess host;
    host.setStandardOutputFile(pager, QIODevice::Append);
    host.start(QStringLiteral(HOST_FILE), {"decode", "--board", "always", "--control", socket, "--json",
                                           path("report.json"), "--output", "framemd5:" + path("out"), fast("well")});
    EXPECT_TRUE(waitUntil([&] {
        const ControlClient::Answer answer = ask("list");
        return answer.lines.size() == 1 && QString::fromStdString(answer.lines[0]).section('\t', 3, 3).toInt() > 100;
    }));
    promptly([&] {
        EXPECT_EQ(ask("quit").outcome, ControlClient::Outcome::Done);
        EXPECT_TRUE(host.waitForFinished(30000));
    });
    ::close(reader);
    EXPECT_EQ(host.exitCode(), 1);
    EXPECT_THAT(host.readAllStandardError().toStdString(), HasSubstr("cannot write to the standard output: "));
    EXPECT_THAT(read(path("report.json")).toStdString(), HasSubstr("\"well\""));
    EXPECT_FALSE(QFileInfo::exists(socket));
}

TEST_F(StuckOutputs, AHostThatStartsAgainKeepsWhatItRecorded)
{
    const auto record = [this](const QStringList &more) {
        const HostRun run = HostRun::decode(QStringList{"--duration", "0.5", "--output", "framemd5:" + path("out"),
                                                        fast("camera"), sample("tree.avi")} +
                                            more);
        run.expectSuccess();
        return run.stream("camera", "video")["frames"].toInt();
    };
    const auto framesIn = [this](const char *name) {
        return static_cast<int>(ToolFrames::hashes(read(output(name))).size());
    };
    const int first = record({});
    EXPECT_EQ(framesIn("camera"), first);
    const int second = record({});
    EXPECT_EQ(framesIn("camera"), first);
    EXPECT_EQ(framesIn("camera.part2"), second);
    const int third = record({"--overwrite"});
    EXPECT_EQ(framesIn("camera"), third);
    EXPECT_EQ(framesIn("camera.part2"), second);
    // A file's can be made again.
    EXPECT_GT(framesIn("tree"), 0);
    EXPECT_FALSE(QFileInfo::exists(output("tree.part2")));
}

TEST_F(StuckOutputs, ADurationEndsThemInTime)
{
    makePipe("unread");
    const auto begin = LiveHost::Clock::now();
    WakeUps wakeUps;
    const HostRun run =
        HostRun::decode({"--duration", "1", "--output", "framemd5:" + path("out"), fast("unread"), fast("well")});
    const auto late = wakeUps.end();
    // Half a second is what the program itself takes to begin and to end.
    EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::milliseconds(2500) + 4 * late);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, testing::ElementsAre(HasSubstr(loss("unread"))));
    run.expectNothingLeft();
}

TEST_F(StuckOutputs, AFileWaitsForTheReaderOfItsOutputAndNobodyElseDoes)
{
    makePipe("box");
    LiveHost host({"--output", "framemd5:" + path("out"), sample("box.mp4"), sample("cup.mp4"), sample("tree.avi")});
    EXPECT_TRUE(
        host.until([&] { return host.row("cup.mp4").state == "ended" && host.row("tree.avi").state == "ended"; }));
    EXPECT_EQ(host.row("box.mp4").state, "running");
    const int reader = ::open(qUtf8Printable(output("box")), O_RDONLY);
    ASSERT_GE(reader, 0);
    QByteArray frames;
    char piece[4096];
    while (const ssize_t size = ::read(reader, piece, sizeof piece))
        frames.append(piece, static_cast<int>(size));
    ::close(reader);
    EXPECT_TRUE(host.until([&] { return host.row("box.mp4").state == "ended"; }));
    const HostRun run = host.quit();
    run.expectSuccess();
    EXPECT_EQ(run.stream("box.mp4", "video")["outputs"].toArray()[0].toObject()["dropped"].toInt(-1), 0);
    EXPECT_GT(run.stream("box.mp4", "video")["waitedMs"].toInt(), 0);
    const QJsonArray streams = run.input("box.mp4")["streams"].toArray();
    EXPECT_TRUE(ToolFrames::hashes(frames) ==
                ToolFrames::hashes(ToolFrames::framemd5(sample("box.mp4"), streams, "video")));
    expectFramesOfTool(run, {sample("cup.mp4"), sample("tree.avi")}, path("out"));
}

TEST_F(StuckOutputs, AFileWhoseOutputNobodyReadsEndsWhenItIsRemoved)
{
    makePipe("box");
    LiveHost host({"--output", "framemd5:" + path("out"), sample("box.mp4"), sample("tree.avi")});
    ASSERT_TRUE(host.until([&] { return host.row("tree.avi").state == "ended" && host.row("box.mp4").frames > 0; }));
    promptly([&] { host.request({"remove", "box.mp4"}); });
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 1) << "though the input was removed";
    EXPECT_THAT(run.errors, Contains(HasSubstr(loss("box"))));
    EXPECT_THAT(run.report["errors"].toArray().first().toString().toStdString(), HasSubstr(loss("box")));
    run.expectNothingLeft();
    expectFramesOfTool(run, {sample("tree.avi")}, path("out"));
}
