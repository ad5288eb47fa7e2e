#include "Clip.h"

#include <QString>

#include <atomic>
#include <utility>

#include "format/Fourcc.h"
#include "format/MediaBlock.h"
#include "sources/MediaInput.h"

std::variant<Clip, std::string> Clip::read(const std::string &path, int count, Form form)
{
    const std::atomic<bool> stopRequested{false};
    auto opened = MediaInput::open(path, {}, stopRequested);
    if (std::string *const error = std::get_if<std::string>(&opened))
        return std::move(*error);
    MediaInput &input = *std::get<std::unique_ptr<MediaInput>>(opened);
    const int video = input.bestStream(AVMEDIA_TYPE_VIDEO, -1);
    if (video < 0)
        return path + ": there is no video in it";
    input.select([video](int index) { return index == video; });

    Clip clip;
    const AVStream &stream = input.stream(video);
    clip._timeBase = stream.time_base;
    clip._parameters.reset(avcodec_parameters_alloc());
    if (!clip._parameters || avcodec_parameters_copy(clip._parameters.get(), stream.codecpar) < 0)
        return path + ": there is no memory for it";
    const std::optional<quint32> fourcc = fourccOf(*stream.codecpar);
    if (!fourcc)
        return path + ": its codec has no fourcc";
    const QByteArray parameters =
        MediaBlock::packParameters({origin, stream.time_base.num, stream.time_base.den, 25, 1, 0, 1}, *stream.codecpar);

    Packet packet(av_packet_alloc());
    for (int index = 0; index < count && input.read(packet.get()) == 0; av_packet_unref(packet.get())) {
        if (packet->stream_index != video)
            continue;
        const bool keyBlock = index == 0 || (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (form == Form::Packets)
            clip._packets.emplace_back(av_packet_clone(packet.get()));
        else if (keyBlock)
            clip._blocks.push_back({MediaBlock::packKeyBlock(*fourcc, parameters, *packet), true, packet->pts});
        else
            clip._blocks.push_back({MediaBlock::packBlock(*packet), false, packet->pts});
        ++index;
    }
    return clip;
}
