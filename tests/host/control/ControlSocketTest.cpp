#include "control/ControlSocket.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <atomic>
#include <thread>
#include <vector>

#include "RawClient.h"
#include <gmock/gmock.h>
#include <sys/stat.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ControlSocketTest : public testing::Test {
protected:
    /// @return null when it failed; then error() tells.
    std::unique_ptr<ControlSocket> listen() { return listenOn(path()); }

    std::unique_ptr<ControlSocket> listenOn(const std::string &where)
    {
        auto result = ControlSocket::listen(where);
        if (const std::string *const error = std::get_if<std::string>(&result)) {
            _error = *error;
            return nullptr;
        }
        return std::move(std::get<std::unique_ptr<ControlSocket>>(result));
    }

    /// As a host leaves it that has crashed.
    void leaveSocket(bool withLock = true)
    {
        const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
        const auto address = std::get<sockaddr_un>(ControlAddress::of(path()));
        ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(::listen(socket.get(), 1), 0);
        if (withLock)
            write(path() + ".lock", "");
    }

    static void write(const std::string &where, const char *text)
    {
        QFile file(QString::fromStdString(where));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    static std::string read(const std::string &where)
    {
        QFile file(QString::fromStdString(where));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "no file";
    }

    std::string path() const { return _directory.filePath(QStringLiteral("host.sock")).toStdString(); }
    QStringList files() const
    {
        return QDir(_directory.path()).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    const std::string &error() const { return _error; }

    QTemporaryDir _directory;
    std::string _error;
};

mode_t modeOf(const std::string &path)
{
    struct stat found = {};
    return lstat(path.c_str(), &found) == 0 ? found.st_mode & 07777U : 0;
}

} // namespace

TEST_F(ControlSocketTest, IsThereForItsOwnerOnlyWhateverTheProcessGivesToNewFiles)
{
    const mode_t before = umask(0);
    for (const mode_t mask : {0U, 022U, 077U}) {
        umask(mask);
        const auto socket = listen();
        EXPECT_NE(socket, nullptr) << error();
        EXPECT_EQ(modeOf(path()), 0600U) << mask;
        EXPECT_EQ(modeOf(path() + ".lock"), 0600U) << mask;
        EXPECT_EQ(umask(mask), mask) << "it is left as it is: other threads make files too";
    }
    umask(before);
}

TEST_F(ControlSocketTest, HearsClientsWhileItLivesAndLeavesNothing)
{
    auto socket = listen();
    ASSERT_NE(socket, nullptr) << error();
    EXPECT_FALSE(socket->accept().isOpen());
    RawClient client(path());
    EXPECT_TRUE(client.isConnected);
    EXPECT_TRUE(socket->accept().isOpen());
    socket.reset();
    EXPECT_EQ(files(), QStringList());
    EXPECT_FALSE(RawClient(path()).isConnected);
}

TEST_F(ControlSocketTest, IsNotTakenFromTheLiving)
{
    const auto first = listen();
    ASSERT_NE(first, nullptr) << error();
    EXPECT_EQ(listen(), nullptr);
    EXPECT_EQ(error(), "control socket " + path() + ": another program listens on it already");
    EXPECT_TRUE(RawClient(path()).isConnected);
}

TEST_F(ControlSocketTest, IsNotTakenFromAnotherProgramThatKnowsNoLock)
{
    const Descriptor other(::socket(AF_UNIX, SOCK_STREAM, 0));
    const auto address = std::get<sockaddr_un>(ControlAddress::of(path()));
    ASSERT_EQ(bind(other.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(other.get(), 0), 0);
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr("another program listens"));
    // The first attempt fills the queue of those that want to be accepted.
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr("another program listens"));
    EXPECT_TRUE(QFileInfo::exists(QString::fromStdString(path())));
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ControlSocketTest, ReplacesWhatACrashLeft)
{
    for (const bool withLock : {false, true}) {
        leaveSocket(withLock);
        const auto socket = listen();
        ASSERT_NE(socket, nullptr) << error();
        EXPECT_TRUE(RawClient(path()).isConnected);
    }
    EXPECT_EQ(files(), QStringList());
}

