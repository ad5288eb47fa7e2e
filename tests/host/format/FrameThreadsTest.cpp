#include "format/FrameThreads.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <tuple>

#include "CutClip.h"
#include "VideoCodecFixture.h"
#include "fakes/RecordedMessages.h"
#include "format/MediaBlock.h"
#include <gmock/gmock.h>

namespace {

/// What came of a picture: its bytes, times and flags.
using SeenPicture = std::tuple<std::string, qint64, qint64, quint32>;

struct SeenPictures {
    std::vector<SeenPicture> all;
    DamageCounts::Counts damage;
    std::size_t beforeTheEnd = 0; // how many there were
};

SeenPictures decodedIn(int threads, const std::vector<Clip::Block> &blocks)
{
    const RecordedMessages messages;
    const auto damage = std::make_shared<DamageCounts>();
    const auto pace = damage->watchPace({videoOrigin});
    pace->setCodecThreads(threads);
    auto *const records = new PictureRecords;
    const ModkitPtr<IVideoOutputQueue> output(records);
    VideoCodecDecoder decoder(damage);
    qint64 timeMs = 0;
    for (const Clip::Block &block : blocks)
        decoder.decode(block.data, block.keyBlock, 0, timeMs += 40, &output, 1);
    SeenPictures seen;
    seen.beforeTheEnd = records->entries.size();
    decoder.decode(QByteArray(), false, 0, 5, &output, 1);
    seen.damage = damage->conditionOf({videoOrigin}).counts;
    for (const PictureRecords::Entry &entry : records->entries)
        seen.all.emplace_back(entry.hash, entry.timestamp, entry.blockTimeMs, entry.header.flags);
    return seen;
}

const char *const h264InThreads = "-s 176x144 -c:v libx264 -preset veryfast -bf 2 -g 10 -pix_fmt yuv420p";
const char *const h264AtOnce = "-s 176x144 -c:v libx264 -preset veryfast -tune zerolatency -g 10 -pix_fmt yuv420p";
const char *const hevcInThreads =
    "-s 176x144 -c:v libx265 -preset veryfast -pix_fmt yuv420p -x265-params keyint=10:log-level=none";
const char *const longClip = "-f lavfi -i testsrc2=size=64x48:rate=25:duration=32";

/// Some packets of it are cut short, from @p from on, and others overwritten in their middle.
std::vector<Clip::Block> damagedBlocks(const Clip &clip, int from)
{
    return cutBlocks(clip, static_cast<int>(clip.blocks.size()), [from](const QByteArray &coded, int index) {
        QByteArray changed = coded;
        if (index >= from && index % 14 == 10)
            changed = coded.left(coded.size() * 2 / 3);
        if (index >= from && index % 14 == 4)
            std::memset(changed.data() + changed.size() / 2, 0x5a, static_cast<std::size_t>(changed.size() / 4));
        return changed;
    });
}

/// The same with other times: @p setTimes is given each packet, and its number.
std::vector<Clip::Block> withTimes(const Clip &clip, const std::vector<Clip::Block> &blocks,
                                   const std::function<void(AVPacket &packet, int index)> &setTimes)
{
    std::vector<Clip::Block> changed;
    AVPacket *packet = av_packet_alloc();
    for (const Clip::Block &block : blocks) {
        QByteArray parameters;
        EXPECT_TRUE(MediaBlock::unpack(block.data, block.keyBlock, packet, &parameters));
        setTimes(*packet, static_cast<int>(changed.size()));
        changed.push_back({block.keyBlock
                               ? MediaBlock::packKeyBlock(fourccOf(*clip.parameters).value(), parameters, *packet)
                               : MediaBlock::packBlock(*packet),
                           block.keyBlock});
    }
    av_packet_free(&packet);
    return changed;
}

void expectTheSame(const SeenPictures &seen, const SeenPictures &alone)
{
    EXPECT_EQ(seen.all, alone.all);
    EXPECT_EQ(seen.damage, alone.damage);
}

/// The same pictures with the same marks at the same times, whatever those show that are made up.
void expectTheSameDamage(const SeenPictures &seen, const SeenPictures &alone)
{
    ASSERT_EQ(seen.all.size(), alone.all.size());
    for (std::size_t place = 0; place < seen.all.size(); ++place) {
        EXPECT_EQ(std::get<1>(seen.all[place]), std::get<1>(alone.all[place])) << place;
        EXPECT_EQ(std::get<3>(seen.all[place]), std::get<3>(alone.all[place])) << place;
    }
    EXPECT_EQ(seen.damage, alone.damage);
}

} // namespace

