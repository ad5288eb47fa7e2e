#include <cstring>
#include <functional>

#include "CutClip.h"
#include "VideoCodecFixture.h"
#include "fakes/RecordedMessages.h"
#include "format/MediaBlock.h"
#include "format/VideoCodecDecoder.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(VideoCodecDecoding, DamageIsCountedAndReportedOnceForEachKind)
{
    // One slice for each picture, so that what is lost of it is concealed.
    Clip clip = made("-bf 0 -c:v mpeg4 -g 300 -b:v 2M", "clip.avi");
    for (std::size_t index = 1; index < clip.blocks.size(); ++index) {
        QByteArray &bytes = clip.blocks[index].data;
        for (int at = bytes.size() * 2 / 3; at < bytes.size() - AV_INPUT_BUFFER_PADDING_SIZE; ++at)
            bytes[at] = static_cast<char>(at * 37 + 11);
    }
    const PictureRecords *const records = addOutput();
    RecordedMessages messages;
    decodeAll(clip);
    drain();
    ASSERT_EQ(records->entries.size(), 30U);
    quint64 marked = 0;
    for (const PictureRecords::Entry &entry : records->entries)
        marked += (entry.header.flags & PictureHeader::Damaged) != 0 ? 1 : 0;
    EXPECT_GT(marked, 1U);
    EXPECT_EQ(damageOf(DamageCounts::ConcealedDamage), marked);
    EXPECT_THAT(messages.take(), ElementsAre(HasSubstr("clip video: damaged picture or samples")));
}

TEST_F(VideoCodecDecoding, TellsThePresentCodecAndSizeOfAStream)
{
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.name, "");
    addOutput();
    decodeAll(made(h264Small, "small.mp4"));
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.name, "h264");
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.width, 176);
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.height, 144);
    decodeAll(made("-s 320x240 -c:v mpeg4", "clip.avi"));
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.name, "mpeg4");
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.width, 320);
    EXPECT_FALSE(damage->conditionOf({videoOrigin}).codec.isMissing);
    damage->forget({videoOrigin});
    EXPECT_EQ(damage->conditionOf({videoOrigin}).codec.name, "");
}

TEST_F(VideoCodecDecoding, RefusedBlocksAreCountedAndTheOthersDecoded)
{
    Clip clip = made("-c:v png", "clip.avi");
    for (const std::size_t index : {3U, 7U})
        std::memset(clip.blocks[index].data.data() + clip.blocks[index].data.size() - AV_INPUT_BUFFER_PADDING_SIZE -
                        500,
                    0, 500);
    for (const std::size_t index : {4U, 9U}) {
        AVPacket *packet = av_packet_alloc();
        av_new_packet(packet, 20);
        std::memset(packet->data, 0, 20);
        clip.blocks[index] = {MediaBlock::packBlock(*packet), false};
        av_packet_free(&packet);
    }
    const PictureRecords *const records = addOutput();
    RecordedMessages messages;
    decodeAll(clip);
    drain();
    EXPECT_EQ(damageOf(DamageCounts::UndecodableBlock), 2U);
    EXPECT_EQ(records->entries.size(), 28U);
    EXPECT_THAT(messages.take(), testing::Contains(HasSubstr("clip video: undecodable block: Invalid data")));
}

TEST_F(VideoCodecDecoding, RawPicturesThatAreTooShortAreRefusedWhateverTheirBits)
{
    // libavcodec itself refuses these except for the first two.
    const std::pair<const char *, const char *> kinds[] = {{"pal8", "clip.avi"},
                                                           {"monow", "clip.mov"},
                                                           {"pal8", "clip.nut"},
                                                           {"monow", "clip.nut"},
                                                           {"yuv420p", "clip.avi"}};
    for (const auto &[pixelFormat, fileName] : kinds) {
        SCOPED_TRACE(std::string(pixelFormat) + " in " + fileName);
        const QByteArray encoding = QByteArray("-s 33x17 -c:v rawvideo -pix_fmt ") + pixelFormat;
        const Clip clip = made(encoding.constData(), fileName);
        outputs.clear();
        const PictureRecords *const records = addOutput();
        const quint64 before = damageOf(DamageCounts::UndecodableBlock);
        const RecordedMessages messages;
        // Not the first one, which may bring the palette.
        const auto someAreTooShort = [](const QByteArray &coded, int index) {
            return index % 5 == 1 ? coded.left(coded.size() / 4) : coded;
        };
        for (const Clip::Block &block : cutBlocks(clip, 30, someAreTooShort))
            decode(block);
        drain();
        EXPECT_EQ(damageOf(DamageCounts::UndecodableBlock) - before, 6U);
        std::vector<std::string> expected = FfmpegTool::pictureHashes(clip.path, clip.streamIndex);
        for (std::size_t index = expected.size(); index-- > 0;) {
            if (index % 5 == 1)
                expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(index));
        }
        EXPECT_EQ(records->hashes(), expected);
    }
}

