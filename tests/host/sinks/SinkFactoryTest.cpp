#include "sinks/SinkFactory.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <filesystem>

#include "host/sinks/Records.h"
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::Optional;

int openFiles()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

class SinkFactoryTest : public testing::Test {
protected:
    SinkFactory::Result<VideoSink> video(OutputSpec::Kind kind, const QString &directory)
    {
        OutputSpec spec;
        spec.kind = kind;
        spec.directory = directory.toStdString();
        return SinkFactory::createVideoSink(spec, {QStringLiteral("clip"), 0, {}, gate, existing}, _workers);
    }
    SinkFactory::Result<AudioSink> audio(OutputSpec::Kind kind, const QString &directory)
    {
        OutputSpec spec;
        spec.kind = kind;
        spec.directory = directory.toStdString();
        return SinkFactory::createAudioSink(spec, {QStringLiteral("clip"), 0, {}, std::make_shared<Gate>(), existing},
                                            _workers);
    }

    std::shared_ptr<Gate> gate = std::make_shared<Gate>(); // null: of a live stream
    OutputFile::Existing existing = OutputFile::Existing::Replace;

    QString inside(const char *name) const { return _directory.filePath(QLatin1String(name)); }

    QTemporaryDir _directory;
    SinkWorkers _workers{2};
};

/// Of one that was told to end.
template <class Sink>
std::string errorOf(const SinkFactory::Result<Sink> &result)
{
    if (const std::string *const error = std::get_if<std::string>(&result))
        return *error;
    const ModkitPtr<Sink> sink = std::get<ModkitPtr<Sink>>(result);
    sink->finish();
    return sink->status().error.value_or("none");
}

VideoFrameHandle picture()
{
    return Records::picture(AV_PIX_FMT_GRAY8, 64, 64, QByteArray(64 * 64, 'x'), 0);
}

} // namespace

TEST_F(SinkFactoryTest, CreatesTheDirectoryAndTheFilesRightAway)
{
    const auto pictures = video(OutputSpec::FrameMd5, inside("a/b"));
    const auto samples = audio(OutputSpec::FrameMd5, inside("a/b"));
    EXPECT_EQ(errorOf(pictures), "none");
    EXPECT_EQ(errorOf(samples), "none");
    EXPECT_EQ(QDir(inside("a/b")).entryList(QDir::Files),
              QStringList({QStringLiteral("clip.audio.framemd5"), QStringLiteral("clip.video.framemd5")}));
}

TEST_F(SinkFactoryTest, CreatesADirectoryWhoseNameIsNotUtf8)
{
    OutputSpec spec;
    spec.kind = OutputSpec::Raw;
    const std::string odd = _directory.path().toStdString() + "/o\xffut";
    spec.directory = odd + "/b";
    SinkFactory::Input input;
    input.stem = QStringLiteral("clip");
    EXPECT_EQ(errorOf(SinkFactory::createVideoSink(spec, input, _workers)), "none");
    EXPECT_TRUE(std::filesystem::exists(spec.directory + "/clip.video.raw"));
    std::filesystem::remove_all(odd); // which Qt could not
}

TEST_F(SinkFactoryTest, NullSinksCreateNothing)
{
    const auto pictures = video(OutputSpec::Null, inside("none"));
    EXPECT_EQ(errorOf(pictures), "none");
    EXPECT_FALSE(QFile::exists(inside("none")));
}

TEST_F(SinkFactoryTest, SaysWhyADirectoryOrFileCannotBeCreated)
{
    QFile(inside("file")).open(QIODevice::WriteOnly);
    EXPECT_EQ(errorOf(video(OutputSpec::Png, inside("file"))),
              "cannot create the directory " + inside("file").toStdString() + ": a file is in the way");
    EXPECT_THAT(errorOf(video(OutputSpec::Png, inside("file/below"))), HasSubstr("Not a directory"));
    EXPECT_THAT(errorOf(video(OutputSpec::Raw, QStringLiteral("/proc"))),
                HasSubstr("cannot create /proc/clip.video.raw: No such file or directory"));
    QDir(_directory.path()).mkdir(QStringLiteral("clip.wav"));
    EXPECT_EQ(errorOf(audio(OutputSpec::Wav, _directory.path())),
              "cannot create " + inside("clip.wav").toStdString() + ": Is a directory");
}

TEST_F(SinkFactoryTest, RefusesKindsThatDoNotTakeTheMedium)
{
    EXPECT_THAT(errorOf(video(OutputSpec::Wav, _directory.path())), HasSubstr("clip video: wav takes no pictures"));
    EXPECT_THAT(errorOf(audio(OutputSpec::Y4m, _directory.path())), HasSubstr("take no samples"));
    EXPECT_THAT(errorOf(audio(OutputSpec::Png, _directory.path())), HasSubstr("take no samples"));
}

