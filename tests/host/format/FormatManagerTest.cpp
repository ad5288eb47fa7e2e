#include "format/FormatManager.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/macros.h>
}

namespace {

TEST(FormatManager, UnknownFourccGivesAnEmptyPointer)
{
    ::FormatManager manager(std::make_shared<DamageCounts>());
    EXPECT_TRUE(manager.createVideoCodecDecoder(MKTAG('?', '?', '?', '?')).isNull());
    EXPECT_TRUE(manager.createAudioCodecDecoder(MKTAG('H', '2', '6', '4')).isNull());
    EXPECT_TRUE(manager.createVideoCodecDecoder(MKTAG('m', 'p', '4', 'a')).isNull());
    EXPECT_FALSE(manager.createVideoCodecDecoder(MKTAG('H', '2', '6', '4')).isNull());
    EXPECT_FALSE(manager.createAudioCodecDecoder(MKTAG('m', 'p', '4', 'a')).isNull());
}

TEST(FormatManager, SilencesTheLibrariesOwnMessages)
{
    av_log_set_level(AV_LOG_INFO);
    const ::FormatManager manager(std::make_shared<DamageCounts>());
    EXPECT_EQ(av_log_get_level(), AV_LOG_QUIET);
}

} // namespace
