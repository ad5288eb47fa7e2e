#include <algorithm>

#include "LiveHost.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::IsEmpty;
using testing::Not;

/// Hosts with more inputs than the system gives them threads or descriptors for.
class SystemLimits : public DecodeFixture {
protected:
    ~SystemLimits() override
    {
        qunsetenv("LD_PRELOAD");
        qunsetenv("THREADS_AT_ONCE");
    }

    static std::vector<std::string> namesIn(const std::vector<LiveHost::Row> &rows, const char *state)
    {
        std::vector<std::string> names;
        for (const LiveHost::Row &row : rows) {
            if (row.state == state)
                names.push_back(row.input);
        }
        return names;
    }
    /// @return what does as a shell that has set the limit: runs what stands behind it.
    static QStringList withLimit(const char *limit)
    {
        return {"/bin/sh", "-c", QStringLiteral("ulimit %1; exec \"$0\" \"$@\"").arg(QLatin1String(limit))};
    }
    static void expectPrompt(LiveHost::Clock::time_point begin)
    {
        EXPECT_LT(LiveHost::Clock::now() - begin, std::chrono::seconds(10));
    }
};

} // namespace

TEST_F(SystemLimits, OfThreadsLetLiveInputsBeginAsOthersLeave)
{
    qputenv("LD_PRELOAD", REFUSED_THREADS);
    qputenv("THREADS_AT_ONCE", "12");
    QStringList arguments{"--threads", "2"};
    for (int input = 0; input < 20; ++input)
        arguments << QStringLiteral("in%1=lavfi:testsrc2=size=32x32:rate=5").arg(input);
    LiveHost host(arguments);
    ASSERT_TRUE(host.until([&host] { return !namesIn(host.list(), "running").empty(); }));
    ASSERT_TRUE(host.until([&host] { return !host.messages("no thread to read it.*ulimit -u").empty(); }));
    const auto begin = LiveHost::Clock::now();
    const std::vector<LiveHost::Row> rows = host.list();
    EXPECT_EQ(rows.size(), 20U);
    const std::vector<std::string> waiting = namesIn(rows, "waiting");
    ASSERT_THAT(waiting, Not(IsEmpty()));
    for (const std::string &name : namesIn(rows, "running"))
        host.request({"remove", name});
    expectPrompt(begin);
    EXPECT_TRUE(host.until([&] {
        const std::vector<std::string> running = namesIn(host.list(), "running");
        return std::any_of(waiting.begin(), waiting.end(), [&running](const std::string &name) {
            return std::find(running.begin(), running.end(), name) != running.end();
        });
    }));
    host.quit().expectNothingLeft();
}

TEST_F(SystemLimits, OfDescriptorsLetFilesBeginAsOthersEnd)
{
    const QString clip =
        generate("short.mp4", "-f lavfi -i testsrc2=size=32x32:rate=5:duration=3 -pix_fmt yuv420p -c:v libx264");
    QStringList arguments{"--paced", "--output", "framemd5:" + path("out")};
    for (int input = 0; input < 300; ++input)
        arguments << clip;
    LiveHost host(arguments, withLimit("-n 256"));
    ASSERT_TRUE(host.until([&host] { return !host.messages("Too many open files: .* 256 .*ulimit -n").empty(); }));
    const auto begin = LiveHost::Clock::now();
    EXPECT_EQ(host.list().size(), 300U);
    expectPrompt(begin);
    EXPECT_TRUE(host.until([&host] { return namesIn(host.list(), "ended").size() == 300; }));
    const HostRun run = host.quit();
    EXPECT_EQ(run.exitCode, 0);
    for (const QJsonValue &input : run.inputs())
        EXPECT_EQ(input["streams"][0]["outputs"][0]["frames"].toInt(), 15);
    run.expectNothingLeft();
}
