#include "format/MediaBlock.h"

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr quint32 fourcc = MKTAG('H', '2', '6', '4');
constexpr int headerSize = 64; // of a block that continues the stream

struct Free {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
};
using Packet = std::unique_ptr<AVPacket, Free>;
using CodecParameters = std::unique_ptr<AVCodecParameters, Free>;

Packet packetOf(const QByteArray &bytes)
{
    Packet packet(av_packet_alloc());
    av_new_packet(packet.get(), bytes.size());
    std::memcpy(packet->data, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    packet->pts = 1234567890123;
    packet->dts = -5;
    packet->duration = 40;
    packet->flags = AV_PKT_FLAG_KEY | AV_PKT_FLAG_DISCARD;
    return packet;
}

Packet packetWithSideData()
{
    Packet packet = packetOf("coded bytes");
    std::memcpy(av_packet_new_side_data(packet.get(), AV_PKT_DATA_SKIP_SAMPLES, 10), "0123456789", 10);
    std::memcpy(av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, 3), "abc", 3);
    return packet;
}

QByteArray bytesOf(const std::uint8_t *data, std::size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size));
}

CodecParameters videoParameters()
{
    CodecParameters parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AV_CODEC_ID_H264;
    parameters->codec_tag = 0x31637661;
    parameters->extradata = static_cast<std::uint8_t *>(av_mallocz(4 + AV_INPUT_BUFFER_PADDING_SIZE));
    std::memcpy(parameters->extradata, "\1\2\0\3", 4);
    parameters->extradata_size = 4;
    parameters->format = AV_PIX_FMT_YUV420P;
    parameters->bit_rate = 5000000000;
    parameters->bits_per_coded_sample = 24;
    parameters->bits_per_raw_sample = 8;
    parameters->profile = 100;
    parameters->level = 41;
    parameters->width = 1920;
    parameters->height = 1080;
    parameters->sample_aspect_ratio = {4, 3};
    parameters->field_order = AV_FIELD_TT;
    parameters->color_range = AVCOL_RANGE_JPEG;
    parameters->color_primaries = AVCOL_PRI_BT709;
    parameters->color_trc = AVCOL_TRC_SMPTE2084;
    parameters->color_space = AVCOL_SPC_BT2020_NCL;
    parameters->chroma_location = AVCHROMA_LOC_LEFT;
    parameters->video_delay = 2;
    return parameters;
}

TEST(MediaBlock, KeyBlockBeginsWithItsFourcc)
{
    const QByteArray block = MediaBlock::packKeyBlock(fourcc, QByteArray(), *packetOf("coded"));
    EXPECT_EQ(block.left(4), QByteArray("H264"));
}

TEST(MediaBlock, PacketComesBackAsItWas)
{
    const Packet packed = packetWithSideData();
    const QByteArray parametersBytes("any bytes");
    for (const bool keyBlock : {true, false}) {
        const QByteArray block =
            keyBlock ? MediaBlock::packKeyBlock(fourcc, parametersBytes, *packed) : MediaBlock::packBlock(*packed);
        const Packet packet(av_packet_alloc());
        QByteArray parameters;
        ASSERT_TRUE(MediaBlock::unpack(block, keyBlock, packet.get(), &parameters));
        EXPECT_EQ(parameters, keyBlock ? parametersBytes : QByteArray());
        EXPECT_EQ(bytesOf(packet->data, static_cast<std::size_t>(packet->size)), QByteArray("coded bytes"));
        EXPECT_EQ(packet->pts, packed->pts);
        EXPECT_EQ(packet->dts, packed->dts);
        EXPECT_EQ(packet->duration, packed->duration);
        EXPECT_EQ(packet->flags, packed->flags);
        ASSERT_EQ(packet->side_data_elems, 2);
        EXPECT_EQ(packet->side_data[0].type, AV_PKT_DATA_SKIP_SAMPLES);
        EXPECT_EQ(bytesOf(packet->side_data[0].data, packet->side_data[0].size), QByteArray("0123456789"));
        EXPECT_EQ(packet->side_data[1].type, AV_PKT_DATA_NEW_EXTRADATA);
        EXPECT_EQ(bytesOf(packet->side_data[1].data, packet->side_data[1].size), QByteArray("abc"));
    }
}

TEST(MediaBlock, PacketSharesTheBlocksBytesAndKeepsThemAlive)
{
    QByteArray block = MediaBlock::packBlock(*packetOf("coded bytes"));
    const char *const begin = block.constData();
    const char *const end = begin + block.size();
    const Packet packet(av_packet_alloc());
    ASSERT_TRUE(MediaBlock::unpack(block, false, packet.get(), nullptr));
    block.clear();
    const auto *const coded = reinterpret_cast<const char *>(packet->data);
    EXPECT_GE(coded, begin);
    EXPECT_EQ(coded + packet->size + AV_INPUT_BUFFER_PADDING_SIZE, end);
    EXPECT_EQ(QByteArray(coded, packet->size + AV_INPUT_BUFFER_PADDING_SIZE),
              QByteArray("coded bytes") + QByteArray(AV_INPUT_BUFFER_PADDING_SIZE, '\0'));
    // Consumers of the queue share them.
    EXPECT_FALSE(av_buffer_is_writable(packet->buf));
}

