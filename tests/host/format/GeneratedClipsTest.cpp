#include "CountingSlab.h"
#include "DecoderRuns.h"
#include "Recipes.h"
#include <gtest/gtest.h>

namespace {

class GeneratedClips : public testing::TestWithParam<Recipe> {
protected:
    void SetUp() override
    {
        if (!FfmpegTool::isInstalled())
            GTEST_SKIP() << "the ffmpeg command is not installed";
    }

    void expectNothingIsLeftOrDamaged(const QByteArray &origin) const
    {
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);
        EXPECT_EQ(damage->conditionOf({origin}).counts, DamageCounts::Counts{});
    }

    const std::shared_ptr<DamageCounts> damage = std::make_shared<DamageCounts>();
};

class GeneratedVideo : public GeneratedClips {};
class GeneratedAudio : public GeneratedClips {};

TEST_P(GeneratedVideo, GivesThePicturesOfTheFfmpegCommand)
{
    const GeneratedClip file(GeneratedClip::pictures, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    const auto clip = Clip::read(file.path(), AVMEDIA_TYPE_VIDEO, "clip video");
    ASSERT_TRUE(clip);
    expectPicturesOfFfmpeg(*clip, damage);
    expectNothingIsLeftOrDamaged("clip video");
}

TEST_P(GeneratedAudio, GivesTheSamplesOfTheFfmpegCommand)
{
    const GeneratedClip file(GeneratedClip::tone, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    const auto clip = Clip::read(file.path(), AVMEDIA_TYPE_AUDIO, "clip audio");
    ASSERT_TRUE(clip);
    expectSamplesOfFfmpeg(*clip, damage);
    expectNothingIsLeftOrDamaged("clip audio");
}

INSTANTIATE_TEST_SUITE_P(Codecs, GeneratedVideo, testing::ValuesIn(videoRecipes), nameOf);
INSTANTIATE_TEST_SUITE_P(Codecs, GeneratedAudio, testing::ValuesIn(audioRecipes), nameOf);

} // namespace
