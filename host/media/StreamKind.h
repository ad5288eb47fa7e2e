#ifndef HOST_MEDIA_STREAMKIND_H
#define HOST_MEDIA_STREAMKIND_H

#include <QtGlobal>

#include <array>
#include <cstddef>

/// The kinds of streams that are decoded. An input has at most one of each.
enum class StreamKind { Video, Audio };

constexpr std::array<StreamKind, 2> streamKinds = {StreamKind::Video, StreamKind::Audio};

constexpr std::size_t indexOf(StreamKind kind)
{
    return static_cast<std::size_t>(kind);
}

/// @return the id that blocks of the kind carry in queues.
constexpr quint32 streamIdOf(StreamKind kind)
{
    return kind == StreamKind::Video ? 0 : 8;
}

constexpr StreamKind kindOf(quint32 streamId)
{
    return streamId == streamIdOf(StreamKind::Video) ? StreamKind::Video : StreamKind::Audio;
}

constexpr const char *nameOf(StreamKind kind)
{
    return kind == StreamKind::Video ? "video" : "audio";
}

#endif
