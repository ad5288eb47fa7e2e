#include "sources/GapMessages.h"

#include <cstddef>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

namespace {

using GapMessages::Gap;

/// What sends messages in the name of a demuxer or a protocol.
struct MessageSender {
    const AVClass *avClass; // FFmpeg wants it to be the first
    const char *name;
    int reconnect; // the option
};

constexpr AVOption senderOptions[] = {
    {"reconnect", nullptr, offsetof(MessageSender, reconnect), AV_OPT_TYPE_BOOL, {0}, 0, 1, 0, nullptr}, {}};

const char *senderName(void *sender)
{
    return static_cast<MessageSender *>(sender)->name;
}

Gap gapOf(const char *className, const char *name, const char *format, bool reconnects = false)
{
    AVClass avClass = {};
    avClass.class_name = className;
    avClass.item_name = senderName;
    avClass.option = senderOptions;
    MessageSender sender = {&avClass, name, reconnects ? 1 : 0};
    return GapMessages::of(&sender, format);
}

} // namespace

TEST(GapMessages, AreThoseOfWhoseInputLacksSomething)
{
    EXPECT_EQ(gapOf("AVFormatContext", "rtsp", "RTP: missed %d packets\n"), Gap::Datagrams);
    EXPECT_EQ(gapOf("AVFormatContext", "hls", "skipping %ld segments ahead, expired from playlists\n"), Gap::Part);
    EXPECT_EQ(gapOf("AVFormatContext", "dash", "Failed to open fragment of playlist\n"), Gap::Part);
    EXPECT_EQ(gapOf("URLContext", "https", "Stream ends prematurely at %lu, should be %lu\n"), Gap::Part);
}

TEST(GapMessages, AreNotThoseOfConnectionsThatAskForTheRest)
{
    EXPECT_EQ(gapOf("URLContext", "http", "Stream ends prematurely at %lu, should be %lu\n", true), Gap::None);
    // A demuxer has the options of its connection.
    EXPECT_EQ(gapOf("AVFormatContext", "hls", "skipping %ld segments ahead, expired from playlists\n", true),
              Gap::Part);
}

TEST(GapMessages, AreNotThoseOfOthersThatBeginAlike)
{
    EXPECT_EQ(gapOf("AVFormatContext", "bink", "skipping %u bytes of end-of-frame marker chunk\n"), Gap::None);
    EXPECT_EQ(gapOf("AVCodecContext", "hls", "skipping %u bytes\n"), Gap::None);
    EXPECT_EQ(gapOf("AVFormatContext", "http", "Stream ends prematurely\n"), Gap::None);
    EXPECT_EQ(gapOf("AVFormatContext", "hls", "Opening '%s' for reading\n"), Gap::None);
    EXPECT_EQ(GapMessages::of(nullptr, "skipping %d segments\n"), Gap::None);
    const AVClass *classless = nullptr;
    EXPECT_EQ(GapMessages::of(&classless, "skipping %d segments\n"), Gap::None);
}
