#include <QDir>
#include <QFileInfo>

#include <chrono>
#include <cstdio>

#include "Damage.h"
#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::AnyOf;
using testing::StartsWith;

/// Long enough for many variants of every file, short enough for every day.
constexpr std::chrono::seconds budget(14);

class FlippedBitsStorm : public DecodeFixture {
protected:
    /// Decodes damaged variants of @p files, one of each at a time, until the time is used up.
    void rage(const QStringList &files)
    {
        bool given = false;
        const quint32 chosen = qEnvironmentVariable("DECODING_TEST_SEED").toUInt(&given);
        const quint32 seed = given ? chosen : 20260101;
        std::printf("DECODING_TEST_SEED=%u\n", seed);
        RecordProperty("seed", static_cast<int>(seed));
        Damage damage(seed);

        const auto end = std::chrono::steady_clock::now() + budget;
        int round = 0;
        for (; std::chrono::steady_clock::now() < end && !HasFailure(); ++round) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
            QStringList variants;
            for (const QString &file : files)
                variants << write(QFileInfo(file).fileName(), damage.any(read(file)));
            expectOrderlyEnd(variants);
        }
        std::printf("%d damaged files decoded\n", round * files.size());
        EXPECT_GT(round, 0);
    }

private:
    /// Whatever becomes of them: no crash, no hang, nothing left, and each complaint a line of the host's own.
    void expectOrderlyEnd(const QStringList &variants)
    {
        const QString directory = path("out");
        const HostRun run = HostRun::decode(
            QStringList{"--threads", "2", "--duration", "5", "--output", "framemd5:" + directory, "--output", "null"} +
                variants,
            std::chrono::seconds(60));
        run.expectNothingLeft();
        EXPECT_THAT(run.exitCode, AnyOf(0, 1));
        EXPECT_EQ(run.exitCode == 0, run.errors.empty()) << testing::PrintToString(run.errors);
        EXPECT_THAT(run.errors, testing::Each(StartsWith("decoding-host: ")));
        EXPECT_EQ(run.inputs().size(), variants.size());
        QDir(directory).removeRecursively();
    }
};

} // namespace

TEST_F(FlippedBitsStorm, OverTheSamplesLeavesTheHostStanding)
{
    rage(samples());
}

TEST_F(FlippedBitsStorm, OverTheMediaFolderLeavesTheHostStanding)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    rage(mediaFiles());
}