TEST_F(VideoCodecDecoding, ForeignBlocksAreCountedAndPassedOver)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    RecordedMessages messages;
    for (const Clip::Block &block : clip.blocks) {
        decode(block);
        decode({"H26", true});
        decode({"garbage", false});
    }
    drain();
    EXPECT_EQ(records->hashes(), FfmpegTool::pictureHashes(clip.path, clip.streamIndex));
    EXPECT_EQ(damageOf(DamageCounts::ForeignBlock), 2 * clip.blocks.size());
    EXPECT_THAT(messages.take(), ElementsAre("warning: clip video: not a block of this host: cannot be unpacked"));
}

TEST_F(VideoCodecDecoding, BlocksWithoutBytesAreIgnored)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    AVPacket *packet = av_packet_alloc();
    const QByteArray withoutBytes = MediaBlock::packBlock(*packet);
    av_packet_free(&packet);
    for (const Clip::Block &block : clip.blocks) {
        decode(block);
        decode({withoutBytes, false});
    }
    drain();
    EXPECT_EQ(records->hashes(), FfmpegTool::pictureHashes(clip.path, clip.streamIndex));
    EXPECT_EQ(damage->conditionOf({videoOrigin}).counts, DamageCounts::Counts{});
}

TEST_F(VideoCodecDecoding, UnusableStreamIsCountedUntilAnotherComes)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    AVPacket *packet = av_packet_alloc();
    av_new_packet(packet, 10);
    const auto keyBlockWith = [&](const std::function<void(AVCodecParameters &)> &change, int timeBaseDenominator) {
        AVCodecParameters *parameters = avcodec_parameters_alloc();
        avcodec_parameters_copy(parameters, clip.parameters.get());
        change(*parameters);
        const QByteArray packed = MediaBlock::packParameters({videoOrigin, 1, timeBaseDenominator, 25, 1}, *parameters);
        avcodec_parameters_free(&parameters);
        return Clip::Block{MediaBlock::packKeyBlock(fourccOf(*clip.parameters).value(), packed, *packet), true};
    };
    RecordedMessages messages;
    decode(clip.blocks[1]); // not a key block: nothing is known of the stream
    EXPECT_EQ(damage->conditionOf({"stream without a name"}).counts[DamageCounts::UnusableStream], 1U);
    const std::vector<Clip::Block> unusable{
        keyBlockWith([](AVCodecParameters &codec) { codec.codec_id = AV_CODEC_ID_NONE; }, 25),
        keyBlockWith([](AVCodecParameters &codec) { codec.codec_id = AV_CODEC_ID_AAC; }, 25),
        keyBlockWith([](AVCodecParameters &codec) { codec.codec_type = AVMEDIA_TYPE_AUDIO; }, 25),
        keyBlockWith([](AVCodecParameters &) {}, 0)};
    for (const Clip::Block &block : unusable) {
        const quint64 before = damageOf(DamageCounts::UnusableStream);
        decode(block);
        EXPECT_GT(damageOf(DamageCounts::UnusableStream), before);
        EXPECT_TRUE(damage->conditionOf({videoOrigin}).codec.isMissing);
    }
    av_packet_free(&packet);
    EXPECT_TRUE(records->entries.empty());
    decodeAll(clip);
    drain();
    EXPECT_EQ(records->hashes(), FfmpegTool::pictureHashes(clip.path, clip.streamIndex));
    EXPECT_EQ(messages.take().size(), 2U);
}

TEST_F(VideoCodecDecoding, LackOfMemoryCostsPicturesOnly)
{
    const RecordedMessages messages;
    for (const char *const encoding :
         {h264, "-c:v libvpx", "-frames:v 10 -c:v libaom-av1 -cpu-used 8 -usage realtime"}) {
        SCOPED_TRACE(encoding);
        const Clip clip = made(encoding, "clip.mkv");
        outputs.clear();
        const PictureRecords *const records = addOutput();
        const quint64 before = damageOf(DamageCounts::UndecodableBlock);
        CountingSlab::failAfter(4);
        decodeAll(clip);
        drain();
        CountingSlab::failAfter(-1);
        EXPECT_LE(records->entries.size(), 4U);
        EXPECT_GT(damageOf(DamageCounts::UndecodableBlock), before);
        outputs.clear();
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);

        const PictureRecords *const later = addOutput();
        decodeAll(clip);
        drain();
        EXPECT_EQ(later->hashes(), FfmpegTool::pictureHashes(clip.path, clip.streamIndex));
    }
}

TEST_F(VideoCodecDecoding, WhatAnOutputThrowsGoesNoFurther)
{
    class Throwing final : public IVideoOutputQueue {
    public:
        void push(const VideoFrameHandle &, qint64, qint64) override { throw std::bad_alloc(); }
    };
    const Clip clip = made(h264, "clip.mp4");
    outputs.emplace_back(new Throwing);
    const RecordedMessages messages;
    EXPECT_NO_THROW(decodeAll(clip); drain());
    EXPECT_GT(damageOf(DamageCounts::UndecodableBlock), 0U);
}

} // namespace
