#include "sinks/OutputFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <string>
#include <unistd.h>

#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using Existing = OutputFile::Existing;

class OutputFileTest : public testing::Test {
protected:
    ~OutputFileTest() override
    {
        if (_reader >= 0)
            ::close(_reader);
    }

    std::string path(const char *name = "out") const { return _directory.filePath(name).toStdString(); }
    std::string pipe() const
    {
        EXPECT_EQ(::mkfifo(path().c_str(), 0600), 0);
        return path();
    }
    void openReader()
    {
        _reader = ::open(path().c_str(), O_RDONLY | O_NONBLOCK);
        EXPECT_GE(_reader, 0);
    }
    void closeReader() { ::close(std::exchange(_reader, -1)); }

    int write(const QByteArray &bytes)
    {
        return file.write(reinterpret_cast<const quint8 *>(bytes.constData()), bytes.size());
    }
    QByteArray content(const char *name = "out") const
    {
        QFile read(_directory.filePath(name));
        EXPECT_TRUE(read.open(QIODevice::ReadOnly));
        return read.readAll();
    }

    const std::shared_ptr<WriteWatch> watch = std::make_shared<WriteWatch>();
    OutputFile file{watch};

private:
    const QTemporaryDir _directory;
    int _reader = -1;
};

const QByteArray muchMoreThanAPipeHolds(1 << 20, 'x');

} // namespace

TEST_F(OutputFileTest, ReplacesAFileOrLeavesIt)
{
    EXPECT_EQ(file.create(path(), Existing::Keep), 0);
    EXPECT_TRUE(file.isSeekable());
    EXPECT_EQ(write("first"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.create(path(), Existing::Keep), EEXIST);
    EXPECT_EQ(content(), "first");
    EXPECT_EQ(file.create(path(), Existing::Replace), 0);
    EXPECT_EQ(write("2"), 0);
    EXPECT_EQ(file.seek(0, SEEK_SET), 0);
    EXPECT_EQ(write("3"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(content(), "3");
}

TEST_F(OutputFileTest, TellsWhatTheSystemRefuses)
{
    EXPECT_EQ(file.create(path("none/out"), Existing::Replace), ENOENT);
    EXPECT_EQ(file.create("/dev/full", Existing::Keep), 0);
    EXPECT_FALSE(file.isSeekable());
    EXPECT_EQ(write("x"), ENOSPC);
}

TEST_F(OutputFileTest, WaitsForTheReaderOfAPipeAndForRoomInIt)
{
    const std::string name = pipe();
    auto written = std::async(std::launch::async, [&] {
        const int error = file.create(name, Existing::Keep);
        return error != 0 ? error : write(muchMoreThanAPipeHolds);
    });
    EXPECT_EQ(written.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    QFile reader(QString::fromStdString(name));
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    EXPECT_EQ(written.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    QByteArray received;
    while (received.size() < muchMoreThanAPipeHolds.size())
        received += reader.read(muchMoreThanAPipeHolds.size());
    EXPECT_EQ(written.get(), 0);
    EXPECT_EQ(received, muchMoreThanAPipeHolds);
}

TEST_F(OutputFileTest, GivesUpAPipeThatNobodyOpensOnceSomebodyWaits)
{
    const std::string name = pipe();
    auto created = std::async(std::launch::async, [&] { return file.create(name, Existing::Replace); });
    EXPECT_EQ(created.wait_for(WriteWatch::patience + std::chrono::milliseconds(100)), std::future_status::timeout);
    watch->hurry();
    EXPECT_EQ(created.get(), ETIMEDOUT);
    EXPECT_TRUE(watch->hasGivenUp());
}

TEST_F(OutputFileTest, GivesUpAPipeThatIsReadNoFurtherOnceSomebodyWaits)
{
    const std::string name = pipe();
    openReader();
    ASSERT_EQ(file.create(name, Existing::Replace), 0);
    auto written = std::async(std::launch::async, [&] { return write(muchMoreThanAPipeHolds); });
    EXPECT_EQ(written.wait_for(WriteWatch::patience + std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(watch->isStuck(std::chrono::steady_clock::now() + std::chrono::hours(1)));
    watch->hurry();
    EXPECT_EQ(written.get(), ETIMEDOUT);
    EXPECT_EQ(write("x"), ETIMEDOUT);
}

TEST_F(OutputFileTest, TellsThatTheReaderOfAPipeHasGone)
{
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
    const std::string name = pipe();
    openReader();
    ASSERT_EQ(file.create(name, Existing::Replace), 0);
    EXPECT_EQ(write("x"), 0);
    closeReader();
    EXPECT_EQ(write("x"), EPIPE);
}
