#include <QDir>

#include "LiveHost.h"
#include "host/control/RawClient.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using ControlClient::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

/// What clients may ask of a host that decodes, wrongly or twice.
class RequestsWhileRunning : public DecodeFixture {
protected:
    QStringList toFiles() const { return {"--output", "framemd5:" + path("out")}; }

    QString outputOf(const char *name) const { return path("out/%1.video.framemd5").arg(name); }

    static bool hasEnded(LiveHost &host, const std::string &input)
    {
        return host.until([&] { return host.row(input).state == "ended"; });
    }
};

} // namespace

TEST_F(RequestsWhileRunning, TheSameFileAddedTwiceIsDecodedTwice)
{
    LiveHost host(toFiles());
    const std::string file = sample("tree.avi").toStdString();
    EXPECT_THAT(host.request({"add", file}), ElementsAre("tree.avi"));
    EXPECT_THAT(host.request({"add", file}), ElementsAre("tree.avi (2)"));
    ASSERT_TRUE(hasEnded(host, "tree.avi"));
    ASSERT_TRUE(hasEnded(host, "tree.avi (2)"));
    const HostRun run = host.quit();
    run.expectSuccess();
    expectFramesOfTool(run, {sample("tree.avi")}, path("out"), 2);
}

TEST_F(RequestsWhileRunning, AClientThatLeavesInTheMiddleOfARequestHasAskedForNothing)
{
    LiveHost host(toFiles());
    const QByteArray request = "add " + sample("tree.avi").toUtf8();
    {
        RawClient client(host.socket());
        client.send((request + " half").toStdString());
    }
    {
        RawClient client(host.socket());
        client.send((request + " whole\n").toStdString());
    }
    ASSERT_TRUE(hasEnded(host, "whole"));
    EXPECT_THAT(host.list(), SizeIs(1));
    const HostRun run = host.quit();
    run.expectSuccess();
    EXPECT_EQ(run.inputs().size(), 1);
}

TEST_F(RequestsWhileRunning, AnInputWhoseOutputCannotBeWrittenFailsAloneAndIsNamed)
{
    // Where a directory stands, not even the superuser can make a file.
    for (const char *const name : {"camera", "file"})
        ASSERT_TRUE(QDir().mkpath(outputOf(name)));
    LiveHost host(toFiles() << "--paced" << sample("cup.mp4"));
    ASSERT_TRUE(host.until([&host] { return host.row("cup.mp4").frames > 0; }));
    const std::vector<std::pair<std::string, const char *>> inputs = {
        {"lavfi:testsrc2=size=160x120:rate=25,format=yuv420p", "camera"}, {sample("tree.avi").toStdString(), "file"}};
    for (const auto &[url, name] : inputs) {
        const ControlClient::Answer answer = host.ask({"add", url, name});
        EXPECT_EQ(answer.outcome, Outcome::Failed);
        EXPECT_THAT(answer.error, HasSubstr(outputOf(name).toStdString()));
    }
    ASSERT_TRUE(hasEnded(host, "cup.mp4"));
    const HostRun run = host.quit();
    EXPECT_TRUE(run.input("camera").isEmpty());
    EXPECT_TRUE(run.input("file").isEmpty());
    run.expectNothingLeft();
    expectFramesOfTool(run, {sample("cup.mp4")}, path("out"));
}
