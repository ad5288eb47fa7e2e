#include "format/MediaBlock.h"

#include <QDataStream>
#include <QtEndian>

#include <cstddef>
#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr quint32 magic = 0x314b4c42; // "BLK1"
constexpr int fourccSize = 4;

struct Header {
    quint32 magic;
    qint32 flags;
    qint64 pts;
    qint64 dts;
    qint64 duration;
    qint64 sinceBlockTimeMs; // 0 but in a burst
    quint32 parametersSize;  // bytes, as are the next two
    quint32 sideDataSize;
    quint32 codedSize;
    qint32 sideDataCount;
};

struct SideDataHeader {
    qint32 type;
    quint32 size; // bytes
};

void append(QByteArray &block, const void *bytes, std::size_t size)
{
    block.append(static_cast<const char *>(bytes), static_cast<int>(size));
}

void appendPacket(QByteArray &block, const QByteArray &parameters, const AVPacket &packet)
{
    Header header = {magic,
                     packet.flags,
                     packet.pts,
                     packet.dts,
                     packet.duration,
                     0,
                     static_cast<quint32>(parameters.size()),
                     0,
                     static_cast<quint32>(packet.size),
                     packet.side_data_elems};
    for (int index = 0; index < packet.side_data_elems; ++index)
        header.sideDataSize += static_cast<quint32>(sizeof(SideDataHeader) + packet.side_data[index].size);
    block.reserve(block.size() + static_cast<int>(sizeof header + header.parametersSize + header.sideDataSize +
                                                  header.codedSize + AV_INPUT_BUFFER_PADDING_SIZE));

    append(block, &header, sizeof header);
    block.append(parameters);
    for (int index = 0; index < packet.side_data_elems; ++index) {
        const AVPacketSideData &sideData = packet.side_data[index];
        const SideDataHeader sideDataHeader = {sideData.type, static_cast<quint32>(sideData.size)};
        append(block, &sideDataHeader, sizeof sideDataHeader);
        append(block, sideData.data, sideData.size);
    }
    append(block, packet.data, header.codedSize);
    block.append(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
}

bool unpackSideData(const char *bytes, const Header &header, AVPacket *packet)
{
    quint32 left = header.sideDataSize;
    for (qint32 index = 0; index < header.sideDataCount; ++index) {
        SideDataHeader sideData = {};
        if (left < sizeof sideData)
            return false;
        std::memcpy(&sideData, bytes, sizeof sideData);
        left -= static_cast<quint32>(sizeof sideData);
        if (left < sideData.size)
            return false;
        std::uint8_t *const copy =
            av_packet_new_side_data(packet, static_cast<AVPacketSideDataType>(sideData.type), sideData.size);
        if (!copy)
            return false;
        std::memcpy(copy, bytes + sizeof sideData, sideData.size);
        bytes += sizeof sideData + sideData.size;
        left -= sideData.size;
    }
    return left == 0;
}

void releaseBlock(void *block, std::uint8_t * /*bytes*/)
{
    delete static_cast<QByteArray *>(block);
}

/// The @p size coded bytes at @p offset of @p block, owned by the packet from now on. They are shared with the queue,
/// so never written to.
bool unpackCodedBytes(const QByteArray &block, qint64 offset, quint32 size, AVPacket *packet)
{
    auto *const owner = new QByteArray(block);
    auto *const bytes = reinterpret_cast<std::uint8_t *>(const_cast<char *>(owner->constData()));
    packet->buf =
        av_buffer_create(bytes, static_cast<std::size_t>(block.size()), releaseBlock, owner, AV_BUFFER_FLAG_READONLY);
    if (!packet->buf) {
        delete owner;
        return false;
    }
    packet->size = static_cast<int>(size);
    packet->data = bytes + offset;
    return true;
}

} // namespace

QByteArray MediaBlock::packParameters(const Parameters &parameters, const AVCodecParameters &codec)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << parameters.origin << parameters.timeBaseNumerator << parameters.timeBaseDenominator
           << parameters.frameRateNumerator << parameters.frameRateDenominator << parameters.sampleAspectNumerator
           << parameters.sampleAspectDenominator << parameters.source;
    stream << qint32(codec.codec_type) << qint32(codec.codec_id) << quint32(codec.codec_tag)
           << QByteArray(reinterpret_cast<const char *>(codec.extradata), codec.extradata_size) << qint32(codec.format)
           << qint64(codec.bit_rate) << qint32(codec.bits_per_coded_sample) << qint32(codec.bits_per_raw_sample)
           << qint32(codec.profile) << qint32(codec.level) << qint32(codec.width) << qint32(codec.height)
           << qint32(codec.sample_aspect_ratio.num) << qint32(codec.sample_aspect_ratio.den)
           << qint32(codec.field_order) << qint32(codec.color_range) << qint32(codec.color_primaries)
           << qint32(codec.color_trc) << qint32(codec.color_space) << qint32(codec.chroma_location)
           << qint32(codec.video_delay) << qint32(codec.ch_layout.order) << qint32(codec.ch_layout.nb_channels)
           << quint64(codec.ch_layout.order == AV_CHANNEL_ORDER_CUSTOM ? 0 : codec.ch_layout.u.mask)
           << qint32(codec.sample_rate) << qint32(codec.block_align) << qint32(codec.frame_size)
           << qint32(codec.initial_padding) << qint32(codec.trailing_padding) << qint32(codec.seek_preroll);
    return bytes;
}

