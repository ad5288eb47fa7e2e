#include <QDir>

#include <algorithm>
#include <list>
#include <unistd.h>

#include "ControlFixture.h"
#include "control/ControlLine.h"
#include <sys/resource.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// Clients that do not behave. The server must go on for the others, and keep nothing of those that have left.
class ControlServerAbuse : public ControlFixture {
protected:
    static int openDescriptors()
    {
        return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files).size());
    }
};

} // namespace

TEST_F(ControlServerAbuse, GarbageIsAnsweredWithErrorsLineByLine)
{
    RawClient client(path());
    EXPECT_THAT(client.ask("GET / HTTP/1.1"), HasSubstr("error there is no request \"GET\""));
    EXPECT_EQ(client.ask("\xff\xfe\x80"), "error the request is not UTF-8\n");
    EXPECT_EQ(client.ask(std::string("\0\1\2", 3)), "error the request holds control characters\n");
    EXPECT_THAT(client.ask("add \"a"), HasSubstr("error a word in quotation marks"));
    std::string allBytes;
    for (int i = 0; i < 256; ++i)
        allBytes += i == '\n' ? 'n' : static_cast<char>(i);
    EXPECT_EQ(client.ask(allBytes), "error the request is not UTF-8\n");
    EXPECT_EQ(client.ask("mode performance"), "ok\n");
    EXPECT_THAT(_control.calls, ElementsAre("mode performance"));
}

TEST_F(ControlServerAbuse, ALineWithoutEndIsRefusedAtTheLimitAndTheClientLeft)
{
    RawClient client(path());
    const std::string longest = "remove " + std::string(ControlLine::maxRequestBytes - 7, 'x');
    EXPECT_EQ(client.ask(longest), "ok\n");
    client.send(longest + "xx");
    EXPECT_EQ(client.answer(), "error the request is longer than 65536 bytes\n");
    EXPECT_TRUE(serveUntil([&client] { return client.isLeft(); }));
    EXPECT_TRUE(serves());

    RawClient endless(path());
    std::size_t sent = 0;
    EXPECT_TRUE(serveUntil([&] {
        sent += endless.sendSome(std::string(65536, 'x'));
        return endless.isLost;
    })) << "it could send "
        << sent;
    EXPECT_TRUE(serves());
}

TEST_F(ControlServerAbuse, ALineThatIsTooLongIsRefusedWithItsEndToo)
{
    RawClient client(path());
    client.send("remove " + std::string(ControlLine::maxRequestBytes - 6, 'x') + "\nquit\n");
    EXPECT_EQ(client.answer(), "error the request is longer than 65536 bytes\n");
    EXPECT_TRUE(serveUntil([&client] { return client.isLeft(); }));
    EXPECT_THAT(_control.calls, IsEmpty());
}

TEST_F(ControlServerAbuse, ARequestThatIsCutOffIsNotPerformed)
{
    const int before = openDescriptors();
    RawClient lost(path());
    ASSERT_TRUE(lost.send("mode performance\nremove cam1"));
    lost.leave();
    RawClient ended(path());
    ASSERT_TRUE(ended.send("mode time-saving\nremove cam1"));
    ended.endSending();
    EXPECT_EQ(ended.answer(), "ok\n");
    EXPECT_TRUE(serveUntil([&ended] { return ended.isLeft(); }));
    ended.leave();
    EXPECT_TRUE(serveUntil([before] { return openDescriptors() == before; }));
    EXPECT_THAT(_control.calls, testing::UnorderedElementsAre("mode performance", "mode time-saving"));
}

TEST_F(ControlServerAbuse, AClientThatLeavesInMidOperationLeavesTheOperation)
{
    _control.isSlow = true;
    const int before = openDescriptors();
    RawClient client(path());
    ASSERT_TRUE(client.send("add a\nadd b\n"));
    ASSERT_TRUE(serveUntil([this] { return !_control.pending.empty(); }));
    client.leave();
    EXPECT_TRUE(serves());
    _control.pending[0]({});
    EXPECT_TRUE(serveUntil([before] { return openDescriptors() == before; }));
    EXPECT_TRUE(serves());
    EXPECT_THAT(_control.calls, testing::Contains("add a"));
}

