#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <functional>
#include <optional>
#include <termios.h>
#include <thread>

#include "DecodeFixture.h"
#include "WakeUps.h"
#include "fakes/WaitUntil.h"
#include "host/terminal/PseudoTerminal.h"
#include <gmock/gmock.h>

namespace {

/// Interrupts the host in the middle of a clip that takes eight seconds.
class Interrupt : public DecodeFixture {
protected:
    HostRun interruptedRun(int signal, const QStringList &options)
    {
        return interruptedRun(options, [signal](pid_t process) { kill(process, signal); });
    }
    /// @param last whose pictures come last, by the name of its output.
    HostRun interruptedRun(const QStringList &options, const std::function<void(pid_t process)> &interrupt,
                           const char *last = "cup")
    {
        const QString file = path(QStringLiteral("out/%1.video.raw").arg(last));
        QFile::remove(file);
        return HostRun::decode(QStringList{"--paced", "--output", "raw:" + path("out"), sample("cup.mp4")} + options,
                               std::chrono::seconds(60), [&](qint64 process) {
                                   EXPECT_TRUE(waitUntil([&] { return QFileInfo(file).size() > 0; }));
                                   interrupt(static_cast<pid_t>(process));
                               });
    }
};

} // namespace

TEST_F(Interrupt, EndsARunWithAReportAndNothingLeft)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        const HostRun run = interruptedRun(signal, {});
        EXPECT_EQ(run.exitCode, 130);
        EXPECT_THAT(run.errors, testing::IsEmpty());
        EXPECT_TRUE(run.report["interrupted"].toBool());
        run.expectNothingLeft();
        EXPECT_LT(run.totals()["wallTimeMs"].toInt(), 7000);

        // What is there is what was decoded until then.
        const int frames = run.stream("cup.mp4", "video")["frames"].toInt();
        EXPECT_GT(frames, 0);
        EXPECT_LT(frames, 217);
        EXPECT_EQ(QFileInfo(path("out/cup.video.raw")).size(), frames * 640LL * 480 * 3 / 2);
    }
}

#if defined(Q_OS_LINUX)
TEST_F(Interrupt, IsShownByTheExitCodeThoughTheReportCannotBeWritten)
{
    const HostRun run = interruptedRun(SIGINT, {"--json", "/dev/full"});
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_THAT(run.errors, testing::ElementsAre(testing::HasSubstr("cannot write /dev/full: ")));
}
#endif

TEST_F(Interrupt, EndsARunInOrderWhenItsSessionEndsThoughTheSignalComesMoreThanOnce)
{
    struct sigaction present = {};
    sigaction(SIGHUP, nullptr, &present);
    if (present.sa_handler == SIG_IGN)
        GTEST_SKIP() << "the tests were started so that the end of the session is ignored";
    const HostRun run = interruptedRun({}, [](pid_t process) {
        int signals = 0;
        EXPECT_TRUE(waitUntil([&] { return kill(process, SIGHUP) == 0 && ++signals == 3; }));
    });
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_TRUE(run.report["interrupted"].toBool());
    run.expectNothingLeft();
}

TEST_F(Interrupt, EndsARunThoughItsTerminalTakesNothing)
{
    PseudoTerminal terminal(80, 24);
    ASSERT_EQ(tcflow(terminal.file(), TCOOFF), 0); // as ^S
    const QString pictures = path("stopped/cup.video.raw");
    QProcess process;
    process.setStandardErrorFile(QString::fromLocal8Bit(ttyname(terminal.file()))); // NOLINT(concurrency-mt-unsafe)
    process.start(QStringLiteral(HOST_FILE),
                  {"decode", "--paced", "--output", "raw:" + path("stopped"), sample("cup.mp4")});
    ASSERT_TRUE(process.waitForStarted());
    // Decoding goes on beside the progress, which was to be drawn long before the second second.
    EXPECT_TRUE(waitUntil([&] { return QFileInfo(pictures).size() > 640 * 480 * 3 / 2 * 25; }));
    kill(static_cast<pid_t>(process.processId()), SIGINT);
    EXPECT_TRUE(process.waitForFinished(20000));
    EXPECT_EQ(process.exitCode(), 130);
    EXPECT_THAT(process.readAllStandardOutput().toStdString(), testing::HasSubstr("left       nothing"));
}

TEST_F(Interrupt, DoesNotWaitForOutputsThatAreSlowerThanTheDecoding)
{
    // Each frame of 40 inputs becomes a picture file, which keeps the writers busy for minutes.
    const QString folder = path("pictures");
    const auto pictureCount = [&] { return QDir(folder).entryList({"*.png"}).size(); };
    const HostRun run = HostRun::decode({"--copies", "40", "--output", "png@0.001:" + folder, sample("box.mp4")},
                                        std::chrono::seconds(60), [&](qint64 process) {
                                            EXPECT_TRUE(waitUntil([&] { return pictureCount() > 0; }));
                                            kill(static_cast<pid_t>(process), SIGINT);
                                        });
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_THAT(run.errors, testing::IsEmpty());
    EXPECT_TRUE(run.report["interrupted"].toBool());
    EXPECT_EQ(run.inputs().size(), 40);
    run.expectNothingLeft();
}

TEST_F(Interrupt, EndsARunSoonThoughItsBurstsAreLong)
{
    // As many pictures of the clip as wait in its queue take longer than a run may take to end.
    const QString clip = generate("long.mp4", "-f lavfi -i testsrc2=size=3840x2160:rate=25:duration=3 -pix_fmt yuv420p "
                                              "-c:v libx264 -preset ultrafast -bf 0 -g 1000 -b:v 2M");
    for (const int beforeMs : {1000, 1200, 1400, 1600}) {
        std::optional<WakeUps> wakeUps; // while the run ends
        std::chrono::steady_clock::time_point interrupted;
        const HostRun run = HostRun::decode(
            {"--burst", "1000", "--repeat", "100", "--threads", "3", "--copies", "3", "--output", "null", clip},
            std::chrono::seconds(60), [&](qint64 process) {
                std::this_thread::sleep_for(std::chrono::milliseconds(beforeMs));
                wakeUps.emplace();
                interrupted = std::chrono::steady_clock::now();
                kill(static_cast<pid_t>(process), SIGINT);
            });
        const auto took = std::chrono::steady_clock::now() - interrupted;
        EXPECT_EQ(run.exitCode, 130);
        run.expectNothingLeft();
        EXPECT_LT(took, std::chrono::milliseconds(300) + 4 * wakeUps->end());
    }
}

TEST_F(Interrupt, StopsWhateverNumberOfInputs)
{
    const HostRun run = interruptedRun(
        {"--copies", "20"}, [](pid_t process) { kill(process, SIGINT); }, "cup-20");
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_EQ(run.inputs().size(), 20);
    for (const QJsonValue &input : run.inputs())
        EXPECT_LT(run.stream(input["name"].toString().toStdString(), "video")["frames"].toInt(), 217);
    run.expectNothingLeft();
    EXPECT_LT(run.totals()["wallTimeMs"].toInt(), 7000);
}
