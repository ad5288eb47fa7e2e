#include "queues/BurstQueue.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "QueueReader.h"
#include "fakes/FakeInputQueue.h"
#include "format/MediaBlock.h"
#include "queues/BlockQueue.h"
#include "queues/GatedQueue.h"
#include "queues/LiveQueue.h"
#include <gmock/gmock.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr quint32 oneFourcc = MKTAG('m', 'p', '4', 'a');
constexpr quint32 otherFourcc = MKTAG('f', 'L', 'a', 'C');

struct FreePacket {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using PacketPointer = std::unique_ptr<AVPacket, FreePacket>;

/// Coded bytes that begin with the number, of @p size.
QByteArray packed(qint64 stamp, bool keyBlock, quint32 fourcc = oneFourcc, int size = 8)
{
    const PacketPointer packet(av_packet_alloc());
    av_new_packet(packet.get(), size);
    std::fill(packet->data, packet->data + size, static_cast<std::uint8_t>(stamp));
    packet->pts = stamp;
    return keyBlock ? MediaBlock::packKeyBlock(fourcc, "parameters", *packet) : MediaBlock::packBlock(*packet);
}

FakeInputQueue::Block burstPart(qint64 stamp, bool keyBlock = false, quint32 streamId = 0)
{
    FakeInputQueue::Block block;
    block.data = packed(stamp, keyBlock);
    block.keyBlock = keyBlock;
    block.timestamp = stamp;
    block.blockTime = stamp * 40;
    block.streamId = streamId;
    block.latency = 1000 - stamp;
    return block;
}

struct Burst {
    std::vector<qint64> stamps;
    std::vector<qint64> timesMs;
};

/// What a codec decoder finds in @p block.
Burst unpacked(const QueueReader::Block &block)
{
    const PacketPointer packet(av_packet_alloc());
    MediaBlock::Position position;
    Burst burst;
    QByteArray parameters;
    while (position.offset < block.data.size() &&
           MediaBlock::unpack(block.data, block.keyBlock, packet.get(), &parameters, &position)) {
        EXPECT_EQ(packet->data[0], static_cast<std::uint8_t>(packet->pts));
        burst.stamps.push_back(packet->pts);
        burst.timesMs.push_back(block.blockTimeMs + position.sinceBlockTimeMs);
    }
    EXPECT_EQ(position.offset, block.data.size());
    return burst;
}

class BurstQueueTest : public testing::Test {
protected:
    /// The time stamps of each burst that there is.
    std::vector<std::vector<qint64>> takeAll(QueueReader &from)
    {
        std::vector<std::vector<qint64>> bursts;
        while (const auto block = from.take())
            bursts.push_back(unpacked(*block).stamps);
        return bursts;
    }

    int longest = 4;
    std::vector<bool> asked; // for key blocks
    const ModkitPtr<FakeInputQueue> inner{new FakeInputQueue()};
    BurstQueue queue{inner, 0, [this](bool keyBlocks) {
                         asked.push_back(keyBlocks);
                         return longest;
                     }};
    QueueReader reader{queue};

    LiveQueue::Instant now{std::chrono::milliseconds(5000)};
    BurstQueue patient{inner, 0, [](bool) { return 4; }, std::chrono::milliseconds(100), [this] { return now; }};
    QueueReader patientReader{patient};
};

} // namespace

TEST_F(BurstQueueTest, JoinsWhatIsThereUpToTheLongest)
{
    for (qint64 stamp = 1; stamp <= 6; ++stamp)
        inner->append(burstPart(stamp));
    const auto first = reader.take();
    ASSERT_TRUE(first);
    EXPECT_THAT(unpacked(*first).stamps, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(unpacked(*first).timesMs, ElementsAre(40, 80, 120, 160));
    EXPECT_EQ(first->timestamp, 1);
    EXPECT_EQ(first->blockTimeMs, 40);
    EXPECT_EQ(first->latencyMs, 999);
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(5, 6)));
}

