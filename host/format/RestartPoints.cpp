#include "format/RestartPoints.h"

#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr int leastConfigurationBytes = 7;
constexpr int hevcLengthPlace = 21; // in its configuration record
constexpr int h264LengthPlace = 4;

/// @return how many bytes tell the length of each unit, as the configuration record says; 0 without one.
int lengthBytesOf(const AVCodecParameters &codec)
{
    const int place = codec.codec_id == AV_CODEC_ID_HEVC ? hevcLengthPlace : h264LengthPlace;
    if (codec.extradata_size < leastConfigurationBytes || codec.extradata_size <= place || codec.extradata[0] != 1)
        return 0;
    return (codec.extradata[place] & 3) + 1;
}

/// @return the first byte of the unit behind the next start code from @p at on; null without one.
const std::uint8_t *behindStartCode(const std::uint8_t *at, const std::uint8_t *end)
{
    while (end - at > 3) {
        at = static_cast<const std::uint8_t *>(std::memchr(at + 2, 1, static_cast<std::size_t>(end - at - 3)));
        if (!at)
            return nullptr;
        if (at[-1] == 0 && at[-2] == 0)
            return at + 1;
        --at;
    }
    return nullptr;
}

} // namespace

RestartPoints::RestartPoints(const AVCodecParameters &codec)
    : _isHevc(codec.codec_id == AV_CODEC_ID_HEVC)
    , _lengthBytes(lengthBytesOf(codec))
    , _areSetsInBand(_lengthBytes == 0)
{
}

bool RestartPoints::isAt(const AVPacket &packet)
{
    const Content content = contentOf(packet);
    const unsigned int allSets = _isHevc ? 7 : 3;
    _areSetsInBand = _areSetsInBand || content.sets != 0;
    const bool hasItsSets = !_areSetsInBand || content.sets == allSets;
    const bool isPoint = content.isPicture && content.isRestart && hasItsSets;
    const bool bringsOthers = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr) ||
                              av_packet_get_side_data(&packet, AV_PKT_DATA_PARAM_CHANGE, nullptr);
    _areSetsScattered = _areSetsScattered || bringsOthers || (content.sets != 0 && !isPoint);
    return isPoint && !_areSetsScattered;
}

RestartPoints::Content RestartPoints::contentOf(const AVPacket &packet) const
{
    Content content;
    const std::uint8_t *at = packet.data;
    const std::uint8_t *const end = at + packet.size;
    if (_lengthBytes == 0) {
        while ((at = behindStartCode(at, end)))
            addUnit(*at, content);
        return content;
    }
    while (end - at > _lengthBytes) {
        std::uint32_t length = 0;
        for (int index = 0; index < _lengthBytes; ++index)
            length = length << 8 | *at++;
        if (length > static_cast<std::uint32_t>(end - at))
            break;
        if (length > 0)
            addUnit(*at, content);
        at += length;
    }
    return content;
}

void RestartPoints::addUnit(std::uint8_t firstByte, Content &content) const
{
    const unsigned int type = _isHevc ? firstByte >> 1 & 0x3f : firstByte & 0x1f;
    const bool isSlice = _isHevc ? type < 32 : type >= 1 && type <= 5;
    // Of H.264 those that all begins anew with; of HEVC also those that pictures shown before them may refer across.
    const bool isRestart = _isHevc ? type >= 16 && type <= 21 : type == 5;
    const unsigned int firstSet = _isHevc ? 32 : 7;
    const unsigned int lastSet = _isHevc ? 34 : 8;
    if (isSlice) {
        content.isPicture = true;
        content.isRestart = content.isRestart && isRestart;
    } else if (type >= firstSet && type <= lastSet) {
        content.sets |= 1U << (type - firstSet);
    }
}
