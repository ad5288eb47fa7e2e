#include "cli/InputSpec.h"

#include <gmock/gmock.h>

using testing::Optional;

TEST(InputSpec, IsALiveAddressThatMayStandBehindAName)
{
    const InputSpec named = InputSpec::parse("front-door.2_b=rtsp://10.0.0.5/1?a=b");
    EXPECT_THAT(named.name, Optional(std::string("front-door.2_b")));
    EXPECT_EQ(named.url, "rtsp://10.0.0.5/1?a=b");
    EXPECT_TRUE(named.isLive());
    const InputSpec plain = InputSpec::parse("lavfi:testsrc2=rate=25");
    EXPECT_EQ(plain.name, std::nullopt);
    EXPECT_EQ(plain.url, "lavfi:testsrc2=rate=25");
    EXPECT_TRUE(plain.isLive());
}

TEST(InputSpec, IsAFileWhateverSignsItsNameHolds)
{
    for (const char *const text : {"front-door=clip.mp4", "clip.mp4", "=rtsp://10.0.0.5/1", "a b=rtsp://10.0.0.5/1",
                                   "clip=http://archive/clip.mp4"}) {
        const InputSpec file = InputSpec::parse(text);
        EXPECT_EQ(file.url, text);
        EXPECT_EQ(file.name, std::nullopt);
        EXPECT_FALSE(file.isLive());
    }
}
