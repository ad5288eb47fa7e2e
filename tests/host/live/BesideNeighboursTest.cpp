#include <QFile>

#include <termios.h>
#include <unistd.h>

#include "ByteServer.h"
#include "Flood.h"
#include "LiveRunFixture.h"
#include "Loopback.h"
#include "host/decode/Damage.h"
#include "host/terminal/PseudoTerminal.h"
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

class BesideNeighbours;

/// Something that goes wrong with an input called "troubled".
struct Trouble {
    const char *name;
    QString (BesideNeighbours::*begin)();           // has it about to go wrong; @return what the host is given
    void (BesideNeighbours::*pass)(LiveHost &host); // waits until it has, and has shown
};

void PrintTo(const Trouble &trouble, std::ostream *stream)
{
    *stream << trouble.name;
}

/// What is held off, beside neighbours that must not notice. The others of these troubles have tests with more to tell:
/// TroubledSource, RefusedSource, ChangingSource and StuckOutputs.
class BesideNeighbours : public LiveRunFixture, public testing::WithParamInterface<Trouble> {
public:
    BesideNeighbours()
        : LiveRunFixture(6)
    {
    }

    QString endingServer()
    {
        _server = std::make_unique<ByteServer>(std::vector<ByteServer::Script>{{_broadcast}});
        return "troubled=" + _server->url();
    }
    void isConnectedAgain(LiveHost &host)
    {
        EXPECT_TRUE(host.until([this] { return _server->clients() > 1; }));
        EXPECT_TRUE(tells(host, ": the source ended; reconnecting$"));
        EXPECT_GT(host.row("troubled").frames, 0);
    }

    QString pausedServer()
    {
        const quint16 port = Loopback::freePort(SOCK_STREAM);
        _other = ServerProcess::rtsp(camera(), port);
        return QStringLiteral("troubled=rtsp://127.0.0.1:%1/live").arg(port);
    }
    void isMissed(LiveHost &host)
    {
        EXPECT_TRUE(host.until([&] { return host.row("troubled").frames > 0; }));
        _other->pause();
        EXPECT_TRUE(tells(host, ": no packet for 5 s; reconnecting$"));
        EXPECT_EQ(stateOf(host), "waiting");
    }

    QString unknownPath() { return pausedServer() + "/of/nothing"; }
    void hasFailed(LiveHost &host)
    {
        EXPECT_TRUE(host.until([&] { return stateOf(host) == "failed"; }));
        EXPECT_TRUE(tells(host, "troubled: cannot be opened: "));
        EXPECT_THAT(host.messages("troubled: .*(trying|reconnecting)"), testing::IsEmpty());
    }

    QString senselessGraph() { return QStringLiteral("troubled=lavfi:nothing=of=this"); }
    QString senselessAddress() { return QStringLiteral("troubled=tcp://127.0.0.1"); } // without a port

    QString callers()
    {
        _port = Loopback::freePort(SOCK_STREAM);
        return QStringLiteral("troubled=tcp://127.0.0.1:%1?listen").arg(_port);
    }
    void takesTheNextOne(LiveHost &host)
    {
        for (int caller = 1; caller <= 2; ++caller) {
            const qint64 frames = host.row("troubled").frames;
            // One that calls while the port is not open yet is refused, and calls once more.
            EXPECT_TRUE(host.until([&] {
                if (!_other || !_other->isRunning())
                    _other = ServerProcess::transportStream(camera(), QStringLiteral("tcp://127.0.0.1:%1").arg(_port));
                return host.row("troubled").frames > frames + 10;
            }));
            _other->end();
            EXPECT_TRUE(host.until([&] { return stateOf(host) != "running"; }));
        }
        EXPECT_TRUE(tells(host, ": the source ended; reconnecting$"));
        EXPECT_TRUE(tells(host, ": delivers again after "));
    }

    QString flood()
    {
        _flood = std::make_unique<Flood>(SOCK_STREAM, Flood::noise());
        return QStringLiteral("troubled=tcp://127.0.0.1:%1").arg(_flood->port());
    }
    void isGivenUp(LiveHost &host)
    {
        EXPECT_TRUE(host.until([&] { return stateOf(host) == "waiting"; }));
        EXPECT_TRUE(tells(host, "troubled: .*; trying again$"));
        EXPECT_EQ(host.row("troubled", "").frames, 0);
    }

    /// Sends faster than anything decodes.
    QString hurriedServer()
    {
        _server = std::make_unique<ByteServer>(std::vector<ByteServer::Script>{{_broadcast.repeated(200), true}});
        return "troubled=" + _server->url();
    }
    void loses(LiveHost &host)
    {
        EXPECT_TRUE(host.until([&] { return host.row("troubled").lost > 1000; }));
        EXPECT_GT(host.row("troubled").frames, 0);
    }

