#include "sources/MediaProbe.h"

#include "sources/MediaInput.h"

std::variant<MediaProbe, std::string> MediaProbe::of(const std::string &url, const InputAccess &access)
{
    const std::atomic<bool> neverStopped(false);
    const auto opened = MediaInput::open(url, access, neverStopped);
    if (const auto *const error = std::get_if<std::string>(&opened))
        return *error;

    const MediaInput &input = *std::get<std::unique_ptr<MediaInput>>(opened);
    MediaProbe probe;
    probe.container = input.container();
    probe.duration = input.duration();
    for (int index = 0; index < input.streamCount(); ++index)
        probe.streams.push_back(input.describe(index));
    probe.videoIndex = input.bestStream(AVMEDIA_TYPE_VIDEO, -1);
    probe.audioIndex = input.bestStream(AVMEDIA_TYPE_AUDIO, probe.videoIndex);
    return probe;
}
