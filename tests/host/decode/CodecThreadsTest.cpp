#include "EqualRuns.h"
#include <gmock/gmock.h>

namespace {

/// Different numbers of libavcodec's threads.
class CodecThreads : public EqualRuns {
protected:
    void expectNoDifference(const QStringList &files, const QStringList &options = {})
    {
        EqualRuns::expectNoDifference(files, {options + QStringList{"--codec-threads", "1"},
                                              options + QStringList{"--codec-threads", "2"},
                                              options + QStringList{"--codec-threads", "4"}, options});
    }
};

} // namespace

TEST_F(CodecThreads, MakeNoDifferenceToTheSamples)
{
    expectNoDifference(samples());
    expectNoDifference(samples(), {"--time-saving"});
    expectNoDifference({sample("cup.mp4")}, {"--repeat", "3", "--burst", "1"});
}

TEST_F(CodecThreads, MakeNoDifferenceToTheMediaFolder)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectNoDifference(mediaFiles());
    expectNoDifference(mediaFiles(), {"--time-saving"});
    for (const QString &file : mediaFiles())
        expectNoDifference({file});
}

TEST_F(CodecThreads, MakeNoDifferenceToDamagedFiles)
{
    QByteArray bytes = read(sample("cup.mp4"));
    for (int at = 200'000; at + 200 < bytes.size() - 40'000; at += 90'011)
        bytes.replace(at, 60, QByteArray(60, '\x5a'));
    const QString damaged = write("damaged.mp4", bytes);
    expectNoDifference({damaged});
    EXPECT_GT(decoded({}, {damaged}).damaged, 5);
}
