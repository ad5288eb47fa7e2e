#include <QFile>

#include <cstdio>

#include "Flood.h"
#include "LiveRunFixture.h"
#include "Loopback.h"
#include <gmock/gmock.h>

namespace {

/// Packets of a transport stream that hold nothing.
QByteArray emptyPackets()
{
    QByteArray bytes = Flood::noise();
    for (int at = 0; at + 188 <= bytes.size(); at += 188)
        bytes.replace(at, 4, QByteArray("\x47\x01\x23\x10", 4));
    return bytes.left(bytes.size() / 188 * 188);
}

/// What all threads of a process have computed for so far.
std::chrono::milliseconds computedBy(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> fields = file.readAll().split(' ');
    const qint64 ticks = fields.value(13).toLongLong() + fields.value(14).toLongLong();
    return std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

} // namespace

class FloodedSource : public LiveRunFixture {};

TEST_F(FloodedSource, ThatNeverBecomesAStreamCostsLittle)
{
    const quint16 datagrams = Loopback::freePort(SOCK_DGRAM);
    const Flood connection(SOCK_STREAM, Flood::noise());
    const Flood packets(SOCK_STREAM, emptyPackets());
    const Flood answers(SOCK_STREAM, QByteArray(1 << 20, 'R'));
    const Flood sender(SOCK_DGRAM, Flood::noise(), datagrams);
    LiveHost host({QStringLiteral("connection=tcp://127.0.0.1:%1").arg(connection.port()),
                   QStringLiteral("packets=tcp://127.0.0.1:%1").arg(packets.port()),
                   QStringLiteral("answers=rtsp://127.0.0.1:%1/live").arg(answers.port()),
                   QStringLiteral("datagrams=udp://127.0.0.1:%1").arg(datagrams)});
    constexpr std::chrono::milliseconds time{25'000};
    const auto before = computedBy(host.processId());
    host.watch(time);
    const auto computed = computedBy(host.processId()) - before;
    std::printf("%lld ms in %lld ms\n", static_cast<long long>(computed.count()), static_cast<long long>(time.count()));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // Of a core, 5 % for each, and a little for the host itself.
    EXPECT_LT(computed, time * (4 * 5 + 3) / 100);
#endif
    for (const LiveHost::Row &row : host.list())
        EXPECT_EQ(row.frames, 0) << row.input;
    host.quit().expectNothingLeft();
}