std::optional<MediaBlock::Parameters> MediaBlock::unpackParameters(const QByteArray &bytes, AVCodecParameters *codec)
{
    Parameters parameters;
    QDataStream stream(bytes);
    stream >> parameters.origin >> parameters.timeBaseNumerator >> parameters.timeBaseDenominator >>
        parameters.frameRateNumerator >> parameters.frameRateDenominator >> parameters.sampleAspectNumerator >>
        parameters.sampleAspectDenominator >> parameters.source;

    const auto next = [&stream] {
        qint32 value = 0;
        stream >> value;
        return value;
    };
    codec->codec_type = static_cast<AVMediaType>(next());
    codec->codec_id = static_cast<AVCodecID>(next());
    codec->codec_tag = static_cast<quint32>(next());
    QByteArray extradata;
    stream >> extradata;
    codec->format = next();
    qint64 bitRate = 0;
    stream >> bitRate;
    codec->bit_rate = bitRate;
    codec->bits_per_coded_sample = next();
    codec->bits_per_raw_sample = next();
    codec->profile = next();
    codec->level = next();
    codec->width = next();
    codec->height = next();
    codec->sample_aspect_ratio.num = next();
    codec->sample_aspect_ratio.den = next();
    codec->field_order = static_cast<AVFieldOrder>(next());
    codec->color_range = static_cast<AVColorRange>(next());
    codec->color_primaries = static_cast<AVColorPrimaries>(next());
    codec->color_trc = static_cast<AVColorTransferCharacteristic>(next());
    codec->color_space = static_cast<AVColorSpace>(next());
    codec->chroma_location = static_cast<AVChromaLocation>(next());
    codec->video_delay = next();
    const auto channelOrder = static_cast<AVChannelOrder>(next());
    codec->ch_layout.nb_channels = next();
    quint64 channelMask = 0;
    stream >> channelMask;
    codec->ch_layout.u.mask = channelMask;
    // A custom order's map does not travel; the number of its channels does.
    codec->ch_layout.order = channelOrder == AV_CHANNEL_ORDER_CUSTOM ? AV_CHANNEL_ORDER_UNSPEC : channelOrder;
    codec->sample_rate = next();
    codec->block_align = next();
    codec->frame_size = next();
    codec->initial_padding = next();
    codec->trailing_padding = next();
    codec->seek_preroll = next();
    if (stream.status() != QDataStream::Ok || !stream.atEnd())
        return std::nullopt;

    av_freep(&codec->extradata);
    codec->extradata_size = 0;
    if (!extradata.isEmpty()) {
        const std::size_t size = static_cast<std::size_t>(extradata.size());
        codec->extradata = static_cast<std::uint8_t *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!codec->extradata)
            return std::nullopt;
        std::memcpy(codec->extradata, extradata.constData(), size);
        codec->extradata_size = extradata.size();
    }
    return parameters;
}

QByteArray MediaBlock::packKeyBlock(quint32 fourcc, const QByteArray &parameters, const AVPacket &packet)
{
    QByteArray block;
    const quint32 fourccBytes = qToLittleEndian(fourcc);
    block.reserve(static_cast<int>(sizeof fourccBytes));
    append(block, &fourccBytes, sizeof fourccBytes);
    appendPacket(block, parameters, packet);
    return block;
}

QByteArray MediaBlock::packBlock(const AVPacket &packet)
{
    QByteArray block;
    appendPacket(block, QByteArray(), packet);
    return block;
}

bool MediaBlock::canJoin(const QByteArray &first, const QByteArray &next, bool keyBlocks)
{
    if (!keyBlocks)
        return true;
    return first.size() >= fourccSize && next.size() >= fourccSize &&
           std::memcmp(first.constData(), next.constData(), fourccSize) == 0;
}

QByteArray MediaBlock::join(const std::vector<Part> &parts, bool keyBlocks)
{
    int size = 0;
    for (const Part &part : parts)
        size += part.block.size();
    QByteArray burst;
    burst.reserve(size);
    for (const Part &part : parts) {
        const int timeAt = burst.size() + (keyBlocks ? fourccSize : 0) + int(offsetof(Header, sinceBlockTimeMs));
        const qint64 sinceBlockTimeMs = part.blockTimeMs - parts.front().blockTimeMs;
        burst.append(part.block);
        // What is too short to be a block of this host is found out when it is unpacked.
        if (timeAt + int(sizeof sinceBlockTimeMs) <= burst.size())
            std::memcpy(burst.data() + timeAt, &sinceBlockTimeMs, sizeof sinceBlockTimeMs);
    }
    return burst;
}

bool MediaBlock::unpack(const QByteArray &block, bool keyBlock, AVPacket *packet, QByteArray *parameters,
                        Position *position)
{
    av_packet_unref(packet);
    const qint64 headerAt = (position ? position->offset : 0) + (keyBlock ? fourccSize : 0);
    Header header = {};
    if (block.size() < headerAt + static_cast<qint64>(sizeof header))
        return false;
    std::memcpy(&header, block.constData() + headerAt, sizeof header);
    const qint64 parametersAt = headerAt + static_cast<qint64>(sizeof header);
    const qint64 sideDataAt = parametersAt + header.parametersSize;
    const qint64 codedAt = sideDataAt + header.sideDataSize;
    const qint64 end = codedAt + header.codedSize + AV_INPUT_BUFFER_PADDING_SIZE;
    if (header.magic != magic || (position ? end > block.size() : end != block.size()) ||
        !unpackSideData(block.constData() + sideDataAt, header, packet) ||
        !unpackCodedBytes(block, codedAt, header.codedSize, packet)) {
        av_packet_unref(packet);
        return false;
    }
    packet->flags = header.flags;
    packet->pts = header.pts;
    packet->dts = header.dts;
    packet->duration = header.duration;
    if (keyBlock)
        *parameters = QByteArray(block.constData() + parametersAt, static_cast<int>(header.parametersSize));
    if (position)
        *position = {static_cast<int>(end), header.sinceBlockTimeMs};
    return true;
}
