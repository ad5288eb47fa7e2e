#include "EqualRuns.h"
#include <gmock/gmock.h>

namespace {

/// Bursts of different lengths.
class Bursts : public EqualRuns {
protected:
    void expectNoDifference(const QStringList &files, const QStringList &options = {})
    {
        EqualRuns::expectNoDifference(files, {options + QStringList{"--burst", "1"}, options,
                                              options + QStringList{"--burst", "5"},
                                              options + QStringList{"--burst", "1000"}});
    }
};

} // namespace

TEST_F(Bursts, MakeNoDifferenceToTheSamples)
{
    expectNoDifference(samples());
}

TEST_F(Bursts, MakeNoDifferenceToKeyBlocksOfTheSamples)
{
    expectNoDifference(samples(), {"--time-saving"});
}

TEST_F(Bursts, MakeNoDifferenceToTheSamplesTwiceOnOneThread)
{
    expectNoDifference(samples(), {"--repeat", "2", "--threads", "1"});
}

TEST_F(Bursts, MakeNoDifferenceToTheMediaFolder)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectNoDifference(mediaFiles());
}

TEST_F(Bursts, MakeNoDifferenceToKeyBlocksOfTheMediaFolder)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectNoDifference(mediaFiles(), {"--time-saving"});
}

TEST_F(Bursts, MakeNoDifferenceToDamagedFiles)
{
    QByteArray bytes = read(sample("cup.mp4"));
    for (int at = 40'000; at + 200 < bytes.size() - 40'000; at += 20'011)
        bytes.replace(at, 60, QByteArray(60, '\x5a'));
    const QString damaged = write("damaged.mp4", bytes);
    expectNoDifference({damaged});
    EXPECT_GT(decoded({}, {damaged}).damaged, 5);
}
