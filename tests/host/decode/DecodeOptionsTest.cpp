#include <algorithm>
#include <functional>

#include "DecodeFixture.h"
#include "WakeUps.h"
#include <gmock/gmock.h>

namespace {

/// How the command line changes what is decoded.
class DecodeOptions : public DecodeFixture {
protected:
    HostRun decode(const QStringList &options, const QStringList &files)
    {
        const HostRun run = HostRun::decode(QStringList{"--output", "framemd5:" + path("out")} + options + files);
        run.expectSuccess();
        return run;
    }

    /// Fails unless all video is the tool's key frames, and all audio what the tool decodes.
    void expectKeyFramesOfTool(const HostRun &run, const QStringList &files)
    {
        forEachStream(run, files, path("out"), [](const Decoded &decoded) {
            const auto expected = ToolFrames::hashes(
                ToolFrames::framemd5(decoded.file, decoded.streams, decoded.kind(), {"-vf", "select=key"}));
            EXPECT_FALSE(expected.empty());
            EXPECT_TRUE(ToolFrames::hashes(decoded.framemd5) == expected)
                << ToolFrames::hashes(decoded.framemd5).size() << " frames, not " << expected.size();
        });
    }
};

/// Those of the media folder except for the damaged one.
QStringList wholeFiles(QStringList files)
{
    files.erase(
        std::remove_if(files.begin(), files.end(), [](const QString &file) { return file.contains("corrupted"); }),
        files.end());
    return files;
}

/// The time stamps in a framemd5 file.
std::vector<int> timestamps(const QByteArray &framemd5)
{
    std::vector<int> found;
    for (const QByteArray &line : framemd5.split('\n')) {
        if (line.startsWith('0'))
            found.push_back(line.split(',').value(2).trimmed().toInt());
    }
    return found;
}

} // namespace

TEST_F(DecodeOptions, TimeStampsGoOnInAFileThatWasPutTogether)
{
    const QByteArray part = read(generate(
        "part.ts", "-f lavfi -i testsrc2=size=64x48:rate=25:duration=2 -f lavfi -i sine=sample_rate=48000:duration=2 "
                   "-c:v mpeg2video -c:a mp2"));
    decode({}, {write("whole.ts", part + part + part)});
    for (const char *const kind : {"video", "audio"}) {
        const std::vector<int> found = timestamps(framemd5(path("out"), "whole", kind));
        ASSERT_GE(found.size(), 150u) << kind;
        EXPECT_EQ(std::adjacent_find(found.begin(), found.end(), std::greater_equal<int>()), found.end()) << kind;
        const double seconds = (found.back() - found.front()) / (kind == std::string("video") ? 25.0 : 48000.0);
        EXPECT_NEAR(seconds, 6, 0.2) << kind;
    }
}

TEST_F(DecodeOptions, PacedPlaysAClipInItsOwnTime)
{
    const QString clip = generate("clip.mp4", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=5 -f lavfi -i "
                                              "sine=frequency=700:sample_rate=48000:duration=5");
    constexpr int lastBlockMs = 4960; // of the pictures; the last block of sound is due not much later
    constexpr int durationMs = 5000;
    WakeUps wakeUps;
    const HostRun run = decode({"--paced"}, {clip});
    const int lateMs = static_cast<int>(wakeUps.end().count());

    expectFramesOfTool(run, {clip}, path("out"));
    // A block is handed on by three threads, and the end is seen by one more.
    const int wallTimeMs = run.totals()["wallTimeMs"].toInt();
    EXPECT_GE(wallTimeMs, lastBlockMs);
    EXPECT_LE(wallTimeMs, durationMs + durationMs / 50 + 100 + 4 * lateMs);
}

