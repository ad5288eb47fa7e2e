#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>

#include "FickleServer.h"
#include "ReportSums.h"
#include "UnrestInput.h"
#include "UnrestOperators.h"
#include "fakes/HangGuard.h"
#include "fakes/TestSeed.h"
#include "host/decode/Damage.h"
#include "host/live/LiveRunFixture.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

seconds unrestTime()
{
    bool isNumber = false;
    const int given = qEnvironmentVariableIntValue("DECODING_UNREST_SECONDS", &isNumber);
    return std::max(seconds(isNumber ? given : 24), seconds(20));
}

constexpr SentInput::Kind datagrams{"udp", SOCK_DGRAM, "udp://127.0.0.1:%1", "mpegts",
                                    "udp://127.0.0.1:%1?pkt_size=1316"};
constexpr SentInput::Kind rtp{"rtp", SOCK_DGRAM, "rtp://127.0.0.1:%1", "rtp_mpegts",
                              "rtp://127.0.0.1:%1?pkt_size=1316"};
constexpr SentInput::Kind srt{"srt", SOCK_DGRAM, "srt://127.0.0.1:%1", "mpegts", "srt://127.0.0.1:%1?mode=listener"};
constexpr SentInput::Kind srtCalled{"srt-called", SOCK_DGRAM, "srt://127.0.0.1:%1?mode=listener", "mpegts",
                                    "srt://127.0.0.1:%1"};
constexpr SentInput::Kind rtmp{
    "rtmp", SOCK_STREAM, "rtmp://127.0.0.1:%1/live/key", "flv", "rtmp://127.0.0.1:%1/live/key", "-listen 1"};
constexpr SentInput::Kind tcp{"tcp", SOCK_STREAM, "tcp://127.0.0.1:%1", "mpegts", "tcp://127.0.0.1:%1?listen"};
constexpr SentInput::Kind tcpCalled{"tcp-called", SOCK_STREAM, "tcp://127.0.0.1:%1?listen", "mpegts",
                                    "tcp://127.0.0.1:%1"};
constexpr SentInput::Kind rtsp{"rtsp", SOCK_STREAM, "rtsp://127.0.0.1:%1/live", nullptr, ""};

/// Has programs that this one starts give memory back as soon as they free it, so that what they hold is what they have
/// not freed.
class PromptMemory final {
public:
    PromptMemory() { qputenv(name, "glibc.malloc.mmap_threshold=16384:glibc.malloc.trim_threshold=65536"); }
    ~PromptMemory() { qunsetenv(name); }
    Q_DISABLE_COPY(PromptMemory)

private:
    static constexpr char name[] = "GLIBC_TUNABLES";
};

/// Sixty inputs that fail in every way, added and removed by many at once, beside neighbours that must not notice. For
/// as long as DECODING_UNREST_SECONDS says.
class Unrest : public LiveRunFixture {
protected:
    static constexpr int inputCount = 60;

    Unrest()
        : LiveRunFixture(static_cast<int>(unrestTime().count()))
    {
        EXPECT_TRUE(QDir().mkpath(path("out")));
        addSent(datagrams, 8);
        addSent(rtp, 5);
        addSent(srt, 4);
        addSent(srtCalled, 2);
        addSent(rtmp, 4);
        addSent(tcp, 4);
        addSent(tcpCalled, 3);
        addSent(rtsp, 3);
        for (int number = 0; number < 10; ++number)
            add<UnrestInput>("fickle" + std::to_string(number), _fickle->url());
        addUnread();
        addFiles();
        for (const char *const graph : {"testsrc2=size=64x48:rate=100", "sine", "nothing=of=this"})
            add<UnrestInput>("graph" + std::to_string(_inputs.size()), QStringLiteral("lavfi:") + graph);
        while (_inputs.size() < inputCount)
            add<UnrestInput>("nobody" + std::to_string(_inputs.size()),
                             QStringLiteral("tcp://127.0.0.1:%1").arg(Loopback::freePort(SOCK_STREAM)));
    }

    std::vector<UnrestOperators::Target> targets() const
    {
        std::vector<UnrestOperators::Target> targets;
        for (const auto &input : _inputs) {
            const bool isKept = targets.size() % 5 == 0 || input->name().find("unread") == 0;
            targets.push_back({input->name(), input->url().toStdString(), isKept});
        }
        return targets;
    }

