#include <QDir>
#include <QFile>

#include <algorithm>
#include <csignal>

#include "LiveHost.h"
#include "fakes/WaitUntil.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Hosts with more files than are decoded at the same time.
class FilesInTurn : public DecodeFixture {
protected:
    /// @return what it holds at most of the system, beyond what it holds in the end, until all of its files have ended.
    static LiveHost::Holdings peakOf(LiveHost &host)
    {
        LiveHost::Holdings peak;
        EXPECT_TRUE(host.until([&] {
            const LiveHost::Holdings now = host.holdings();
            peak.descriptors = std::max(peak.descriptors, now.descriptors);
            peak.threads = std::max(peak.threads, now.threads);
            const std::vector<LiveHost::Row> rows = host.list();
            return std::all_of(rows.begin(), rows.end(), [](const auto &row) { return row.state == "ended"; });
        }));
        const LiveHost::Holdings last = host.holdings();
        return {peak.descriptors - last.descriptors, peak.threads - last.threads};
    }
    QStringList manyFiles(int count) const
    {
        QStringList arguments{"--threads", "2", "--output", "framemd5:" + path("out"), "--copies"};
        return arguments << QString::number(count) << sample("tree.avi");
    }
};

} // namespace

TEST_F(FilesInTurn, HoldAsMuchAsThoseThatAreDecodedAtTheSameTime)
{
    LiveHost host(manyFiles(60) << QStringLiteral("--at-once") << QStringLiteral("3"));
    const LiveHost::Holdings peak = peakOf(host);
    // A file has a descriptor, its output another one, and its source a thread; others come and go with all files.
    EXPECT_LE(peak.descriptors, 3 * 2 + 8);
    EXPECT_LE(peak.threads, 3 + 12);
    const HostRun run = host.quit();
    run.expectSuccess();
    expectFramesOfTool(run, {sample("tree.avi")}, path("out"), 60);
}

TEST_F(FilesInTurn, AreSoManyThatTheDecoderThreadsAreBusy)
{
    LiveHost host(manyFiles(100));
    const LiveHost::Holdings peak = peakOf(host);
    EXPECT_LE(peak.descriptors, 16 * 2 + 8);
    EXPECT_LE(peak.threads, 16 + 12);
    const HostRun run = host.quit();
    run.expectSuccess();
    expectFramesOfTool(run, {sample("tree.avi")}, path("out"), 100);
}

TEST_F(FilesInTurn, EndWithACompleteReportThoughTheyWait)
{
    const QStringList options{"--at-once", "1", "--repeat", "100000", "--output", "framemd5:" + path("out")};
    const QString file = path("out/tree.video.framemd5");
    const HostRun run = HostRun::decode(options + QStringList{sample("tree.avi"), sample("box.mp4"), sample("cup.mp4")},
                                        std::chrono::seconds(30), [&](qint64 process) {
                                            EXPECT_TRUE(waitUntil([&] { return QFile(file).size() > 0; }));
                                            kill(static_cast<pid_t>(process), SIGINT);
                                        });
    EXPECT_EQ(run.exitCode, 130);
    EXPECT_THAT(run.errors, IsEmpty());
    ASSERT_EQ(run.inputs().size(), 3);
    EXPECT_GT(run.stream("tree.avi", "video")["frames"].toInt(), 0);
    for (const char *const name : {"box.mp4", "cup.mp4"}) {
        EXPECT_EQ(run.input(name)["state"].toString().toStdString(), "ended");
        EXPECT_EQ(run.input(name)["packets"].toInt(-1), 0);
    }
    EXPECT_EQ(QDir(path("out")).entryList(QDir::Files), QStringList{"tree.video.framemd5"});
    run.expectNothingLeft();
}

TEST_F(FilesInTurn, AreSeenAndTakenAwayWhileTheyWait)
{
    LiveHost host({"--at-once", "1", "--repeat", "100000", sample("tree.avi")});
    ASSERT_TRUE(host.until([&] { return host.row("tree.avi").state == "running"; }));
    const std::string file = sample("box.mp4").toStdString();
    EXPECT_THAT(host.request({"add", file, "second"}), ElementsAre("second"));
    EXPECT_THAT(host.request({"add", file, "third"}), ElementsAre("third"));
    EXPECT_EQ(host.row("second", "").state, "queued");
    EXPECT_TRUE(host.shows("name=\"?third\"? state=queued unwell=no"));
    host.request({"remove", "second"});
    host.request({"remove", "tree.avi"});
    EXPECT_TRUE(host.until([&] { return host.row("third").state == "running"; }));
    host.quit().expectNothingLeft();
}