TEST_F(DecodeOptions, PacedPlaysAClipInItsOwnTimeThoughItsSoundComesFarAheadOfItsPictures)
{
    // In the file, almost a second of sound stands before the first picture.
    constexpr int lastBlockMs = 8085;
    constexpr int durationMs = 8104;
    WakeUps wakeUps;
    const HostRun run = decode({"--paced"}, {sample("cup.mp4")});
    const int lateMs = static_cast<int>(wakeUps.end().count());

    expectFramesOfTool(run, {sample("cup.mp4")}, path("out"));
    const int wallTimeMs = run.totals()["wallTimeMs"].toInt();
    EXPECT_GE(wallTimeMs, lastBlockMs);
    EXPECT_LE(wallTimeMs, durationMs + durationMs / 50 + 100 + 4 * lateMs);
}

TEST_F(DecodeOptions, WithoutPacedAClipTakesNoLongerThanItMust)
{
    const QString clip = generate("clip.mp4", "-f lavfi -i testsrc2=size=176x144:rate=5:duration=60");
    EXPECT_LT(decode({}, {clip}).totals()["wallTimeMs"].toInt(), 30000);
}

TEST_F(DecodeOptions, TimeSavingDecodesTheKeyFramesAlone)
{
    const QStringList files = samples();
    expectKeyFramesOfTool(decode({"--time-saving"}, files), files);
}

TEST_F(DecodeOptions, TimeSavingDecodesTheKeyFramesAloneOfTheMediaFolder)
{
    const QStringList files = wholeFiles(mediaFiles());
    if (files.isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectKeyFramesOfTool(decode({"--time-saving"}, files), files);
}

TEST_F(DecodeOptions, ExcludeFromTuningUndoesTimeSaving)
{
    const HostRun run = decode({"--time-saving", "--exclude-from-tuning"}, samples());
    expectFramesOfTool(run, samples(), path("out"));
}

TEST_F(DecodeOptions, StreamsChoosesTheKind)
{
    for (const char *const kind : {"video", "audio"}) {
        const HostRun run = decode({"--streams", kind}, {sample("cup.mp4")});
        ASSERT_EQ(run.totals()["streams"].toInt(), 1);
        EXPECT_FALSE(run.stream("cup.mp4", kind).isEmpty());
        expectFramesOfTool(run, {sample("cup.mp4")}, path("out"));
    }
}

TEST_F(DecodeOptions, RepeatDecodesTheFileOverAgain)
{
    forEachStream(decode({"--repeat", "3"}, samples()), samples(), path("out"), [](const Decoded &decoded) {
        const auto once = ToolFrames::hashes(ToolFrames::framemd5(decoded.file, decoded.streams, decoded.kind()));
        std::vector<std::string> expected;
        for (int round = 0; round < 3; ++round)
            expected.insert(expected.end(), once.begin(), once.end());
        EXPECT_TRUE(ToolFrames::hashes(decoded.framemd5) == expected)
            << ToolFrames::hashes(decoded.framemd5).size() << " frames, not " << expected.size();
        EXPECT_EQ(decoded.stream["outputs"][0]["nullBlocks"].toInt(), 3);
    });
}

TEST_F(DecodeOptions, DurationEndsEachStreamWhenItIsReached)
{
    const QString clip = generate("clip.mp4", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=4 -f lavfi -i "
                                              "sine=frequency=700:sample_rate=48000:duration=4 -bf 0");
    forEachStream(decode({"--duration", "2"}, {clip}), {clip}, path("out"), [](const Decoded &decoded) {
        auto expected = ToolFrames::hashes(ToolFrames::framemd5(decoded.file, decoded.streams, decoded.kind()));
        const auto hashes = ToolFrames::hashes(decoded.framemd5);
        // Two seconds of pictures, and of sound to within the block that codecs need for a start.
        const std::size_t frames = decoded.kind() == "video" ? 50 : 2 * 48000 / 1024;
        EXPECT_GE(hashes.size(), frames - 1);
        EXPECT_LE(hashes.size(), frames + 1);
        ASSERT_LE(hashes.size(), expected.size());
        EXPECT_TRUE(std::equal(hashes.begin(), hashes.end(), expected.begin()));
    });
}