    QStringList arguments() const
    {
        QStringList arguments;
        for (const auto &input : _inputs) {
            const bool isFile = input->url().startsWith('/');
            arguments << (isFile ? input->url() : QString::fromStdString(input->name()) + '=' + input->url());
        }
        return arguments;
    }

    /// Disturbs one after the other until @p isOver, or the host is.
    template <class Condition>
    void rage(LiveHost &host, UnrestOperators &operators, Condition isOver)
    {
        operators.begin();
        for (int turn = 0; host.isRunning() && !isOver(); ++turn) {
            _chance.of(_inputs)->disturb(_chance);
            host.watch(milliseconds(120));
            if (turn % 8 == 0)
                expectGrowth(host, operators);
        }
        operators.end();
        _latest.clear();
    }

    /// Fails when a count of an input that nobody removes has become less.
    void expectGrowth(const LiveHost &host, const UnrestOperators &operators)
    {
        for (const LiveHost::Row &row : host.list()) {
            if (!operators.isKept(row.input))
                continue;
            SCOPED_TRACE(row.input + ' ' + row.kind);
            LiveHost::Row &before = _latest[row.input + ' ' + row.kind];
            EXPECT_GE(row.frames, before.frames);
            EXPECT_GE(row.lost, before.lost);
            EXPECT_GE(row.dropped, before.dropped);
            EXPECT_GE(row.damaged, before.damaged);
            EXPECT_GE(row.notWritten, before.notWritten);
            EXPECT_GE(row.connections, before.connections);
            before = row;
        }
    }

    void renewInputs()
    {
        for (const auto &input : _inputs)
            input->renew();
    }

    /// What the host holds once nothing but the neighbours is left, which must not be more than the time before.
    void expectNothingHeld(LiveHost &host)
    {
        EXPECT_EQ(host.status()["inputs"], "3");
        LiveHost::Holdings held = host.holdings();
        if (!_heldBefore) {
            host.watch(seconds(3));
            _heldBefore = held = host.holdings();
        }
        EXPECT_TRUE(host.until([&] {
            held = host.holdings();
            return held.descriptors <= _heldBefore->descriptors && held.threads <= _heldBefore->threads + spareThreads;
        })) << held.descriptors
            << " descriptors after " << _heldBefore->descriptors << ", " << held.threads << " threads after "
            << _heldBefore->threads;
        std::printf("without them: %d descriptors, %d threads, %.1f MB\n", held.descriptors, held.threads,
                    static_cast<double>(held.residentBytes) / 1e6);
        std::fflush(stdout);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what is freed
        EXPECT_LT(held.residentBytes, _heldBefore->residentBytes + memoryLimit);
#endif
    }

    static void expectNoChildren(qint64 process)
    {
        const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
        for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            EXPECT_EQ(read(threads.filePath(thread + "/children")).toStdString(), "");
    }

