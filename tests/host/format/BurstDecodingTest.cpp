#include <cstring>
#include <tuple>

#include "CutClip.h"
#include "VideoCodecFixture.h"
#include "fakes/RecordedMessages.h"
#include "format/AudioCodecDecoder.h"
#include "format/MediaBlock.h"
#include <gmock/gmock.h>

extern "C" {
#include <libavutil/avutil.h>
}

namespace {

struct TimedBlock {
    QByteArray data;
    bool keyBlock = false;
    qint64 timeMs = 0;
};

/// The blocks of a stream, 40 ms apart, in bursts of up to @p longest.
std::vector<TimedBlock> inBursts(const std::vector<Clip::Block> &blocks, std::size_t longest)
{
    std::vector<TimedBlock> bursts;
    qint64 timeMs = 0;
    for (std::size_t begin = 0; begin < blocks.size();) {
        const bool keyBlock = blocks[begin].keyBlock;
        std::vector<MediaBlock::Part> parts;
        for (; begin < blocks.size() && parts.size() < longest && blocks[begin].keyBlock == keyBlock; ++begin)
            parts.push_back({blocks[begin].data, timeMs += 40});
        bursts.push_back({parts.size() == 1 ? parts[0].block : MediaBlock::join(parts, keyBlock), keyBlock,
                          parts.front().blockTimeMs});
    }
    return bursts;
}

/// What came of a picture: its bytes, times and flags.
using Picture = std::tuple<std::string, qint64, qint64, quint32>;

struct Pictures {
    std::vector<Picture> all;
    DamageCounts::Counts damage;
};

/// Decodes pictures in bursts of up to @p longest.
Pictures decodedPictures(const std::vector<Clip::Block> &blocks, std::size_t longest)
{
    const RecordedMessages messages;
    const auto damage = std::make_shared<DamageCounts>();
    auto *const records = new PictureRecords;
    const ModkitPtr<IVideoOutputQueue> output(records);
    VideoCodecDecoder decoder(damage);
    for (const TimedBlock &block : inBursts(blocks, longest))
        decoder.decode(block.data, block.keyBlock, 0, block.timeMs, &output, 1);
    decoder.decode(QByteArray(), false, 0, 5, &output, 1);
    Pictures decoded{{}, damage->conditionOf({videoOrigin}).counts};
    for (const PictureRecords::Entry &entry : records->entries)
        decoded.all.emplace_back(entry.hash, entry.timestamp, entry.blockTimeMs, entry.header.flags);
    return decoded;
}

std::vector<Clip::Block> withoutTimes(const Clip &clip)
{
    AVPacket *const packet = av_packet_alloc();
    std::vector<Clip::Block> blocks;
    for (const Clip::Block &block : clip.blocks) {
        QByteArray parameters;
        EXPECT_TRUE(MediaBlock::unpack(block.data, block.keyBlock, packet, &parameters));
        packet->pts = packet->dts = AV_NOPTS_VALUE;
        blocks.push_back({block.keyBlock
                              ? MediaBlock::packKeyBlock(fourccOf(*clip.parameters).value(), parameters, *packet)
                              : MediaBlock::packBlock(*packet),
                          block.keyBlock});
    }
    av_packet_free(const_cast<AVPacket **>(&packet));
    return blocks;
}

} // namespace

