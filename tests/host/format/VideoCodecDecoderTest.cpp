#include "format/VideoCodecDecoder.h"

#include <QFile>

#include <limits>
#include <set>

#include "VideoCodecFixture.h"
#include "fakes/RecordedMessages.h"
#include "format/MediaBlock.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

TEST_F(VideoCodecDecoding, EveryOutputGetsTheSameRecord)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const first = addOutput();
    const PictureRecords *const second = addOutput();
    decodeAll(clip);
    drain();
    ASSERT_EQ(first->entries.size(), 30U);
    ASSERT_EQ(second->entries.size(), 30U);
    for (std::size_t index = 0; index < 30; ++index)
        EXPECT_EQ(first->entries[index].frame.data(), second->entries[index].frame.data());
}

TEST_F(VideoCodecDecoding, EmptyBlockDeliversThePicturesHeldBack)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    decodeAll(clip);
    EXPECT_LT(records->entries.size(), 30U);
    drain();
    EXPECT_EQ(records->entries.size(), 30U);
    drain();
    EXPECT_EQ(records->entries.size(), 30U) << "nothing is left for a second end";
}

TEST_F(VideoCodecDecoding, KeyBlockAfterTheEndBeginsAnew)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    decodeAll(clip);
    drain();
    const std::vector<std::string> once = records->hashes();
    decodeAll(clip);
    drain();
    std::vector<std::string> twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(records->hashes(), twice);
}

TEST_F(VideoCodecDecoding, PictureDescribesItself)
{
    const Clip clip = made("-vf setsar=4/3 -color_range pc -c:v libx264 -preset veryfast -bf 3 -pix_fmt yuv420p "
                           "-video_track_timescale 12800",
                           "clip.mp4");
    const PictureRecords *const records = addOutput();
    decodeAll(clip);
    drain();
    ASSERT_EQ(records->entries.size(), 30U);
    qint64 number = 0;
    for (const PictureRecords::Entry &entry : records->entries) {
        EXPECT_EQ(entry.timestamp, number * 512);
        EXPECT_EQ(entry.blockTimeMs, number * 40);
        EXPECT_EQ(entry.header.pts, entry.timestamp);
        EXPECT_EQ(entry.header.duration, 512);
        EXPECT_EQ(entry.header.flags, number == 0 ? PictureHeader::KeyPicture : 0U);
        ++number;
    }
    const PictureHeader &header = records->entries.front().header;
    EXPECT_EQ(header.pixelFormat, AV_PIX_FMT_YUVJ420P);
    EXPECT_THAT(header.timeBase, ElementsAre(1, 12800));
    EXPECT_THAT(header.frameRate, ElementsAre(25, 1));
    EXPECT_THAT(header.sampleAspectRatio, ElementsAre(4, 3));
    EXPECT_EQ(header.colorRange, AVCOL_RANGE_JPEG);
    EXPECT_EQ(header.width, 352);
    EXPECT_EQ(header.height, 288);
    for (int plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(header.planeOffset[plane] % 64, 0);
        EXPECT_EQ(header.stride[plane] % 64, 0);
    }
    EXPECT_EQ(header.planeOffset[3], 0);
}

TEST_F(VideoCodecDecoding, PictureWithoutATimeHasThatOfItsBlock)
{
    const Clip clip = made("-bf 0 -c:v mjpeg -f mjpeg", "clip.mjpeg");
    Clip::Block block = clip.blocks.front();
    AVPacket *packet = av_packet_alloc();
    ASSERT_TRUE(MediaBlock::unpack(block.data, true, packet, &block.data));
    packet->pts = packet->dts = AV_NOPTS_VALUE;
    block.data = MediaBlock::packKeyBlock(fourccOf(*clip.parameters).value(), clip.packedParameters, *packet);
    av_packet_free(&packet);
    const PictureRecords *const records = addOutput();
    decode(block);
    ASSERT_EQ(records->entries.size(), 1U);
    EXPECT_EQ(records->entries.front().timestamp, std::numeric_limits<qint64>::min());
    EXPECT_EQ(records->entries.front().blockTimeMs, 77);
}

TEST_F(VideoCodecDecoding, WithoutOutputsPicturesAreDecodedForTheOnesToCome)
{
    const Clip clip = made("-c:v mpeg4 -g 300", "clip.mp4");
    constexpr std::size_t unseen = 17;
    for (std::size_t index = 0; index < unseen; ++index)
        decode(clip.blocks[index]);
    const PictureRecords *const records = addOutput();
    for (std::size_t index = unseen; index < clip.blocks.size(); ++index)
        decode(clip.blocks[index]);
    drain();
    const std::vector<std::string> all = FfmpegTool::pictureHashes(clip.path, clip.streamIndex);
    ASSERT_EQ(all.size(), 30U);
    EXPECT_EQ(records->hashes(), std::vector<std::string>(all.begin() + unseen, all.end()));
}