    /// Files of outputs, and no others.
    void expectNoOtherFiles(const LiveHost &host) const
    {
        EXPECT_FALSE(QFile::exists(QString::fromStdString(host.socket())));
        EXPECT_FALSE(QFile::exists(QString::fromStdString(host.socket() + ".lock")));
        for (const QString &name : QDir(path("out")).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
            EXPECT_TRUE(name.endsWith(".framemd5")) << name.toStdString();
    }

    std::uint64_t seed() const
    {
        return _seed;
    }

private:
    static constexpr int spareThreads = 6; // of pools, which begin theirs when there is much to do
    static constexpr qint64 memoryLimit = 48'000'000;

    template <class Input, class... Arguments>
    void add(Arguments &&...arguments)
    {
        _inputs.push_back(std::make_unique<Input>(std::forward<Arguments>(arguments)...));
    }

    void addSent(const SentInput::Kind &kind, int count)
    {
        for (int number = 0; number < count; ++number)
            add<SentInput>(kind, number, kind.muxer ? _clips : QStringList(_clips.mid(0, 2)));
    }

    void addUnread()
    {
        const QString graph = QStringLiteral("lavfi:testsrc2=size=64x64:rate=250,format=yuv420p");
        for (const char *const name : {"unread0", "unread1", "unread2"})
            add<UnreadInput>(name, graph, path("out"));
        // Without a suffix, so that its output has its whole name.
        add<UnreadInput>("unread3", write("unread3", read(sample("tree.avi"))), path("out"));
    }

    void addFiles()
    {
        Damage damage(static_cast<quint32>(_seed));
        for (const char *const name : {"cup.mp4", "box.mp4", "tree.avi"}) {
            const QByteArray whole = read(sample(name));
            addFile(write(QStringLiteral("damaged-") + name, damage.any(whole)));
            addFile(write(QStringLiteral("cut-") + name, whole.left(whole.size() / 2)));
        }
        addFile(path("missing.mp4"));
        addFile(write("empty.mp4", QByteArray()));
        for (const QString &file : mediaFiles()) {
            if (file.endsWith("truncated_corrupted.mp4") || file.endsWith("BA_MW_D_P_LOST.264"))
                addFile(file);
        }
    }

    void addFile(const QString &file)
    {
        add<UnrestInput>(QFileInfo(file).fileName().toStdString(), file);
    }

    QString clip(const char *name, const char *size, const char *options) const
    {
        return generate(QLatin1String(name), QByteArray("-f lavfi -i testsrc2=size=") + size +
                                                 ":rate=25:duration=10 -f lavfi -i sine=duration=10 -pix_fmt yuv420p "
                                                 "-bf 0 -g 25 " +
                                                 options);
    }

    QByteArray broadcast(const QString &clip) const
    {
        return FfmpegTool::run({"-i", clip, "-c", "copy", "-f", "mpegts", "-"}).value_or(QByteArray());
    }

    const std::uint64_t _seed = testSeed();
    Chance _chance{_seed};
    const QStringList _clips{
        clip("small.mp4", "160x120", "-c:v libx264 -preset ultrafast -an"),
        clip("larger.mp4", "176x144", "-c:v libx264 -preset ultrafast -c:a aac"),
        clip("hevc.mp4", "160x120", "-c:v libx265 -preset ultrafast -x265-params log-level=none -an"),
        clip("mpeg2.mp4", "176x144", "-c:v mpeg2video -c:a mp2"),
    };
    const std::unique_ptr<FickleServer> _fickle = std::make_unique<FickleServer>(
        std::vector<QByteArray>{broadcast(_clips[0]), broadcast(_clips[1]), broadcast(_clips[3])}, _seed + 1);
    std::vector<std::unique_ptr<UnrestInput>> _inputs;
    std::map<std::string, LiveHost::Row> _latest;
    std::optional<LiveHost::Holdings> _heldBefore;
    const HangGuard _hangGuard{"The unrest", unrestTime() + seconds(240)};
};

} // namespace

TEST_F(Unrest, CostsTheHealthyNothingAndLeavesNothingBehind)
{
    const auto time = unrestTime();
    const int rounds = std::max(2, static_cast<int>(time.count() / 60));
    auto memory = std::make_unique<PromptMemory>();
    LiveHost host(withNeighbours(arguments()));
    memory = nullptr;
    ASSERT_TRUE(neighboursRun(host));
    UnrestOperators operators(host.socket(), targets(), seed() + 2);
    for (int round = 0; round < rounds; ++round) {
        const auto end = LiveHost::Clock::now() + time / (rounds + 2);
        rage(host, operators, [end] { return LiveHost::Clock::now() > end; });
        operators.removeAll();
        expectNothingHeld(host);
        renewInputs();
    }
    const auto end = LiveHost::Clock::now() + seconds(8);
    rage(host, operators, [&] { return LiveHost::Clock::now() > end && host.row("steady.mp4").state == "ended"; });
    expectNoChildren(host.processId());
    const HostRun run = host.quit();
    std::printf("%d requests done, %d refused; %d inputs at the end, %.1f MB and %.2f cores\n", operators.done(),
                operators.refused(), static_cast<int>(run.inputs().size()),
                run.totals()["peakMemoryBytes"].toDouble() / 1e6,
                run.totals()["cpuTimeMs"].toDouble() / run.totals()["wallTimeMs"].toDouble());
    EXPECT_GT(operators.done(), 20);
    EXPECT_GT(run.inputs().size(), 20);
    ReportSums::expectRight(run, path("out"));
    run.expectNothingLeft();
    expectNoOtherFiles(host);
    expectNeighboursUntouched(run);
}