TEST_F(BurstQueueTest, LeavesBlocksAsTheyAreWhereABurstHoldsOne)
{
    longest = 1;
    const FakeInputQueue::Block block = burstPart(1);
    inner->append(block);
    inner->append(burstPart(2));
    const auto first = reader.take();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->data.constData(), block.data.constData()) << "not even copied";
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(2)));
    // Nor while there is no room for any.
    longest = 0;
    inner->append(burstPart(3));
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(3)));
}

TEST_F(BurstQueueTest, KeyBlocksAreJoinedWithKeyBlocksAlone)
{
    for (const auto &[stamp, keyBlock] : {std::pair(1, true), {2, false}, {3, false}, {4, true}, {5, true}, {6, false}})
        inner->append(burstPart(stamp, keyBlock));
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(1), ElementsAre(2, 3), ElementsAre(4, 5), ElementsAre(6)));
    EXPECT_THAT(asked, ElementsAre(true, false, true, false));
}

TEST_F(BurstQueueTest, AnotherFourccBeginsABurst)
{
    for (const auto &[stamp, fourcc] : {std::pair(1, oneFourcc), {2, oneFourcc}, {3, otherFourcc}, {4, otherFourcc}}) {
        FakeInputQueue::Block block = burstPart(stamp, true);
        block.data = packed(stamp, true, fourcc);
        inner->append(block);
    }
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(1, 2), ElementsAre(3, 4)));
}

TEST_F(BurstQueueTest, AnEmptyBlockStaysAlone)
{
    inner->append(burstPart(1));
    FakeInputQueue::Block end = burstPart(2);
    end.data.clear();
    inner->append(end);
    inner->append(end);
    inner->append(burstPart(3));
    const auto first = reader.take();
    EXPECT_THAT(unpacked(*first).stamps, ElementsAre(1));
    EXPECT_TRUE(reader.take()->data.isEmpty());
    EXPECT_TRUE(reader.take()->data.isEmpty());
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(3)));
}

TEST_F(BurstQueueTest, ALossIsToldWithWhatFollowsIt)
{
    inner->append(burstPart(1));
    FakeInputQueue::Block behindLoss = burstPart(2);
    behindLoss.lost = 3;
    inner->append(behindLoss);
    inner->append(burstPart(3));
    EXPECT_EQ(reader.take()->lost, 0U);
    const auto second = reader.take();
    EXPECT_EQ(second->lost, 3U);
    EXPECT_THAT(unpacked(*second).stamps, ElementsAre(2, 3));
}

TEST_F(BurstQueueTest, PassesOverOtherStreamsWithinABurstAndGivesThemOutWhereItBegins)
{
    for (const auto &[stamp, streamId] : {std::pair(1, 8U), {2, 8U}, {3, 0U}, {4, 8U}, {5, 0U}, {6, 8U}})
        inner->append(burstPart(stamp, false, streamId));
    // The decoder passes them over; only it can keep the cursor behind them.
    EXPECT_EQ(reader.take()->streamId, 8U);
    EXPECT_EQ(reader.take()->streamId, 8U);
    const auto burst = reader.take();
    EXPECT_EQ(burst->streamId, 0U);
    EXPECT_THAT(unpacked(*burst).stamps, ElementsAre(3, 5));
    EXPECT_FALSE(reader.take());
}

TEST_F(BurstQueueTest, IsBoundedByBytes)
{
    longest = 100;
    constexpr int third = BurstQueue::maxBytes / 3;
    for (const auto &[stamp, size] : {std::pair(1, third), {2, third}, {3, third}, {4, 10 * third}, {5, 8}}) {
        FakeInputQueue::Block block = burstPart(stamp);
        block.data = packed(stamp, false, 0, size);
        inner->append(block);
    }
    const auto first = reader.take();
    EXPECT_THAT(unpacked(*first).stamps, ElementsAre(1, 2));
    EXPECT_LE(first->data.size(), BurstQueue::maxBytes);
    EXPECT_THAT(takeAll(reader), ElementsAre(ElementsAre(3), ElementsAre(4), ElementsAre(5)));
}

