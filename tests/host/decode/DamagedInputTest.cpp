#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include "Damage.h"
#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char timedMessage[] = "^decoding-host: ....-..-..T..:..:..: ";

/// A bad input is decoded between two good ones, whose frames must be those of the tool all the same.
class DamagedInput : public DecodeFixture {
protected:
    HostRun decodeWithOthers(const QString &bad, const QStringList &options = QStringList())
    {
        const QString directory = path(QStringLiteral("out-%1").arg(++_runs));
        const QStringList good{sample("tree.avi"), _clip};
        const HostRun run =
            HostRun::decode(QStringList{"--output", "framemd5:" + directory, good[0], bad, good[1]} + options);
        run.expectNothingLeft();
        expectFramesOfTool(run, good, directory);
        // A line for each problem, and none of the libraries' own.
        for (const std::string &line : run.errors)
            EXPECT_THAT(line, AllOf(ContainsRegex(timedMessage), HasSubstr(QFileInfo(bad).fileName().toStdString())));
        EXPECT_LE(run.errors.size(), 5U);
        return run;
    }

    /// Fails unless nothing of it can be decoded, and one line says why.
    void expectRefused(const QString &bad, const std::string &reason)
    {
        SCOPED_TRACE(bad.toStdString());
        const HostRun run = decodeWithOthers(bad);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.errors, ElementsAre(HasSubstr(bad.toStdString() + ": " + reason)));
        const QJsonObject input = run.input(QFileInfo(bad).fileName().toStdString());
        EXPECT_THAT(input["error"].toString().toStdString(), HasSubstr(reason));
    }

    const QString _clip = generate("clip.mp4", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=1 -f lavfi -i "
                                               "sine=frequency=700:sample_rate=48000:duration=1");

private:
    int _runs = 0;
};

} // namespace

TEST_F(DamagedInput, OfATruncatedFileIsDecodedAsFarAsItGoes)
{
    const char *const names[] = {"cup.mp4", "box.mp4", "tree.avi"};
    for (const char *const name : names) {
        const QByteArray whole = read(sample(name));
        const int wholeFrames = HostRun::decode({sample(name)}).stream(name, "video")["frames"].toInt();
        for (const double part : {0.2, 0.5, 0.9}) {
            const QString file = path(QStringLiteral("cut-%1-%2").arg(part).arg(name));
            SCOPED_TRACE(file.toStdString());
            write(QFileInfo(file).fileName(), whole.left(static_cast<int>(whole.size() * part)));
            const HostRun run = decodeWithOthers(file);
            EXPECT_EQ(run.exitCode, 1);
            EXPECT_THAT(run.errors, Contains(AllOf(HasSubstr(file.toStdString()), HasSubstr("truncated"))));
            const int frames = run.stream(QFileInfo(file).fileName().toStdString(), "video")["frames"].toInt();
            EXPECT_GT(frames, 0);
            EXPECT_LT(frames, wholeFrames);
        }
    }
}

TEST_F(DamagedInput, CutOffInItsHeaderIsRefused)
{
    for (const int size : {1, 30, 300})
        expectRefused(write(QStringLiteral("cut-%1.avi").arg(size), read(sample("tree.avi")).left(size)), "");
}

TEST_F(DamagedInput, WithBitsFlippedAtAHundredPlacesIsDecodedAsFarAsPossible)
{
    const QByteArray whole = read(sample("cup.mp4"));
    Damage damage(20260101);
    for (int variant = 0; variant < 3; ++variant) {
        const QString name = QStringLiteral("flipped-%1.mp4").arg(variant);
        // Behind the header: what happens to that is for the storm to see.
        const HostRun run = decodeWithOthers(write(name, damage.flipBits(whole, 100, 20000)));
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_FALSE(run.errors.empty());
        EXPECT_GT(run.stream(name.toStdString(), "video")["damaged"].toInt(), 0);
        EXPECT_GT(run.stream(name.toStdString(), "video")["frames"].toInt(), 0);
    }
}

TEST_F(DamagedInput, WithTheWrongExtensionIsDecodedForWhatItIs)
{
    const QString file = write("wrong.mp3", read(sample("tree.avi")));
    const HostRun run = HostRun::decode({"--output", "framemd5:" + path("out"), file});
    run.expectSuccess();
    expectFramesOfTool(run, {file}, path("out"));
}