TEST_F(VideoCodecDecoding, OtherParametersDrainTheCodecAndOpenItAnew)
{
    const Clip first = made(h264, "clip.mp4");
    const Clip second = made(h264Small, "clip.mp4");
    const PictureRecords *const records = addOutput();
    decodeAll(first);
    decodeAll(second);
    drain();
    std::vector<std::string> expected = FfmpegTool::pictureHashes(first.path, first.streamIndex);
    const std::vector<std::string> more = FfmpegTool::pictureHashes(second.path, second.streamIndex);
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(records->hashes(), expected);
    EXPECT_EQ(records->entries.front().header.width, 352);
    EXPECT_EQ(records->entries.back().header.width, 176);
}

TEST_F(VideoCodecDecoding, SizeChangesWithinOneStream)
{
    made(h264, "clip.264");
    made(h264Small, "clip.264");
    QByteArray bytes;
    for (const auto &file : files) {
        QFile part(file->path());
        ASSERT_TRUE(part.open(QIODevice::ReadOnly));
        bytes += part.readAll();
    }
    QFile joined(files.front()->path());
    ASSERT_TRUE(joined.open(QIODevice::WriteOnly));
    joined.write(bytes);
    joined.close();

    const auto clip = Clip::read(joined.fileName(), AVMEDIA_TYPE_VIDEO, videoOrigin);
    ASSERT_TRUE(clip);
    const PictureRecords *const records = addOutput();
    decodeAll(*clip);
    drain();
    EXPECT_EQ(records->hashes(), FfmpegTool::pictureHashes(joined.fileName(), clip->streamIndex));
    EXPECT_EQ(records->entries.front().header.width, 352);
    EXPECT_EQ(records->entries.back().header.width, 176);
}

/// Pictures that a codec shows again or changes in place.
TEST_F(VideoCodecDecoding, NoTwoPicturesShareTheirMemory)
{
    for (const char *const encoding : {"-c:v libvpx-vp9 -auto-alt-ref 1 -lag-in-frames 16 -deadline good -cpu-used 5",
                                       "-vf scale=160:120 -c:v mpeg4 -vtag XVID", "-vf fps=5 -c:v cinepak", "-c:v zmbv",
                                       "-c:v libvpx -auto-alt-ref 1 -lag-in-frames 16 -deadline good"}) {
        SCOPED_TRACE(encoding);
        const Clip clip = made(encoding, "clip.mkv");
        outputs.clear();
        const PictureRecords *const records = addOutput();
        decodeAll(clip);
        drain();
        ASSERT_FALSE(records->entries.empty());
        std::set<const void *> blocks;
        for (const PictureRecords::Entry &entry : records->entries) {
            EXPECT_TRUE(blocks.insert(entry.frame->data).second);
            EXPECT_EQ(entry.hash, pictureHash(*entry.frame));
        }
    }
}

TEST_F(VideoCodecDecoding, PicturesOutliveTheDecoder)
{
    const Clip clip = made(h264, "clip.mp4");
    const PictureRecords *const records = addOutput();
    decodeAll(clip);
    decoder.reset();
    ASSERT_FALSE(records->entries.empty());
    for (const PictureRecords::Entry &entry : records->entries)
        EXPECT_EQ(pictureHash(*entry.frame), entry.hash);
    EXPECT_EQ(CountingSlab::liveBlocks(), static_cast<int>(records->entries.size()));
}

TEST_F(VideoCodecDecoding, StreamThatBeginsAmidPicturesGivesWhatTheFfmpegCommandGives)
{
    made("-c:v libx264 -preset veryfast -g 12 -bf 2 -pix_fmt yuv420p", "clip.ts");
    QFile file(files.front()->path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QFile cut(file.fileName() + ".ts");
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(bytes.mid(188 * (bytes.size() / 188 / 4)));
    cut.close();
    const auto clip = Clip::read(cut.fileName(), AVMEDIA_TYPE_VIDEO, videoOrigin);
    ASSERT_TRUE(clip);
    const PictureRecords *const records = addOutput();
    const RecordedMessages messages;
    decodeAll(*clip);
    drain();
    const std::vector<std::string> expected = FfmpegTool::pictureHashes(cut.fileName(), clip->streamIndex);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(records->hashes(), expected);
}

} // namespace