TEST(MediaBlock, TruncatedBlockIsRefused)
{
    const Packet packed = packetWithSideData();
    for (const bool keyBlock : {true, false}) {
        const QByteArray block =
            keyBlock ? MediaBlock::packKeyBlock(fourcc, "parameters", *packed) : MediaBlock::packBlock(*packed);
        for (int size = 0; size < block.size(); ++size) {
            const Packet packet(av_packet_alloc());
            QByteArray parameters;
            EXPECT_FALSE(MediaBlock::unpack(block.left(size), keyBlock, packet.get(), &parameters)) << size;
            EXPECT_EQ(packet->data, nullptr);
            EXPECT_EQ(packet->side_data_elems, 0);
        }
    }
}

TEST(MediaBlock, PacketsOfABurstComeBackOneByOne)
{
    for (const bool keyBlocks : {true, false}) {
        std::vector<MediaBlock::Part> parts;
        for (const char *const coded : {"one", "another", "the third"}) {
            const Packet packet = packetOf(coded);
            packet->pts = static_cast<qint64>(parts.size());
            parts.push_back(
                {keyBlocks ? MediaBlock::packKeyBlock(fourcc, coded, *packet) : MediaBlock::packBlock(*packet),
                 1000 + 40 * static_cast<qint64>(parts.size())});
        }
        const QByteArray burst = MediaBlock::join(parts, keyBlocks);
        const Packet packet(av_packet_alloc());
        MediaBlock::Position position;
        QByteArray parameters;
        for (qint64 number = 0; number < 3; ++number) {
            ASSERT_TRUE(MediaBlock::unpack(burst, keyBlocks, packet.get(), &parameters, &position));
            const QByteArray coded(reinterpret_cast<const char *>(packet->data), packet->size);
            EXPECT_EQ(coded, (QList<QByteArray>{"one", "another", "the third"})[static_cast<int>(number)]);
            EXPECT_EQ(packet->data[packet->size], 0) << "the padding is missing";
            EXPECT_EQ(packet->pts, number);
            EXPECT_EQ(position.sinceBlockTimeMs, 40 * number);
            EXPECT_EQ(parameters, keyBlocks ? coded : QByteArray());
        }
        EXPECT_EQ(position.offset, burst.size());
        EXPECT_FALSE(MediaBlock::unpack(burst, keyBlocks, packet.get(), &parameters, &position));
        EXPECT_FALSE(MediaBlock::unpack(burst, keyBlocks, packet.get(), &parameters)) << "it is a burst";
    }
}

TEST(MediaBlock, KeyBlocksAreJoinedWhereTheirFourccIsTheSame)
{
    const Packet packet = packetOf("coded");
    const QByteArray key = MediaBlock::packKeyBlock(fourcc, "parameters", *packet);
    EXPECT_TRUE(MediaBlock::canJoin(key, MediaBlock::packKeyBlock(fourcc, "others", *packet), true));
    EXPECT_FALSE(MediaBlock::canJoin(key, MediaBlock::packKeyBlock(fourcc + 1, "parameters", *packet), true));
    EXPECT_TRUE(MediaBlock::canJoin(MediaBlock::packBlock(*packet), MediaBlock::packBlock(*packet), false));
    EXPECT_FALSE(MediaBlock::canJoin("H26", key, true)) << "too short to be one";
}

TEST(MediaBlock, TruncatedBurstIsRefusedWhereItEnds)
{
    const Packet packed = packetWithSideData();
    const QByteArray block = MediaBlock::packBlock(*packed);
    const QByteArray burst = MediaBlock::join({{block, 0}, {block, 40}}, false);
    for (int size = block.size(); size < burst.size(); ++size) {
        const QByteArray rest = burst.left(size);
        const Packet packet(av_packet_alloc());
        MediaBlock::Position position;
        EXPECT_TRUE(MediaBlock::unpack(rest, false, packet.get(), nullptr, &position));
        EXPECT_FALSE(MediaBlock::unpack(rest, false, packet.get(), nullptr, &position)) << size;
        EXPECT_EQ(packet->data, nullptr);
    }
}

TEST(MediaBlock, BlockOfAnotherKindIsRefused)
{
    const QByteArray block = MediaBlock::packBlock(*packetWithSideData());
    const Packet packet(av_packet_alloc());
    QByteArray parameters;
    EXPECT_FALSE(MediaBlock::unpack(block, true, packet.get(), &parameters)) << "not a key block";
    EXPECT_FALSE(MediaBlock::unpack(block + 'x', false, packet.get(), nullptr)) << "too long";
    for (int index = 0; index < 4; ++index) {
        QByteArray other = block;
        other[index] = static_cast<char>(other[index] ^ 1);
        EXPECT_FALSE(MediaBlock::unpack(other, false, packet.get(), nullptr)) << "wrong first bytes";
    }
}

