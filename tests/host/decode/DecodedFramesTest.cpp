#include <string>

#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

/// Threads of the component, and whether there are three outputs or one.
using Form = std::tuple<int, bool>;

class DecodedFrames : public DecodeFixture, public testing::WithParamInterface<Form> {
protected:
    /// Decodes @p files at once, and compares what comes out with what the tool makes of each.
    void decodeAndCompare(const QStringList &files)
    {
        const auto [threads, severalOutputs] = GetParam();
        const QString first = path("first");
        const QString second = path("second");
        QStringList arguments{"--threads", QString::number(threads), "--output", "framemd5:" + first};
        if (severalOutputs)
            arguments += QStringList{"--output", "null", "--output", "framemd5:" + second};
        const HostRun run = HostRun::decode(arguments + files);

        // What comes out of a damaged file is the tool's, too, but is no success.
        EXPECT_EQ(run.exitCode, files.filter("corrupted").isEmpty() ? 0 : 1);
        run.expectNothingLeft();
        expectFramesOfTool(run, files, first);
        if (!severalOutputs)
            return;
        expectFramesOfTool(run, files, second);
        forEachStream(run, files, first, [](const Decoded &decoded) {
            const QJsonArray outputs = decoded.stream["outputs"].toArray();
            EXPECT_EQ(outputs.size(), 3);
            for (const QJsonValue &output : outputs)
                EXPECT_EQ(output["frames"], decoded.stream["frames"]);
        });
    }

    void decodeEachAlone(const QStringList &files)
    {
        for (const QString &file : files) {
            SCOPED_TRACE(file.toStdString());
            decodeAndCompare({file});
        }
    }
};

std::string nameOf(const testing::TestParamInfo<Form> &form)
{
    const auto [threads, severalOutputs] = form.param;
    return (threads == 1 ? "OneThread" : "FourThreads") + std::string(severalOutputs ? "ThreeOutputs" : "OneOutput");
}

/// @return @p files and as many copies of a small clip as it takes for each to be one of 21.
QStringList amongTwenty(QStringList files, const QString &other)
{
    while (files.size() < 21)
        files << other;
    return files;
}

} // namespace

TEST_P(DecodedFrames, AreThoseOfTheToolForEachSampleAlone)
{
    decodeEachAlone(samples());
}

TEST_P(DecodedFrames, AreThoseOfTheToolForEachSampleAmongTwentyOthers)
{
    decodeAndCompare(amongTwenty(samples(), sample("tree.avi")));
}

TEST_P(DecodedFrames, AreThoseOfTheToolForEachFileOfTheMediaFolderAlone)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    decodeEachAlone(mediaFiles());
}

TEST_P(DecodedFrames, AreThoseOfTheToolForEachFileOfTheMediaFolderAmongTwentyOthers)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    decodeAndCompare(amongTwenty(mediaFiles() + samples(), sample("tree.avi")));
}

INSTANTIATE_TEST_SUITE_P(Forms, DecodedFrames, testing::Combine(testing::Values(1, 4), testing::Bool()), nameOf);

/// Once more as copies of one another.
TEST_F(DecodeFixture, CopiesOfAnInputGiveItsFramesEach)
{
    const QStringList files{sample("tree.avi")};
    const HostRun run = HostRun::decode(QStringList{"--copies", "21", "--output", "framemd5:" + path("out")} + files);
    run.expectSuccess();
    expectFramesOfTool(run, files, path("out"), 21);
}