TEST_F(BurstQueueTest, GivesTheSameBurstAgainToAnOldCursor)
{
    for (qint64 stamp = 1; stamp <= 3; ++stamp)
        inner->append(burstPart(stamp));
    EXPECT_THAT(unpacked(*reader.look()).stamps, ElementsAre(1, 2, 3));
    inner->append(burstPart(4));
    EXPECT_THAT(unpacked(*reader.look()).stamps, ElementsAre(1, 2, 3, 4));
}

TEST_F(BurstQueueTest, WithPatienceHoldsABurstBackUntilItIsFull)
{
    inner->append(burstPart(1));
    EXPECT_FALSE(patientReader.take());
    inner->append(burstPart(2));
    inner->append(burstPart(3));
    now += std::chrono::milliseconds(60);
    EXPECT_FALSE(patientReader.take());
    EXPECT_TRUE(patientReader.cursor.flag) << "the decoder's cursor stays where it is";
    inner->append(burstPart(4));
    inner->append(burstPart(5));
    const auto burst = patientReader.take();
    ASSERT_TRUE(burst);
    EXPECT_THAT(unpacked(*burst).stamps, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(burst->latencyMs, 999 + 60) << "the first block has waited here, too";
    EXPECT_FALSE(patientReader.take());
    now += std::chrono::milliseconds(100);
    EXPECT_THAT(unpacked(*patientReader.take()).stamps, ElementsAre(5));
    EXPECT_FALSE(patientReader.take());
}

TEST_F(BurstQueueTest, WithPatienceEndsABurstWithWhatBeginsAnother)
{
    const auto append = [this](qint64 stamp, bool keyBlock, quint32 lost) {
        FakeInputQueue::Block block = burstPart(stamp, keyBlock);
        block.lost = lost;
        inner->append(block);
    };
    append(1, true, 0);
    EXPECT_FALSE(patientReader.take());
    append(2, false, 0);
    EXPECT_THAT(unpacked(*patientReader.take()).stamps, ElementsAre(1));
    append(3, false, 0);
    EXPECT_FALSE(patientReader.take());
    append(4, false, 2);
    EXPECT_THAT(unpacked(*patientReader.take()).stamps, ElementsAre(2, 3));
    FakeInputQueue::Block end = burstPart(5);
    end.data.clear();
    inner->append(end);
    const auto behindLoss = patientReader.take();
    EXPECT_THAT(unpacked(*behindLoss).stamps, ElementsAre(4));
    EXPECT_EQ(behindLoss->lost, 2U);
    EXPECT_TRUE(patientReader.take()->data.isEmpty()) << "the end waits for nothing";
}

TEST_F(BurstQueueTest, WithPatienceTakesBlocksFromALiveQueueBeforeTheyAreLate)
{
    const ModkitPtr<LiveQueue> live(
        new LiveQueue({100, 1 << 20, std::chrono::milliseconds(50)}, [this] { return now; }));
    BurstQueue bursts(
        live, 0, [](bool) { return 3; }, std::chrono::milliseconds(1000), [this] { return now; });
    QueueReader decoder{bursts};
    const auto append = [&](qint64 stamp, bool keyBlock) {
        EXPECT_TRUE(live->append({packed(stamp, keyBlock), 0, keyBlock, stamp, stamp, 0}));
        now += std::chrono::milliseconds(40);
    };
    append(1, true);
    EXPECT_FALSE(decoder.take());
    append(2, false);
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(1));
    for (qint64 stamp = 3; stamp <= 4; ++stamp) {
        EXPECT_FALSE(decoder.take());
        append(stamp, false);
    }
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(2, 3, 4));
    EXPECT_EQ(live->figures().lost, 0U);
    EXPECT_LE(live->figures().worstLatencyMs, 40);
    // It is not drained while anything is held back.
    append(5, false);
    EXPECT_FALSE(decoder.take());
    EXPECT_TRUE(live->append({QByteArray(), 0, false, 0, 0, 0}));
    live->end();
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(5));
    EXPECT_FALSE(live->isDrained());
    EXPECT_TRUE(decoder.take()->data.isEmpty());
    EXPECT_FALSE(decoder.take());
    EXPECT_TRUE(live->isDrained());
}