TEST(MediaBlock, ChangedSizesAreRefusedOrStayWithinTheBlock)
{
    const QByteArray block = MediaBlock::packBlock(*packetWithSideData());
    const int codedAt = block.size() - AV_INPUT_BUFFER_PADDING_SIZE - int(sizeof "coded bytes" - 1);
    int refused = 0;
    for (int index = 4; index < codedAt; ++index) {
        for (const int value : {0x00, 0x01, 0x7f, 0x80, 0xff}) {
            QByteArray other = block;
            other[index] = static_cast<char>(value);
            const Packet packet(av_packet_alloc());
            if (!MediaBlock::unpack(other, false, packet.get(), nullptr)) {
                ++refused;
                continue;
            }
            const auto *const coded = reinterpret_cast<const char *>(packet->data);
            ASSERT_GE(coded, other.constData() + headerSize);
            ASSERT_LE(coded + packet->size + AV_INPUT_BUFFER_PADDING_SIZE, other.constData() + other.size());
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(MediaBlock, GarbageIsRefused)
{
    std::minstd_rand random(1);
    const Packet packet(av_packet_alloc());
    QByteArray parameters;
    for (int round = 0; round < 2000; ++round) {
        QByteArray garbage(static_cast<int>(random() % 300), '\0');
        for (char &byte : garbage)
            byte = static_cast<char>(random());
        EXPECT_FALSE(MediaBlock::unpack(garbage, round % 2 == 0, packet.get(), &parameters));
    }
}

TEST(MediaBlock, ParametersComeBackAsTheyWere)
{
    const CodecParameters packed = videoParameters();
    const QByteArray bytes = MediaBlock::packParameters({"clip video", 1, 90000, 30000, 1001, 4, 3}, *packed);
    const CodecParameters codec(avcodec_parameters_alloc());
    const auto parameters = MediaBlock::unpackParameters(bytes, codec.get());
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters->origin, QByteArray("clip video"));
    EXPECT_EQ(parameters->timeBaseNumerator, 1);
    EXPECT_EQ(parameters->timeBaseDenominator, 90000);
    EXPECT_EQ(parameters->frameRateNumerator, 30000);
    EXPECT_EQ(parameters->sampleAspectNumerator, 4);
    EXPECT_EQ(parameters->sampleAspectDenominator, 3);
    EXPECT_EQ(parameters->frameRateDenominator, 1001);
    EXPECT_EQ(bytesOf(codec->extradata, static_cast<std::size_t>(codec->extradata_size)), QByteArray("\1\2\0\3", 4));
    EXPECT_EQ(codec->bit_rate, 5000000000);
    EXPECT_EQ(codec->color_trc, AVCOL_TRC_SMPTE2084);
    EXPECT_EQ(codec->video_delay, 2);
    // Packed once more, nothing else has changed either.
    EXPECT_EQ(MediaBlock::packParameters(*parameters, *codec), bytes);
}

TEST(MediaBlock, SampleParametersComeBackAsTheyWere)
{
    const CodecParameters packed(avcodec_parameters_alloc());
    packed->codec_type = AVMEDIA_TYPE_AUDIO;
    packed->codec_id = AV_CODEC_ID_AAC;
    packed->format = AV_SAMPLE_FMT_FLTP;
    av_channel_layout_default(&packed->ch_layout, 6);
    packed->sample_rate = 44100;
    packed->block_align = 4;
    packed->frame_size = 1024;
    packed->initial_padding = 1023;
    packed->trailing_padding = 17;
    packed->seek_preroll = 80;
    const QByteArray bytes = MediaBlock::packParameters({"clip audio", 1, 44100, 0, 1}, *packed);
    const CodecParameters codec(avcodec_parameters_alloc());
    const auto parameters = MediaBlock::unpackParameters(bytes, codec.get());
    ASSERT_TRUE(parameters);
    EXPECT_EQ(av_channel_layout_compare(&codec->ch_layout, &packed->ch_layout), 0);
    EXPECT_EQ(codec->sample_rate, 44100);
    EXPECT_EQ(codec->initial_padding, 1023);
    EXPECT_EQ(MediaBlock::packParameters(*parameters, *codec), bytes);
}

TEST(MediaBlock, DifferentStreamsGiveDifferentParameters)
{
    const CodecParameters codec = videoParameters();
    const QByteArray bytes = MediaBlock::packParameters({"clip video", 1, 90000, 25, 1}, *codec);
    EXPECT_EQ(MediaBlock::packParameters({"clip video", 1, 90000, 25, 1}, *codec), bytes);
    codec->extradata[1] = 9;
    EXPECT_NE(MediaBlock::packParameters({"clip video", 1, 90000, 25, 1}, *codec), bytes);
}

TEST(MediaBlock, TruncatedOrLongerParametersAreRefused)
{
    const QByteArray bytes = MediaBlock::packParameters({"clip video", 1, 25, 25, 1}, *videoParameters());
    const CodecParameters codec(avcodec_parameters_alloc());
    for (int size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(MediaBlock::unpackParameters(bytes.left(size), codec.get())) << size;
    EXPECT_FALSE(MediaBlock::unpackParameters(bytes + 'x', codec.get()));
}

} // namespace