TEST_F(ControlServerAbuse, AnOperationMayEndAfterTheServer)
{
    _control.isSlow = true;
    RawClient client(path());
    ASSERT_TRUE(client.send("add a\n"));
    ASSERT_TRUE(serveUntil([this] { return !_control.pending.empty(); }));
    _server.reset();
    _control.pending[0]({});
    EXPECT_EQ(client.answer(), "");
    EXPECT_TRUE(client.isLeft());
}

TEST_F(ControlServerAbuse, AnswersThatNobodyReadsStopTheRequestsNotTheServer)
{
    decoding::Snapshot::Input input;
    input.name = std::string(10000, 'x');
    _control.state.inputs.assign(10, input);
    RawClient client(path());
    std::string requests;
    for (int i = 0; i < 1000; ++i)
        requests += "list\n";
    ASSERT_TRUE(client.send(requests)) << "so much fits into the buffers";
    for (int i = 0; i < 500; ++i)
        QCoreApplication::processEvents();
    EXPECT_TRUE(serves());
    // An answer has 100 KB: one beyond the limit, and what the system keeps, which is some hundred more.
    EXPECT_LT(_control.snapshots, 50);

    const std::string figures = " \t\tconnecting\t0\t0.0\t0\t-\t-\tperformance\t0\t0\t0\t-\t0\t-\n";
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(client.answer().size(), 10 * (10000 + figures.size()) + 3U) << i;
    EXPECT_EQ(_control.snapshots, 1000);
}

TEST_F(ControlServerAbuse, AClientThatAsksAllTheTimeKeepsNobodyWaiting)
{
    RawClient greedy(path());
    std::string requests;
    for (int i = 0; i < 5000; ++i)
        requests += "list\n";
    ASSERT_TRUE(greedy.send(requests));
    const int before = _control.snapshots;
    EXPECT_TRUE(serves());
    EXPECT_LT(_control.snapshots - before, 1000) << "others are served in between";
}

TEST_F(ControlServerAbuse, ClientsThatComeAndGoInAnyStateLeaveNothing)
{
    const int before = openDescriptors();
    for (int i = 0; i < 300; ++i) {
        RawClient client(path());
        if (!client.isConnected) {
            QCoreApplication::processEvents();
            continue;
        }
        const std::string request =
            std::string("add a\nlist\nmode x\nhelp\n").substr(0, static_cast<std::size_t>(i) % 24);
        client.sendSome(request);
        if (i % 3 == 0)
            QCoreApplication::processEvents();
        if (i % 5 == 0)
            client.endSending();
    }
    EXPECT_TRUE(serveUntil([before] { return openDescriptors() == before; }));
    EXPECT_TRUE(serves());
}

TEST_F(ControlServerAbuse, OneClientTooManyGetsAnError)
{
    std::list<RawClient> clients;
    for (int i = 0; i < ControlServer::maxClients; ++i) {
        clients.emplace_back(path());
        ASSERT_EQ(clients.back().ask("mode performance"), "ok\n") << i;
    }
    RawClient tooMany(path());
    EXPECT_EQ(tooMany.answer(), "error there are too many clients already\n");
    EXPECT_TRUE(serveUntil([&tooMany] { return tooMany.isLeft(); }));
    clients.pop_front();
    EXPECT_TRUE(serveUntil([this] { return serves(); }));
}

TEST_F(ControlServerAbuse, AHostWithoutFreeDescriptorsServesAgainOnceItHasSome)
{
    // UndefinedBehaviorSanitizer needs descriptors to look at an object of a type that it has not met yet, such as that
    // of a connection that ends.
    EXPECT_EQ(RawClient(path()).ask("mode performance"), "ok\n");
    EXPECT_EQ(RawClient(path()).ask("mode performance"), "ok\n");

    RawClient client(path());
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int nextFree = dup(STDERR_FILENO);
    ASSERT_EQ(close(nextFree), 0);
    const rlimit full = {static_cast<rlim_t>(nextFree), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &full), 0);
    EXPECT_EQ(dup(STDERR_FILENO), -1);
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(client.ask("mode performance"), "ok\n");
}
