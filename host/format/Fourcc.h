#ifndef HOST_FORMAT_FOURCC_H
#define HOST_FORMAT_FOURCC_H

#include <QtGlobal>

#include <optional>
#include <string>

extern "C" {
#include <libavutil/avutil.h>
}

struct AVCodecParameters;

/// @return the fourcc under which a stream of these parameters travels: its container's own tag where that names the
///         codec, otherwise the first one that libavformat's tables of RIFF and MOV tags give it, otherwise one made of
///         libavcodec's number of the codec; nothing for what is neither video nor audio. Thread-safe, as is the next
///         one.
std::optional<quint32> fourccOf(const AVCodecParameters &parameters);

/// Whether @p fourcc stands for a codec of @p mediaType that libavcodec can decode. Some stand for several (all PCM
/// variants share one): which one it is, the stream's parameters tell.
bool isKnownFourcc(quint32 fourcc, AVMediaType mediaType);

/// @return the four characters, such as "avc1"; the number in hexadecimal digits where they cannot be shown.
std::string fourccText(quint32 fourcc);

/// @return what people call the codec of @p parameters: libavcodec's name, or the container's fourcc where libavcodec
///         knows none for it, or "an unknown codec".
std::string codecNameOf(const AVCodecParameters &parameters);

#endif
