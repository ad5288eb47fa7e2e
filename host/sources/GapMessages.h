#ifndef HOST_SOURCES_GAPMESSAGES_H
#define HOST_SOURCES_GAPMESSAGES_H

/// Which messages of the FFmpeg libraries say that something of an input is missing, which nothing else tells. All
/// operations are thread-safe.
namespace GapMessages {

enum class Gap {
    None,
    Datagrams,
    Part // of a playlist or a manifest
};

/// @param sender of the message, as FFmpeg names it: null, or what begins with a pointer to its AVClass.
/// @param format the message before its arguments are filled in.
[[nodiscard]] Gap of(void *sender, const char *format);

} // namespace GapMessages

#endif