TEST_F(BurstQueueTest, WithPatienceGivesADecoderWithAnotherCursorNothingOfWhatWasHeldBack)
{
    inner->append(burstPart(1));
    inner->append(burstPart(2));
    EXPECT_FALSE(patientReader.take());
    QueueReader other{patient, {1, 0, false}};
    inner->append(burstPart(3));
    EXPECT_FALSE(other.take());
    now += std::chrono::milliseconds(100);
    EXPECT_THAT(unpacked(*other.take()).stamps, ElementsAre(2, 3));
}

TEST_F(BurstQueueTest, ABlockQueueIsNotDrainedBeforeTheDecoderComesBackFromTheEnd)
{
    const ModkitPtr<BlockQueue> blocks(new BlockQueue(1, {100, 1 << 20}));
    BurstQueue bursts(blocks, 0, [](bool) { return 100; });
    QueueReader decoder{bursts};
    for (qint64 stamp = 1; stamp <= 5; ++stamp)
        EXPECT_TRUE(blocks->append({packed(stamp, stamp == 1), 0, stamp == 1, stamp, stamp}));
    EXPECT_TRUE(blocks->append({QByteArray(), 0, false, 0, 0}));
    blocks->end();
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(1));
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(2, 3, 4, 5));
    EXPECT_FALSE(blocks->isDrained());
    EXPECT_TRUE(decoder.take()->data.isEmpty());
    EXPECT_FALSE(blocks->isDrained());
    EXPECT_FALSE(decoder.take());
    EXPECT_TRUE(blocks->isDrained());
    EXPECT_EQ(blocks->figures().reads, 6U) << "each packet counts";
    EXPECT_EQ(blocks->figures().blocks, 6U);
}

TEST_F(BurstQueueTest, TwoStreamsOfABlockQueueAreReadWhole)
{
    const ModkitPtr<BlockQueue> blocks(new BlockQueue(2, {100, 1 << 20}));
    BurstQueue pictures(blocks, 0, [](bool) { return 3; });
    BurstQueue sounds(blocks, 8, [](bool) { return 4; });
    for (qint64 stamp = 1; stamp <= 20; ++stamp)
        EXPECT_TRUE(blocks->append({packed(stamp, true), stamp % 2 == 0 ? 0U : 8U, true, stamp, stamp}));
    blocks->end();
    std::vector<qint64> all;
    QueueReader decoders[] = {{pictures}, {sounds}};
    while (!blocks->isDrained()) {
        for (const quint32 streamId : {0U, 8U}) {
            const auto block = decoders[streamId / 8].take();
            if (!block || block->streamId != streamId)
                continue;
            for (const qint64 stamp : unpacked(*block).stamps)
                all.push_back(stamp);
        }
    }
    std::sort(all.begin(), all.end());
    std::vector<qint64> expected(20);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(all, expected);
}

TEST_F(BurstQueueTest, JoinsKeyBlocksWhereTheOthersAreLeftOut)
{
    for (const auto &[stamp, keyBlock] : {std::pair(1, true), {2, false}, {3, true}, {4, false}, {5, false}, {6, true}})
        inner->append(burstPart(stamp, keyBlock));
    const auto gate = std::make_shared<Gate>();
    BurstQueue bursts(ModkitPtr<GatedQueue>(new GatedQueue(inner, gate, true)), 0, [](bool) { return 2; });
    QueueReader decoder{bursts};
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(1, 3));
    inner->append(burstPart(7));
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(6));
    EXPECT_FALSE(decoder.take());
    inner->append(burstPart(8, true));
    EXPECT_THAT(unpacked(*decoder.take()).stamps, ElementsAre(8));
    gate->close();
    inner->append(burstPart(9, true));
    EXPECT_THAT(takeAll(decoder), IsEmpty());
}