    QString fullDisk()
    {
        EXPECT_EQ(::mkdir(qUtf8Printable(path("out")), 0700), 0);
        EXPECT_TRUE(QFile::link("/dev/full", path("out/troubled.video.framemd5")));
        return pattern();
    }
    void isTold(LiveHost &host)
    {
        EXPECT_TRUE(tells(host, "/troubled.video.framemd5: No space left on device$"));
        const LiveHost::Row row = host.row("troubled");
        EXPECT_TRUE(host.until([&] { return host.row("troubled").frames > row.frames + 25; }));
        EXPECT_GT(row.notWritten, 0);
    }

    QString stoppedTerminal()
    {
        EXPECT_EQ(tcflow(_pseudoTerminal.file(), TCOOFF), 0); // as ^S
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        _terminal.name = QString::fromLocal8Bit(ttyname(_pseudoTerminal.file()));
        return pattern();
    }
    QString stoppedTerminalWithKeys()
    {
        _terminal.hasKeys = true;
        return stoppedTerminal();
    }
    void goesOn(LiveHost &host)
    {
        EXPECT_TRUE(host.until([&] { return host.row("troubled").frames > 50; }));
    }

    QString damagedFile()
    {
        _file = "damaged.mp4";
        return write("damaged.mp4", Damage(20260101).flipBits(read(sample("cup.mp4")), 100, 20000));
    }
    QString truncatedMedia()
    {
        _file = "truncated_corrupted.mp4";
        return mediaFiles().filter(QLatin1String(_file)).value(0);
    }
    void isDecodedAsFarAsItGoes(LiveHost &host)
    {
        const auto row = [&] { return host.row(_file); };
        EXPECT_TRUE(host.until([&] { return row().state != "running" && row().frames > 0; }));
        EXPECT_EQ(row().state, "failed");
        EXPECT_GT(row().damaged, 0);
    }

protected:
    static QString pattern() { return QStringLiteral("troubled=lavfi:testsrc2=size=64x64:rate=25,format=yuv420p"); }
    static bool tells(LiveHost &host, const char *pattern)
    {
        return host.until([&] { return !host.messages(pattern).empty(); });
    }
    static std::string stateOf(const LiveHost &host)
    {
        for (const LiveHost::Row &row : host.list()) {
            if (row.input == "troubled")
                return row.state;
        }
        return std::string();
    }

    LiveHost::Terminal _terminal = {};

private:
    const QByteArray _broadcast =
        read(generate("two.ts", "-f lavfi -i testsrc2=size=160x120:rate=25:duration=2 -pix_fmt "
                                "yuv420p -c:v libx264 -preset veryfast -bf 0 -g 25"));
    std::unique_ptr<ByteServer> _server;
    std::unique_ptr<ServerProcess> _other;
    std::unique_ptr<Flood> _flood;
    const PseudoTerminal _pseudoTerminal{120, 40};
    quint16 _port = 0;
    const char *_file = "";
};

TEST_P(BesideNeighbours, CostsThemNothing)
{
    const QString input = (this->*GetParam().begin)();
    if (input.isEmpty())
        GTEST_SKIP() << noMediaFolder;
    LiveHost host(withNeighbours({input}), {}, _terminal);
    ASSERT_TRUE(neighboursRun(host));
    (this->*GetParam().pass)(host);
    ASSERT_TRUE(fileEnds(host));
    const HostRun run = host.quit();
    const bool isReportShown = _terminal.name.isEmpty();
    EXPECT_EQ(run.exitCode, run.report["errors"].toArray().isEmpty() && isReportShown ? 0 : 1);
    run.expectNothingLeft();
    expectNeighboursUntouched(run);
}

using Beside = BesideNeighbours;
INSTANTIATE_TEST_SUITE_P(
    Troubles, BesideNeighbours,
    testing::Values(Trouble{"AServerThatEnds", &Beside::endingServer, &Beside::isConnectedAgain},
                    Trouble{"AServerThatStopsInMidStream", &Beside::pausedServer, &Beside::isMissed},
                    Trouble{"APathThatItsServerDoesNotKnow", &Beside::unknownPath, &Beside::hasFailed},
                    Trouble{"AGraphThatMakesNoSense", &Beside::senselessGraph, &Beside::hasFailed},
                    Trouble{"AnAddressThatMakesNoSense", &Beside::senselessAddress, &Beside::hasFailed},
                    Trouble{"ACallerThatLeaves", &Beside::callers, &Beside::takesTheNextOne},
                    Trouble{"AFloodThatIsNoStream", &Beside::flood, &Beside::isGivenUp},
                    Trouble{"ADecoderThatIsTooSlow", &Beside::hurriedServer, &Beside::loses},
                    Trouble{"ADiskThatIsFull", &Beside::fullDisk, &Beside::isTold},
                    Trouble{"ATerminalThatIsStopped", &Beside::stoppedTerminal, &Beside::goesOn},
                    Trouble{"ATerminalThatIsStoppedUnderTheBoard", &Beside::stoppedTerminalWithKeys, &Beside::goesOn},
                    Trouble{"ADamagedFile", &Beside::damagedFile, &Beside::isDecodedAsFarAsItGoes},
                    Trouble{"AFileThatIsCutOff", &Beside::truncatedMedia, &Beside::isDecodedAsFarAsItGoes}),
    [](const auto &test) { return std::string(test.param.name); });

} // namespace