TEST_F(VideoCodecDecoding, ThreadsGiveTheSamePicturesAtTheSameTimes)
{
    const std::pair<const char *, const char *> kinds[] = {
        {h264InThreads, "clip.mp4"}, {h264InThreads, "clip.ts"}, {h264AtOnce, "clip.mkv"},
        {hevcInThreads, "clip.mp4"}, {hevcInThreads, "clip.ts"}, {"-c:v mpeg4 -g 10 -bf 2", "clip.avi"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(std::string(encoding) + ' ' + fileName);
        const Clip clip = made(encoding, fileName);
        const SeenPictures alone = decodedIn(1, clip.blocks);
        ASSERT_EQ(alone.all.size(), 30U);
        for (const int threads : {2, 4})
            expectTheSame(decodedIn(threads, clip.blocks), alone);
    }
}

TEST_F(VideoCodecDecoding, ThreadsHoldBackAPictureEachUntilTheEnd)
{
    const Clip clip = made(h264AtOnce, "clip.mp4");
    EXPECT_EQ(decodedIn(1, clip.blocks).beforeTheEnd, 30U);
    const SeenPictures seen = decodedIn(4, clip.blocks);
    EXPECT_EQ(seen.beforeTheEnd, 27U);
    EXPECT_EQ(seen.all.size(), 30U);
}

TEST_F(VideoCodecDecoding, ThreadsGiveBackAllPicturesWhereTheStreamChanges)
{
    std::vector<Clip::Block> blocks = made(h264AtOnce, "small.mp4").blocks;
    const std::vector<Clip::Block> larger = made(h264, "large.mp4").blocks;
    blocks.insert(blocks.end(), larger.begin(), larger.end());
    const SeenPictures alone = decodedIn(1, blocks);
    EXPECT_EQ(alone.all.size(), 60U);
    expectTheSame(decodedIn(3, blocks), alone);
}

TEST_F(VideoCodecDecoding, ThreadsGiveTheSameOfKeyBlocksAlone)
{
    std::vector<Clip::Block> blocks = made(h264InThreads, "clip.mp4").blocks;
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), [](const Clip::Block &block) { return !block.keyBlock; }),
                 blocks.end());
    const SeenPictures alone = decodedIn(1, blocks);
    EXPECT_EQ(alone.all.size(), 3U);
    expectTheSame(decodedIn(4, blocks), alone);
}

TEST_F(VideoCodecDecoding, ThreadsMakeNoDifferenceToDamage)
{
    const std::pair<const char *, const char *> kinds[] = {
        {h264InThreads, "clip.mp4"}, {h264AtOnce, "clip.ts"}, {hevcInThreads, "clip.mp4"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(std::string(encoding) + ' ' + fileName);
        const Clip clip = made(encoding, fileName);
        for (const int from : {0, 2, 12, 28}) {
            const std::vector<Clip::Block> blocks = damagedBlocks(clip, from);
            const SeenPictures alone = decodedIn(1, blocks);
            EXPECT_EQ(from < 28, alone.damage != DamageCounts::Counts());
            for (const int threads : {2, 3, 8})
                expectTheSame(decodedIn(threads, blocks), alone);
        }
    }
}

TEST_F(VideoCodecDecoding, ThreadsMakeNoDifferenceToDamageFarBehindTheBeginning)
{
    const Clip clip = made("-c:v libx264 -preset ultrafast -g 10 -pix_fmt yuv420p", "clip.mp4", longClip);
    const int count = static_cast<int>(clip.blocks.size());
    ASSERT_GT(count, static_cast<int>(FrameThreads::maxPackets) + 100);
    const std::vector<Clip::Block> blocks = damagedBlocks(clip, count - 60);
    const SeenPictures alone = decodedIn(1, blocks);
    EXPECT_GE(alone.damage[DamageCounts::UndecodableBlock] + alone.damage[DamageCounts::ConcealedDamage], 5U);
    const SeenPictures seen = decodedIn(3, blocks);
    expectTheSameDamage(seen, alone);
    // Up to there, nothing is made up.
    EXPECT_TRUE(std::equal(seen.all.begin(), seen.all.begin() + count - 65, alone.all.begin()));
}

TEST_F(VideoCodecDecoding, AStreamThatCannotBeBegunAnewIsDecodedByOneThreadBeforeLong)
{
    const Clip clip =
        made("-c:v libx264 -preset ultrafast -tune zerolatency -g 2000 -pix_fmt yuv420p", "clip.mp4", longClip);
    ASSERT_GT(clip.blocks.size(), FrameThreads::maxPackets);
    const SeenPictures alone = decodedIn(1, clip.blocks);
    const SeenPictures seen = decodedIn(3, clip.blocks);
    EXPECT_EQ(seen.beforeTheEnd, clip.blocks.size());
    expectTheSame(seen, alone);
}

TEST_F(VideoCodecDecoding, PacketsWithoutTimesAreDecodedByOneThread)
{
    const Clip clip = made(h264AtOnce, "clip.mp4");
    const std::vector<Clip::Block> blocks = withTimes(clip, clip.blocks, [](AVPacket &packet, int index) {
        if (index >= 10)
            packet.pts = packet.dts = AV_NOPTS_VALUE;
    });
    const SeenPictures alone = decodedIn(1, blocks);
    const SeenPictures seen = decodedIn(4, blocks);
    EXPECT_EQ(seen.beforeTheEnd, 30U);
    expectTheSame(seen, alone);
}

TEST_F(VideoCodecDecoding, TimesThatAreWrongAreGuessedAlike)
{
    const Clip clip = made("-c:v libx264 -preset ultrafast -bf 2 -g 10 -pix_fmt yuv420p", "clip.mp4", longClip);
    const int count = static_cast<int>(clip.blocks.size());
    // So many wrong presentation times that libavcodec no longer believes any.
    const std::vector<Clip::Block> blocks =
        withTimes(clip, damagedBlocks(clip, count - 60), [](AVPacket &packet, int index) {
            if (index < 60)
                packet.pts = 0;
        });
    expectTheSameDamage(decodedIn(3, blocks), decodedIn(1, blocks));
}