TEST_F(VideoCodecDecoding, BurstsGiveTheSamePicturesAtTheSameTimes)
{
    const std::pair<const char *, const char *> kinds[] = {
        {h264, "clip.mp4"}, {"-c:v mpeg4 -g 10 -bf 2", "clip.avi"}, {"-c:v mjpeg", "clip.mkv"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(encoding);
        const Clip clip = made(encoding, fileName);
        const Pictures one = decodedPictures(clip.blocks, 1);
        ASSERT_EQ(one.all.size(), 30U);
        for (const std::size_t longest : {2U, 7U, 100U})
            EXPECT_EQ(decodedPictures(clip.blocks, longest).all, one.all) << longest;
    }
}

TEST_F(VideoCodecDecoding, APictureWithoutATimeHasThatOfItsPacketInABurst)
{
    for (const char *const encoding : {"-c:v mjpeg", "-c:v mpeg4 -bf 0 -g 300"}) {
        const std::vector<Clip::Block> blocks = withoutTimes(made(encoding, "clip.avi"));
        const Pictures burst = decodedPictures(blocks, 100);
        ASSERT_EQ(burst.all.size(), 30U);
        EXPECT_EQ(std::get<1>(burst.all[20]), std::numeric_limits<qint64>::min());
        EXPECT_EQ(burst.all, decodedPictures(blocks, 1).all);
        EXPECT_NE(std::get<2>(burst.all[20]), std::get<2>(burst.all[21]));
    }
}

TEST_F(VideoCodecDecoding, DamageInABurstCostsTheOthersOfItNothing)
{
    const auto damaged = [](const QByteArray &coded, int index) {
        QByteArray changed = coded;
        if (index % 6 == 3)
            changed = coded.left(9);
        if (index % 6 == 5)
            std::memset(changed.data() + changed.size() / 2, 0x5a, static_cast<std::size_t>(changed.size() / 4));
        return changed;
    };
    const std::pair<const char *, const char *> kinds[] = {{"-c:v png", "clip.avi"}, {h264, "clip.mp4"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(encoding);
        const std::vector<Clip::Block> blocks = cutBlocks(made(encoding, fileName), 30, damaged);
        const Pictures one = decodedPictures(blocks, 1);
        EXPECT_GE(one.damage[DamageCounts::UndecodableBlock], 5U);
        for (const std::size_t longest : {7U, 100U}) {
            const Pictures burst = decodedPictures(blocks, longest);
            EXPECT_EQ(burst.all, one.all) << longest;
            EXPECT_EQ(burst.damage, one.damage) << longest;
        }
    }
}

TEST_F(VideoCodecDecoding, ABurstOfKeyBlocksMayChangeTheParametersInTheMiddle)
{
    std::vector<Clip::Block> blocks = made("-s 64x48 -c:v mjpeg", "clip.avi").blocks;
    const std::vector<Clip::Block> larger = made("-s 80x64 -c:v mjpeg", "clip.avi").blocks;
    blocks.insert(blocks.begin() + 15, larger.begin(), larger.end());
    const Pictures one = decodedPictures(blocks, 1);
    EXPECT_EQ(one.all.size(), 60U);
    EXPECT_EQ(decodedPictures(blocks, 100).all, one.all);
}

TEST_F(VideoCodecDecoding, NotesThePaceForWhoeverWatchesIt)
{
    const Clip clip = made("-c:v mpeg4 -g 300 -bf 0", "clip.avi");
    const auto pace = damage->watchPace({videoOrigin});
    EXPECT_EQ(pace->packetsWithin(false, std::chrono::seconds(10)), 1);
    const std::vector<TimedBlock> bursts = inBursts(clip.blocks, 7);
    decoder->decode(bursts[0].data, true, 0, 0, nullptr, 0);
    decoder->decode(bursts.back().data, false, 0, 0, nullptr, 0);
    EXPECT_EQ(pace->packetsWithin(false, std::chrono::nanoseconds(1)), 1);
    // The last burst has one, 29 others being in four bursts of seven.
    EXPECT_EQ(pace->packetsWithin(false, std::chrono::seconds(10)), 2);
    decoder->decode(bursts[1].data, false, 0, 0, nullptr, 0);
    EXPECT_EQ(pace->packetsWithin(false, std::chrono::seconds(10)), 14);
}

TEST_F(VideoCodecDecoding, LeavesTheRestOfABurstWhenNobodyWantsMore)
{
    /// Takes one picture, and wants no more.
    class OnePicture final : public IVideoOutputQueue {
    public:
        explicit OnePicture(std::shared_ptr<DecodingPace> pace)
            : _pace(std::move(pace))
        {
        }
        void push(const VideoFrameHandle &frame, qint64 /*timestamp*/, qint64 /*blockTime*/) override
        {
            pictures += frame.isNull() ? 0 : 1;
            _pace->stop();
        }
        int pictures = 0;

    private:
        const std::shared_ptr<DecodingPace> _pace;
    };
    const Clip clip = made("-c:v mjpeg", "clip.avi");
    auto *const pictures = new OnePicture(damage->watchPace({videoOrigin}));
    const ModkitPtr<IVideoOutputQueue> onePicture(pictures);
    const TimedBlock burst = inBursts(clip.blocks, 100).front();
    decoder->decode(burst.data, burst.keyBlock, 0, burst.timeMs, &onePicture, 1);
    EXPECT_EQ(pictures->pictures, 1);
}

TEST(BurstDecoding, GivesTheSameSamplesThoughSomeOfThemAreDamaged)
{
    if (!FfmpegTool::isInstalled())
        GTEST_SKIP() << "the ffmpeg command is not installed";
    const std::pair<const char *, const char *> kinds[] = {
        {"-c:a libmp3lame", "clip.mp3"}, {"-c:a aac", "clip.mp4"}, {"-c:a flac", "clip.flac"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(encoding);
        const GeneratedClip file(GeneratedClip::tone, encoding, fileName);
        const auto clip = Clip::read(file.path(), AVMEDIA_TYPE_AUDIO, "clip audio");
        ASSERT_TRUE(clip);
        for (const bool isDamaged : {false, true}) {
            const auto blocks = cutBlocks(*clip, 1000, [isDamaged](const QByteArray &coded, int index) {
                return isDamaged && index % 5 == 2 ? QByteArray(coded.size(), '\x55') : coded;
            });
            const auto decoded = [&blocks](std::size_t longest) {
                const RecordedMessages messages;
                const auto damage = std::make_shared<DamageCounts>();
                auto *const records = new SamplesRecords;
                const ModkitPtr<IAudioOutputQueue> output(records);
                AudioCodecDecoder decoder(damage);
                for (const TimedBlock &block : inBursts(blocks, longest))
                    decoder.decode(block.data, block.keyBlock, 0, block.timeMs, &output, 1);
                decoder.decode(QByteArray(), false, 0, 5, &output, 1);
                std::vector<std::tuple<QByteArray, qint64, qint64>> all;
                for (const SamplesRecords::Entry &entry : records->entries) {
                    QCryptographicHash hash(QCryptographicHash::Md5);
                    EXPECT_TRUE(addSamples(*entry.samples, hash));
                    all.emplace_back(hash.result(), entry.timestamp, entry.blockTimeMs);
                }
                return std::pair(all, damage->conditionOf({"clip audio"}).counts);
            };
            const auto one = decoded(1);
            EXPECT_GE(one.first.size(), 10U);
            EXPECT_EQ(isDamaged, one.second != DamageCounts::Counts());
            EXPECT_EQ(decoded(7), one);
            EXPECT_EQ(decoded(1000), one);
        }
    }
}