TEST_F(DamagedInput, ThatIsNoMediaIsRefused)
{
    expectRefused(write("empty.mp4", QByteArray()), "the file is empty");
    expectRefused(write("text.mp4", QByteArray("These are no pictures.\n").repeated(1000)), "this is no media file");
    expectRefused(write("text.txt", QByteArray("These are no pictures.\n").repeated(1000)), "this is a text file");
    expectRefused(path("missing.mp4"), "there is no such file");
    ASSERT_TRUE(QDir().mkdir(path("folder")));
    expectRefused(path("folder"), "this is a directory");
}

TEST_F(DamagedInput, ThatMayNotBeReadIsRefused)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root may read every file";
    const QString file = write("secret.avi", read(sample("tree.avi")));
    ASSERT_TRUE(QFile::setPermissions(file, QFile::Permissions()));
    expectRefused(file, "the file cannot be read");
}

TEST_F(DamagedInput, InAnUnknownCodecIsRefused)
{
    QByteArray content = read(sample("tree.avi"));
    ASSERT_GE(content.count("cvid"), 1);
    expectRefused(write("unknown.avi", content.replace("cvid", "zzz9")), "no video or audio stream in it");
}

TEST_F(DamagedInput, WithOneStreamInAnUnknownCodecFailsThoughTheOtherIsDecoded)
{
    const QString known = generate("known.avi", "-f lavfi -i testsrc2=size=64x48:rate=25:duration=1 -f lavfi -i "
                                                "sine=duration=1 -c:v mpeg4 -vtag FMP4 -c:a pcm_s16le");
    const HostRun run = decodeWithOthers(write("unknown.avi", read(known).replace("FMP4", "NOPE")));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, ElementsAre(HasSubstr("unknown.avi video: no decoder for NOPE")));
    EXPECT_EQ(run.report["errors"].toArray(), QJsonArray{"unknown.avi video: no decoder for NOPE"});
    EXPECT_EQ(run.input("unknown.avi")["state"].toString(), QStringLiteral("failed"));
    EXPECT_GT(run.stream("unknown.avi", "audio")["frames"].toInt(), 0);
}

TEST_F(DamagedInput, OfAPlaylistThatLacksASegmentIsDecodedAsFarAsItGoes)
{
    const QString list =
        generate("list.m3u8", "-f lavfi -i testsrc2=size=160x120:rate=25:duration=3 -c:v mpeg2video -g 5 "
                              "-f hls -hls_time 1 -hls_list_size 0");
    ASSERT_TRUE(QFile::remove(path("list1.ts")));
    const HostRun run = decodeWithOthers(list);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, Contains(HasSubstr(list.toStdString() + ": a part of it is missing: ")));
    EXPECT_EQ(run.stream("list.m3u8", "video")["frames"].toInt(), 50);
}

TEST_F(DamagedInput, KeepsItsPlaceInTheReport)
{
    const HostRun run = HostRun::decode({sample("tree.avi"), path("missing.avi"), sample("tree.avi")});
    ASSERT_EQ(run.inputs().size(), 3);
    EXPECT_EQ(run.inputs().at(0)["name"].toString().toStdString(), "tree.avi");
    EXPECT_EQ(run.inputs().at(1)["name"].toString().toStdString(), "missing.avi");
    EXPECT_EQ(run.inputs().at(2)["name"].toString().toStdString(), "tree.avi (2)");
}

#if defined(Q_OS_LINUX)
TEST_F(DamagedInput, AndAFullDiskUnderAnOutputAreReported)
{
    for (const QString &name : QStringList{"clip.video.framemd5", "clip.audio.raw", "clip.y4m", "clip.wav"}) {
        SCOPED_TRACE(name.toStdString());
        const QString kind = name.section('.', -1);
        const QString full = path(kind) + '/' + name;
        ASSERT_TRUE(QDir().mkdir(path(kind)));
        ASSERT_TRUE(QFile::link("/dev/full", full));
        const HostRun run = HostRun::decode(
            {"--output", kind + ':' + path(kind), "--output", "framemd5:" + path("out"), _clip, sample("cup.mp4")});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.errors, ElementsAre(AllOf(ContainsRegex(timedMessage), HasSubstr(full.toStdString()),
                                                  HasSubstr("No space left on device"))));
        run.expectNothingLeft();
        // The other output of the same stream, and the other input, get everything.
        expectFramesOfTool(run, {_clip, sample("cup.mp4")}, path("out"));
    }
}

TEST_F(DamagedInput, AndAFullDiskUnderTheReportAreReported)
{
    const HostRun run = HostRun::decode({"--json", "/dev/full", sample("tree.avi")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, ElementsAre(AllOf(ContainsRegex(timedMessage), HasSubstr("/dev/full"),
                                              HasSubstr("No space left on device"))));
}
#endif
