#include "sources/Interleaver.h"

#include <algorithm>
#include <array>
#include <string>

#include <gmock/gmock.h>

namespace {

/// An interleaver of two streams; each packet is named by the stream's position and its own number, as in "0:3".
class InterleaverTest : public testing::Test {
protected:
    void add(std::size_t position, qint64 blockTimeMs, int size = 1)
    {
        const AvPointer<AVPacket> packet(av_packet_alloc());
        ASSERT_EQ(av_new_packet(packet.get(), size), 0);
        packet->pts = _added[position]++;
        interleaver.add(position, blockTimeMs, *packet);
    }

    /// Takes all that can be had.
    std::vector<std::string> taken()
    {
        std::vector<std::string> names;
        while (const auto entry = interleaver.take())
            names.push_back(std::to_string(entry->position) + ':' + std::to_string(entry->packet->pts));
        return names;
    }

    Interleaver interleaver{2};

private:
    std::array<int, 2> _added = {};
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(InterleaverTest, AStreamThatIsAheadInTheFileWaitsForTheOther)
{
    for (const qint64 timeMs : {0, 20, 40, 60})
        add(1, timeMs);
    EXPECT_THAT(taken(), IsEmpty());
    add(0, 10);
    EXPECT_THAT(taken(), ElementsAre("1:0", "0:0"));
    add(0, 50);
    EXPECT_THAT(taken(), ElementsAre("1:1", "1:2", "0:1"));
}

TEST_F(InterleaverTest, TheFirstStreamGoesFirstAtTheSameTime)
{
    add(1, 5);
    add(0, 5);
    EXPECT_THAT(taken(), ElementsAre("0:0"));
}

TEST_F(InterleaverTest, PacketsOfOneStreamAtTheSameTimeKeepTheirOrder)
{
    for (int count = 0; count < 3; ++count)
        add(0, 5);
    interleaver.end(1);
    EXPECT_THAT(taken(), ElementsAre("0:0", "0:1", "0:2"));
}

TEST_F(InterleaverTest, NothingWaitsForAStreamThatHasEnded)
{
    add(0, 1000);
    add(0, 2000);
    EXPECT_THAT(taken(), IsEmpty());
    interleaver.end(1);
    EXPECT_THAT(taken(), ElementsAre("0:0", "0:1"));
    add(0, 3000);
    EXPECT_THAT(taken(), ElementsAre("0:2"));
}

TEST_F(InterleaverTest, AStreamThatHasEndedStillGivesItsPacketsInTheirTurn)
{
    add(1, 0);
    add(1, 30);
    interleaver.end(1);
    add(0, 20);
    EXPECT_THAT(taken(), ElementsAre("1:0", "0:0"));
    interleaver.end(0);
    EXPECT_THAT(taken(), ElementsAre("1:1"));
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(InterleaverTest, HoldsBackNoMorePacketsThanTheLimit)
{
    for (std::size_t count = 1; count < Interleaver::maxPackets; ++count)
        add(1, 0);
    EXPECT_THAT(taken(), IsEmpty());
    add(1, 0);
    EXPECT_THAT(taken(), ElementsAre("1:0"));
}

TEST_F(InterleaverTest, HoldsBackNoMoreBytesThanTheLimit)
{
    add(1, 0, Interleaver::maxBytes - 1);
    EXPECT_THAT(taken(), IsEmpty());
    add(1, 1, 1);
    EXPECT_THAT(taken(), ElementsAre("1:0"));
    add(1, 2, Interleaver::maxBytes);
    EXPECT_THAT(taken(), ElementsAre("1:1", "1:2"));
}

TEST_F(InterleaverTest, KeepsTheDataOfAPacketThatIsGone)
{
    {
        const AvPointer<AVPacket> packet(av_packet_alloc());
        ASSERT_EQ(av_new_packet(packet.get(), 3), 0);
        std::copy_n("abc", 3, packet->data);
        packet->flags = AV_PKT_FLAG_KEY;
        interleaver.add(0, 7, *packet);
    }
    interleaver.end(1);
    const auto entry = interleaver.take();
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->blockTimeMs, 7);
    EXPECT_EQ(entry->packet->flags, AV_PKT_FLAG_KEY);
    EXPECT_EQ(std::string(entry->packet->data, entry->packet->data + entry->packet->size), "abc");
}

} // namespace