TEST_F(ControlSocketTest, ReplacesNoFileThatIsNoSocket)
{
    write(path(), "precious");
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), AllOf(StartsWith("control socket " + path()), HasSubstr("another file")));
    EXPECT_EQ(read(path()), "precious");

    ASSERT_EQ(unlink(path().c_str()), 0);
    ASSERT_EQ(symlink("/nowhere", path().c_str()), 0);
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr("another file"));

    ASSERT_EQ(unlink(path().c_str()), 0);
    ASSERT_EQ(mkdir(path().c_str(), 0700), 0);
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr("another file"));
    EXPECT_EQ(files().size(), 1) << "no lock is left";
}

TEST_F(ControlSocketTest, ReplacesNoSocketOfAnotherKind)
{
    const Descriptor datagrams(::socket(AF_UNIX, SOCK_DGRAM, 0));
    const auto address = std::get<sockaddr_un>(ControlAddress::of(path()));
    ASSERT_EQ(bind(datagrams.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr("wrong type"));
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ControlSocketTest, TouchesNoFileThatHasTheNameOfItsLock)
{
    const std::string lock = path() + ".lock";
    write(lock, "precious");
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), AllOf(HasSubstr(lock), HasSubstr("another file")));
    EXPECT_EQ(read(lock), "precious");

    ASSERT_EQ(unlink(lock.c_str()), 0);
    const std::string target = path() + ".target";
    ASSERT_EQ(symlink(target.c_str(), lock.c_str()), 0);
    EXPECT_EQ(listen(), nullptr);
    EXPECT_THAT(error(), HasSubstr(lock));
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(target)));
}

TEST_F(ControlSocketTest, RemovesNoFileThatIsAnotherOneByNow)
{
    auto socket = listen();
    ASSERT_NE(socket, nullptr) << error();
    // The old one lives on under another name, so that the new one is not given its inode.
    ASSERT_EQ(rename(path().c_str(), (path() + ".old").c_str()), 0);
    write(path(), "precious");
    socket.reset();
    EXPECT_EQ(read(path()), "precious");
}

TEST_F(ControlSocketTest, SaysWhereItCannotBe)
{
    const std::string nowhere = _directory.filePath(QStringLiteral("none/host.sock")).toStdString();
    EXPECT_EQ(listenOn(nowhere), nullptr);
    EXPECT_THAT(error(), AllOf(HasSubstr(nowhere), HasSubstr("No such file or directory")));
    EXPECT_EQ(listenOn(std::string(200, 'x')), nullptr);
    EXPECT_THAT(error(), HasSubstr("longer than"));
}

TEST_F(ControlSocketTest, IsWonByOneOfManyThatFindADeadOne)
{
    constexpr int threadCount = 4;
    for (int round = 0; round < 100; ++round) {
        leaveSocket();
        std::atomic<int> ready{0};
        std::vector<std::unique_ptr<ControlSocket>> sockets(threadCount);
        std::vector<std::thread> threads;
        threads.reserve(threadCount);
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([this, i, &ready, &sockets] {
                ++ready;
                while (ready < threadCount)
                    std::this_thread::yield();
                auto result = ControlSocket::listen(path());
                if (auto *const socket = std::get_if<std::unique_ptr<ControlSocket>>(&result))
                    sockets[static_cast<std::size_t>(i)] = std::move(*socket);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        int winners = 0;
        RawClient client(path());
        ASSERT_TRUE(client.isConnected) << round;
        for (const auto &socket : sockets) {
            if (!socket)
                continue;
            ++winners;
            EXPECT_TRUE(socket->accept().isOpen()) << "the winner has the file";
        }
        ASSERT_EQ(winners, 1) << round;
        sockets.clear();
        ASSERT_EQ(files(), QStringList()) << round;
    }
}

TEST_F(ControlSocketTest, IsHeldByOneAtATimeHoweverQuicklyItIsGivenUp)
{
    std::atomic<int> holders{0};
    std::atomic<int> wrong{0};
    std::atomic<int> held{0};
    const auto take = [&] {
        for (int i = 0; i < 2000; ++i) {
            auto result = ControlSocket::listen(path());
            auto *const socket = std::get_if<std::unique_ptr<ControlSocket>>(&result);
            if (!socket)
                continue;
            ++held;
            wrong += ++holders == 1 && RawClient(path()).isConnected ? 0 : 1;
            --holders;
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(take);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_GT(held, 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(files(), QStringList());
}
