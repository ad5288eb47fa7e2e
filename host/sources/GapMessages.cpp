#include "sources/GapMessages.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

namespace {

/// How a message begins, and whose it is: others begin some of theirs alike.
struct KnownMessage {
    GapMessages::Gap gap;
    const char *className;
    const char *name; // of the demuxer or protocol
    const char *beginning;
};

constexpr auto datagrams = GapMessages::Gap::Datagrams;
constexpr auto part = GapMessages::Gap::Part;

constexpr std::array<KnownMessage, 11> knownMessages = {{
    {datagrams, "AVFormatContext", "rtsp", "RTP: missed "},
    {datagrams, "AVFormatContext", "sdp", "RTP: missed "},
    {datagrams, "AVFormatContext", "rtp", "RTP: missed "},
    {part, "AVFormatContext", "hls", "Failed to open segment "},
    {part, "AVFormatContext", "hls", "Failed to open an initialization section"},
    {part, "AVFormatContext", "hls", "Failed to reload playlist "},
    {part, "AVFormatContext", "hls", "skipping %"}, // segments that have left the list before they were read
    {part, "AVFormatContext", "dash", "Failed to open fragment "},
    {part, "AVFormatContext", "dash", "Failed to open an initialization section"},
    // Said by the connection that a segment comes over, unless that asks for the rest: then it fails, or nothing is
    // missing.
    {part, "URLContext", "http", "Stream ends prematurely"},
    {part, "URLContext", "https", "Stream ends prematurely"},
}};

bool asksForRest(void *sender)
{
    std::int64_t reconnects = 0;
    return av_opt_get_int(sender, "reconnect", AV_OPT_SEARCH_CHILDREN, &reconnects) >= 0 && reconnects != 0;
}

} // namespace

GapMessages::Gap GapMessages::of(void *sender, const char *format)
{
    const AVClass *const senderClass = sender ? *static_cast<const AVClass **>(sender) : nullptr;
    if (!senderClass || !senderClass->item_name)
        return Gap::None;
    const auto found = std::find_if(knownMessages.begin(), knownMessages.end(), [&](const KnownMessage &known) {
        return std::strncmp(format, known.beginning, std::strlen(known.beginning)) == 0 &&
               std::strcmp(senderClass->class_name, known.className) == 0 &&
               std::strcmp(senderClass->item_name(sender), known.name) == 0;
    });
    const bool isOfConnection = found != knownMessages.end() && std::strcmp(found->className, "URLContext") == 0;
    return found == knownMessages.end() || (isOfConnection && asksForRest(sender)) ? Gap::None : found->gap;
}