TEST_F(SinkFactoryTest, ExistingFilesAreOverwritten)
{
    QFile old(inside("clip.video.raw"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write(QByteArray(100000, 'o'));
    old.close();
    const auto sink = std::get<ModkitPtr<VideoSink>>(video(OutputSpec::Raw, _directory.path()));
    sink->push(picture(), 0, 0);
    sink->finish();
    EXPECT_EQ(QFile(inside("clip.video.raw")).size(), 64 * 64);
}

TEST_F(SinkFactoryTest, ExistingFilesThatCannotBeMadeAgainAreKeptAndTheNextFreeNameIsTaken)
{
    existing = OutputFile::Existing::Keep;
    for (int run = 0; run < 3; ++run) {
        for (const auto kind : {OutputSpec::Raw, OutputSpec::Png}) {
            const auto sink = std::get<ModkitPtr<VideoSink>>(video(kind, _directory.path()));
            for (int number = 0; number <= run; ++number)
                sink->push(picture(), 0, 0);
            EXPECT_EQ(errorOf<VideoSink>(sink), "none");
        }
    }
    EXPECT_EQ(QFile(inside("clip.video.raw")).size(), 1 * 64 * 64);
    EXPECT_EQ(QFile(inside("clip.part2.video.raw")).size(), 2 * 64 * 64);
    EXPECT_EQ(QFile(inside("clip.part3.video.raw")).size(), 3 * 64 * 64);
    EXPECT_EQ(QDir(_directory.path()).entryList(QStringList(QStringLiteral("*.png"))).size(), 3);
}

TEST_F(SinkFactoryTest, AFullDiskIsNoticedHoweverLittleIsWritten)
{
    for (const char *const name : {"clip.video.framemd5", "clip.y4m", "clip.video.raw", "clip-0001.png"})
        ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), inside(name)));
    for (const auto kind : {OutputSpec::FrameMd5, OutputSpec::Y4m, OutputSpec::Raw, OutputSpec::Png}) {
        const auto sink = std::get<ModkitPtr<VideoSink>>(video(kind, _directory.path()));
        sink->push(picture(), 0, 0);
        sink->finish();
        EXPECT_THAT(sink->status().error, Optional(HasSubstr("cannot write " + inside("clip").toStdString()))) << kind;
        EXPECT_THAT(sink->status().error, Optional(HasSubstr(": No space left on device"))) << kind;
    }
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), inside("clip.wav")));
    const auto sink = std::get<ModkitPtr<AudioSink>>(audio(OutputSpec::Wav, _directory.path()));
    sink->push(Records::samples({1, 2}, 8000, 1, 0), 0, 0);
    sink->finish();
    EXPECT_THAT(sink->status().error, Optional(HasSubstr("clip.wav: No space left on device")));
}

TEST_F(SinkFactoryTest, AFullDiskIsNoticedWhileWritingAndTheSinkGoesOnCounting)
{
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), inside("clip.video.raw")));
    const auto full = std::get<ModkitPtr<VideoSink>>(video(OutputSpec::Raw, _directory.path()));
    const auto other = std::get<ModkitPtr<VideoSink>>(video(OutputSpec::Y4m, _directory.path()));
    for (int number = 0; number < 100; ++number) {
        full->push(picture(), 0, 0);
        other->push(picture(), 0, 0);
    }
    full->finish();
    other->finish();
    EXPECT_EQ(full->status().records, 100U);
    EXPECT_LT(full->status().bytesWritten, 100U * 64 * 64);
    EXPECT_TRUE(full->status().error.has_value());
    EXPECT_EQ(other->status().bytesWritten, 100U * 64 * 64);
    EXPECT_EQ(other->status().error, std::nullopt);
}

TEST_F(SinkFactoryTest, ALiveStreamLosesNothingWhileItsOutputTakesNothingForASecond)
{
    ASSERT_EQ(mkfifo(qUtf8Printable(inside("clip.video.raw")), 0600), 0);
    gate = nullptr;
    const auto unread = std::get<ModkitPtr<VideoSink>>(video(OutputSpec::Raw, _directory.path()));
    for (int number = 0; number < 30; ++number)
        unread->push(picture(), 0, 0);
    EXPECT_EQ(unread->status().dropped, 0U);
    for (int number = 0; number < 30; ++number)
        unread->push(picture(), 0, 0);
    EXPECT_GT(unread->status().dropped, 0U);
    unread->hurry();
    unread->finish();
    EXPECT_EQ(unread->status().dropped, 60U);
}

TEST_F(SinkFactoryTest, NoFileStaysOpen)
{
    const int before = openFiles();
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), inside("clip.video.raw")));
    for (const auto kind : {OutputSpec::FrameMd5, OutputSpec::Y4m, OutputSpec::Raw, OutputSpec::Png}) {
        const auto sink = std::get<ModkitPtr<VideoSink>>(video(kind, _directory.path()));
        sink->push(picture(), 0, 0);
        sink->finish();
        EXPECT_EQ(openFiles(), before) << kind;
        EXPECT_NE(errorOf(video(kind, _directory.path())), std::string());
    }
    EXPECT_EQ(openFiles(), before);
}
