#include "LiveHost.h"
#include "Loopback.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

/// Beside servers that take connections and say nothing.
class SilentServers : public DecodeFixture {
protected:
    QStringList addresses(int count) const
    {
        QStringList urls;
        for (int number = 1; number <= count; ++number)
            urls << QStringLiteral("http://127.0.0.1:%1/%2.mp4").arg(_server.port()).arg(number);
        return urls;
    }

private:
    const Loopback _server{SOCK_STREAM};
};

} // namespace

TEST_F(SilentServers, HoldUpNoFileAndNoRequest)
{
    LiveHost host(addresses(100));
    const auto begin = LiveHost::Clock::now();
    EXPECT_THAT(host.request({"add", sample("tree.avi").toStdString()}), ElementsAre("tree.avi"));
    EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::seconds(2));
    EXPECT_TRUE(host.until([&host] { return host.row("tree.avi").state == "ended"; }));
    // One of those that are being opened, and one that waits for its turn.
    for (const char *const name : {"1.mp4", "100.mp4"}) {
        const auto removal = LiveHost::Clock::now();
        host.request({"remove", name});
        EXPECT_LT(LiveHost::Clock::now() - removal, std::chrono::seconds(2)) << name;
    }
    const auto end = LiveHost::Clock::now();
    const HostRun run = host.quit();
    EXPECT_LT(LiveHost::Clock::now() - end, std::chrono::seconds(3));
    run.expectNothingLeft();
    EXPECT_EQ(run.stream("tree.avi", "video")["frames"].toInt(), 24);
}
