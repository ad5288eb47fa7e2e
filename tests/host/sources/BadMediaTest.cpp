#include <QDir>

#include <chrono>
#include <unistd.h>

#include "MediaFixture.h"
#include "sources/MediaProbe.h"
#include <sys/stat.h>

namespace {

using testing::HasSubstr;

class BadMediaTest : public MediaFixture {
protected:
    QString makeSubtitles() const
    {
        return write(QStringLiteral("words.srt"), "1\n00:00:00,000 --> 00:00:05,000\nhello\n\n");
    }
};

TEST_F(BadMediaTest, AMissingFile)
{
    EXPECT_THAT(errorOf(path(QStringLiteral("missing.mp4"))), HasSubstr("there is no such file"));
}

TEST_F(BadMediaTest, AFileThatMayNotBeRead)
{
    const QString fileName = write(QStringLiteral("secret.mp4"), "x");
    const QByteArray directory = QFileInfo(fileName).absolutePath().toUtf8();
    ASSERT_EQ(chmod(directory.constData(), 0711), 0);
    ASSERT_EQ(chmod(fileName.toUtf8().constData(), 0), 0);
    // The super user reads everything, so nobody tries in their place.
    const bool isSuperUser = geteuid() == 0;
    ASSERT_TRUE(!isSuperUser || seteuid(65534) == 0);
    const std::string error = errorOf(fileName);
    ASSERT_TRUE(!isSuperUser || seteuid(0) == 0);
    EXPECT_THAT(error, HasSubstr("cannot be read"));
    EXPECT_THAT(error, HasSubstr("denied"));
}

TEST_F(BadMediaTest, ADirectory)
{
    EXPECT_THAT(errorOf(path(QString())), HasSubstr("directory"));
}

TEST_F(BadMediaTest, APipeThatNobodyWritesTo)
{
    const QString fileName = path(QStringLiteral("pipe"));
    ASSERT_EQ(mkfifo(fileName.toUtf8().constData(), 0600), 0);
    EXPECT_THAT(errorOf(fileName), HasSubstr("not a regular file"));
}

TEST_F(BadMediaTest, AnEmptyFile)
{
    EXPECT_THAT(errorOf(write(QStringLiteral("empty.mp4"), QByteArray())), HasSubstr("the file is empty"));
}

TEST_F(BadMediaTest, ATextFileWhateverItsName)
{
    const QByteArray text = QByteArray("Dear reader, this is a letter and no film.\n").repeated(200);
    for (const char *const name : {"letter", "letter.txt", "letter.nfo", "letter.ans", "letter.mp4", "letter.264"})
        EXPECT_THAT(errorOf(write(QLatin1String(name), text)), HasSubstr("this is ")) << name;
}

TEST_F(BadMediaTest, BytesThatAreNoMedia)
{
    QByteArray bytes(100'000, '\0');
    quint32 state = 1;
    for (char &byte : bytes)
        byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    EXPECT_FALSE(errorOf(write(QStringLiteral("noise.bin"), bytes)).empty());
    EXPECT_FALSE(errorOf(write(QStringLiteral("zero.bin"), QByteArray(100'000, '\0'))).empty());
}

TEST_F(BadMediaTest, AFileWithoutItsIndex)
{
    const QByteArray whole = contents(makeClip(QStringLiteral("clip.mp4")));
    EXPECT_THAT(errorOf(write(QStringLiteral("cut.mp4"), whole.left(whole.size() / 2))), HasSubstr("no media file"));
}

TEST_F(BadMediaTest, AFileWithoutVideoAndAudio)
{
    const std::string error = errorOf(makeSubtitles());
    EXPECT_THAT(error, HasSubstr("no video or audio stream"));
    EXPECT_THAT(error, HasSubstr("stream 0 (subrip)"));
}

TEST_F(BadMediaTest, AFileWithoutTheKindThatIsAskedFor)
{
    const QString fileName =
        make(QStringLiteral("-f lavfi -i testsrc=size=64x48:duration=1 -c:v mpeg4"), QStringLiteral("silent.mkv"));
    MediaSource::Options options;
    options.video = false;
    EXPECT_THAT(errorOf(fileName, options), HasSubstr("no audio stream"));
}

TEST_F(BadMediaTest, AnUnknownCodec)
{
    QByteArray bytes = contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:duration=1 -c:v mpeg4 -vtag FMP4"),
                                     QStringLiteral("known.avi")));
    ASSERT_TRUE(bytes.contains("FMP4"));
    const std::string error = errorOf(write(QStringLiteral("unknown.avi"), bytes.replace("FMP4", "ZZQ9")));
    EXPECT_THAT(error, HasSubstr("stream 0"));
    EXPECT_THAT(error, HasSubstr("unknown codec"));
}

TEST_F(BadMediaTest, AUrlThatNobodyServes)
{
    const QString url = QStringLiteral("tcp://127.0.0.1:1");
    EXPECT_THAT(errorOf(url), HasSubstr("cannot be opened"));
}

TEST_F(BadMediaTest, AbsurdHeadersDoNotHoldUpTheOpening)
{
    const QByteArray whole = contents(makeClip(QStringLiteral("clip.mp4")));
    const auto begin = std::chrono::steady_clock::now();
    quint32 state = 1;
    int usable = 0;
    for (int round = 0; round < 60; ++round) {
        // The index stands at the end of the file: let its sizes and counts claim anything.
        QByteArray bytes = whole;
        for (int change = 0; change < 4; ++change) {
            state = state * 1664525 + 1013904223;
            bytes[bytes.size() - 1 - static_cast<int>((state >> 8) % 2500)] = static_cast<char>(0xff);
        }
        auto opened = MediaSource::open(write(QStringLiteral("absurd.mp4"), bytes).toStdString(), {});
        if (auto *const source = std::get_if<std::unique_ptr<MediaSource>>(&opened)) {
            deliver(**source);
            ++usable;
        }
    }
    EXPECT_GT(usable, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_F(BadMediaTest, ANameWithAColonIsNoProtocol)
{
    makeClip(QStringLiteral("door:1.mkv"));
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(path(QString())));
    const auto opened = MediaSource::open("door:1.mkv", {});
    ASSERT_TRUE(QDir::setCurrent(before));
    EXPECT_TRUE(std::holds_alternative<std::unique_ptr<MediaSource>>(opened)) << std::get<std::string>(opened);
}

TEST_F(BadMediaTest, ANameThatIsNotUtf8IsOpenedAndShownAsText)
{
    const std::string clip = makeClip().toStdString();
    const std::string odd = path(QString()).toStdString() + "/od\xff.\xe9.mkv";
    ASSERT_EQ(std::rename(clip.c_str(), odd.c_str()), 0);
    const auto opened = MediaSource::open(odd, {});
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<MediaSource>>(opened)) << std::get<std::string>(opened);
    EXPECT_EQ(std::get<std::unique_ptr<MediaSource>>(opened)->streams()[0].origin,
              QStringLiteral("od\ufffd.\ufffd.mkv video").toUtf8());
    const auto missing = MediaProbe::of(odd + "missing");
    EXPECT_THAT(std::get<std::string>(missing),
                HasSubstr("/od\xef\xbf\xbd.\xef\xbf\xbd.mkvmissing: there is no such file"));
    EXPECT_EQ(std::remove(odd.c_str()), 0); // which Qt could not
}

TEST_F(BadMediaTest, ASchemeInLargeLettersIsTheSame)
{
    const std::string clip = makeClip().toStdString();
    const auto opened = MediaSource::open("FILE://" + clip, {});
    EXPECT_TRUE(std::holds_alternative<std::unique_ptr<MediaSource>>(opened)) << std::get<std::string>(opened);
}

TEST_F(BadMediaTest, NothingIsWrittenToStandardError)
{
    const QByteArray whole = contents(makeClip(QStringLiteral("clip.mp4")));
    const QString fileName = write(QStringLiteral("cut.mp4"), whole.left(whole.size() / 2));
    testing::internal::CaptureStderr();
    const auto opened = MediaSource::open(fileName.toStdString(), {});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(std::holds_alternative<std::string>(opened));
}

TEST_F(BadMediaTest, AProbeTellsTheSameErrors)
{
    const auto probed = MediaProbe::of(path(QStringLiteral("missing.mp4")).toStdString());
    ASSERT_TRUE(std::holds_alternative<std::string>(probed));
    EXPECT_THAT(std::get<std::string>(probed), HasSubstr("missing.mp4: there is no such file"));
}

TEST_F(BadMediaTest, AProbeTellsEveryStreamAndWhichWouldBeDecoded)
{
    makeSubtitles();
    const QString fileName = make(QStringLiteral("-i %1 -f lavfi -i testsrc=size=64x48:rate=25:duration=2 -f lavfi -i "
                                                 "sine=duration=2 -map 0 -map 1 -map 2 -c:s srt -c:v mpeg4 -c:a aac")
                                      .arg(path(QStringLiteral("words.srt"))),
                                  QStringLiteral("all.mkv"));
    const auto probed = MediaProbe::of(fileName.toStdString());
    ASSERT_TRUE(std::holds_alternative<MediaProbe>(probed));
    const MediaProbe &probe = std::get<MediaProbe>(probed);
    EXPECT_THAT(probe.container, HasSubstr("matroska"));
    EXPECT_NEAR(static_cast<double>(probe.duration.count()), 5000, 3100);
    ASSERT_EQ(probe.streams.size(), 3u);
    EXPECT_EQ(probe.streams[0].kind, "subtitle");
    EXPECT_EQ(probe.streams[0].obstacle, "neither video nor audio");
    EXPECT_EQ(probe.streams[1].kind, "video");
    EXPECT_EQ(probe.streams[1].obstacle, "");
    EXPECT_EQ(probe.streams[2].kind, "audio");
    EXPECT_EQ(probe.videoIndex, 1);
    EXPECT_EQ(probe.audioIndex, 2);
}

} // namespace
