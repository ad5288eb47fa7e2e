#include "sources/FormatOptions.h"

#include "MediaFixture.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class FormatOptionsTest : public MediaFixture {
protected:
    static MediaSource::Options with(const char *name, const char *value)
    {
        MediaSource::Options options;
        options.access.options[name] = value;
        return options;
    }
};

TEST_F(FormatOptionsTest, KnowTheNamesOfAllThatInputsTake)
{
    const std::vector<std::string> names = FormatOptions::names();
    for (const char *const name : {"localaddr", "user_agent", "rw_timeout", "probesize", "rtsp_transport",
                                   "live_start_index", "ignore_editlist", "passphrase"})
        EXPECT_THAT(names, Contains(name));
    for (const char *const name : {"movflags", "hls_time", "stal", ""})
        EXPECT_THAT(names, Not(Contains(name)));
}

TEST_F(FormatOptionsTest, OfTheUserGoBeforeThoseOfTheHost)
{
    FormatOptions options({{"rtsp_transport", "udp"}, {"user_agent", "x"}});
    EXPECT_TRUE(options.isAsked());
    options.set("rtsp_transport", "tcp");
    options.set("probesize", "5000");
    EXPECT_STREQ(av_dict_get(*options.dictionary(), "rtsp_transport", nullptr, 0)->value, "udp");
    EXPECT_STREQ(av_dict_get(*options.dictionary(), "probesize", nullptr, 0)->value, "5000");
    EXPECT_EQ(options.refused(), "rtsp_transport, user_agent");
    av_dict_set(options.dictionary(), "user_agent", nullptr, 0);
    EXPECT_EQ(options.refused(), "rtsp_transport");
    av_dict_set(options.dictionary(), "rtsp_transport", nullptr, 0);
    EXPECT_EQ(options.refused(), std::nullopt) << "nobody asked for those of the host";
}

TEST_F(FormatOptionsTest, ReachLibavformat)
{
    // Two of the four seconds that the edit list leaves out are there without it.
    const QString clip = makeClip(QStringLiteral("clip.mp4"));
    const QString cut = make(QStringLiteral("-ss 1 -i %1 -c copy -an").arg(clip), QStringLiteral("cut.mp4"));
    const auto start = [&](const MediaSource::Options &options) { return open(cut, options)->startTimeUs(); };
    EXPECT_NE(start(with("ignore_editlist", "1")), start({}));
}

TEST_F(FormatOptionsTest, ThatAnInputDoesNotTakeAreErrors)
{
    const QString clip = makeClip();
    EXPECT_THAT(errorOf(clip, with("rtsp_transport", "tcp")),
                HasSubstr(": libavformat takes no option \"rtsp_transport\" for this input"));
    EXPECT_THAT(errorOf(clip, with("probesize", "much")), HasSubstr(": an option is wrong: "));
    EXPECT_THAT(errorOf(clip, with("probesize", "-7")), HasSubstr(": an option is wrong: "));
}

} // namespace
