#include "format/CodecComplaints.h"

#include <thread>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

namespace {

/// A codec that says something when it is told to.
class TalkingCodec final {
public:
    explicit TalkingCodec(void *opaque) { _context->opaque = opaque; }
    ~TalkingCodec() { avcodec_free_context(&_context); }
    TalkingCodec(const TalkingCodec &) = delete;
    TalkingCodec &operator=(const TalkingCodec &) = delete;

    void say(int level) { av_log(_context, level, "concealing %d errors\n", 3); }

private:
    AVCodecContext *_context = avcodec_alloc_context3(nullptr);
};

} // namespace

TEST(CodecComplaints, AreMessagesOfTheCodecOnAnyThread)
{
    int opaque = 0;
    const CodecComplaints complaints(&opaque);
    TalkingCodec codec(&opaque);
    EXPECT_FALSE(complaints.areThere());
    std::thread([&codec] { codec.say(AV_LOG_INFO); }).join();
    EXPECT_TRUE(complaints.areThere());
}

TEST(CodecComplaints, AreNotWhatOthersSayNorWhatIsOnlyForDevelopers)
{
    int opaque = 0;
    int other = 0;
    const CodecComplaints complaints(&opaque);
    TalkingCodec(&other).say(AV_LOG_ERROR);
    TalkingCodec(nullptr).say(AV_LOG_ERROR);
    av_log(nullptr, AV_LOG_ERROR, "nobody's\n");
    TalkingCodec(&opaque).say(AV_LOG_VERBOSE);
    EXPECT_FALSE(complaints.areThere());
}

TEST(CodecComplaints, OfAnEarlierCodecAreForgotten)
{
    int opaque = 0;
    TalkingCodec codec(&opaque);
    {
        const CodecComplaints before(&opaque);
        codec.say(AV_LOG_ERROR);
        EXPECT_TRUE(before.areThere());
    }
    codec.say(AV_LOG_ERROR);
    EXPECT_FALSE(CodecComplaints(&opaque).areThere());
}
