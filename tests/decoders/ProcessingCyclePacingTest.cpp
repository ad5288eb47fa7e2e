#include <limits>

#include "CycleFixture.h"

// Pacing by block time, and the catch-up at the start.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const qint64 latest = std::numeric_limits<qint64>::max();
const qint64 earliest = std::numeric_limits<qint64>::min();

class ProcessingCyclePacing : public CycleFixture {
protected:
    bool decodes(const std::vector<std::string> &calls) const { return !only("decode", calls).empty(); }
};

} // namespace

TEST_F(ProcessingCyclePacing, CatchUpBeginsExactlyWithThePacedFlag)
{
    for (const int flags : {0, 1, 2, 3, 4, 5, -1, -2}) {
        makeDecoder(flags, true);
        EXPECT_EQ(decoder->_catchingUp, (flags & 1) == 1) << flags;
        EXPECT_EQ(decoder->_catchUpDeadline, startMs + 500) << flags;
    }
}

TEST_F(ProcessingCyclePacing, OtherFlagsDoNotPace)
{
    makeDecoder(CreationFlags::ExcludeFromTuning, true);
    EXPECT_TRUE(decodes(cycle(block("x", latest / 2))));
}

TEST_F(ProcessingCyclePacing, PacesWhenOtherFlagsAreSetToo)
{
    makeDecoder(CreationFlags::Paced | CreationFlags::ExcludeFromTuning, true);
    decoder->_catchingUp = false;
    EXPECT_FALSE(decodes(cycle(block("x", startMs + 1))));
    FakeWallClock::advance(1);
    EXPECT_TRUE(decodes(cycle()));
}

TEST_F(ProcessingCyclePacing, CatchUpValueIsFalseWithoutThePacedFlag)
{
    makeDecoder(0, true);
    decoder->_catchingUp = true;
    const std::vector<std::string> calls = cycle(block("x"));
    EXPECT_THAT(only("decode", calls), ElementsAre("decode 'x' at 0, 0"));
    EXPECT_THAT(only("DecoderDataPushed", calls), ElementsAre("DecoderDataPushed=0 for 500"));
}

TEST_F(ProcessingCyclePacing, UnpacedDecoderKeepsNoReference)
{
    makeDecoder(0, true);
    cycle(keyBlock("H264", 0, 123));
    EXPECT_EQ(decoder->_referenceTime, 0);
    EXPECT_EQ(decoder->_referenceWallClock, 0);
}

TEST_F(ProcessingCyclePacing, EarlyBlockIsReadAgainUntilItIsDue)
{
    makePacedDecoder();
    queue->append(block("x", referenceTimeMs + 3));
    for (int tick = 0; tick < 3; ++tick) {
        EXPECT_THAT(cycle(), ElementsAre("read 0"));
        FakeWallClock::advance(1);
    }
    EXPECT_TRUE(decodes(cycle()));
    EXPECT_EQ(decoder->_cursor.word0, 1u);
}

TEST_F(ProcessingCyclePacing, EarlyBlockKeepsTheDecodedFlagAndTheCycleIndication)
{
    makePacedDecoder();
    cycle(keyBlock("H264", 0, referenceTimeMs));
    EXPECT_THAT(cycle(block("x", referenceTimeMs + 1)), ElementsAre("read 1"));
    EXPECT_EQ(decoder->takeDecodedFlag(), 1u);
}

TEST_F(ProcessingCyclePacing, EarlyEmptyBlockBlinksAtEachReading)
{
    makePacedDecoder();
    queue->append(block("", referenceTimeMs + 2));
    for (int tick = 0; tick < 2; ++tick) {
        EXPECT_THAT(cycle(), ElementsAre("read 0", "DecoderNullBlockReceived=0 for 500"));
        FakeWallClock::advance(1);
    }
    EXPECT_THAT(cycle(),
                ElementsAre("read 0", "DecoderNullBlockReceived=0 for 500", "DecoderLost=0",
                            "DecoderDataPushed=0 for 500", "decode '' at 0, 9002", "discard", "DecoderCycle=0"));
}

TEST_F(ProcessingCyclePacing, EarlyBlockBehindPassedOverOnesLeavesTheCursorBeforeIt)
{
    makePacedDecoder();
    queue->append(otherStreamBlock("other"));
    EXPECT_THAT(cycle(block("x", referenceTimeMs + 1)), ElementsAre("read 0", "read 1"));
    EXPECT_EQ(decoder->_cursor.word0, 1u);
    EXPECT_THAT(cycle(), ElementsAre("read 1"));
}

TEST_F(ProcessingCyclePacing, OverdueBlockIsDecodedAtOnce)
{
    makePacedDecoder();
    EXPECT_TRUE(decodes(cycle(block("x", referenceTimeMs - 1))));
}

TEST_F(ProcessingCyclePacing, OnlyKeyBlocksMoveTheReference)
{
    makePacedDecoder();
    FakeWallClock::advance(20);
    cycle(block("x", referenceTimeMs + 10));
    EXPECT_EQ(decoder->_referenceTime, referenceTimeMs);
    EXPECT_EQ(decoder->_referenceWallClock, startMs);
    cycle(keyBlock("H264", 0, 500));
    EXPECT_EQ(decoder->_referenceTime, 500);
    EXPECT_EQ(decoder->_referenceWallClock, startMs + 20);
    EXPECT_FALSE(decodes(cycle(block("y", 540))));
    FakeWallClock::advance(39);
    EXPECT_FALSE(decodes(cycle()));
    FakeWallClock::advance(1);
    EXPECT_TRUE(decodes(cycle()));
}

TEST_F(ProcessingCyclePacing, LastBlockOfTheCatchUpIsTheReference)
{
    makeDecoder(CreationFlags::Paced, true);
    cycle(keyBlock("H264", 0, 1000));
    FakeWallClock::advance(5);
    cycle(block("x", 1040));
    EXPECT_EQ(decoder->_referenceTime, 1040);
    EXPECT_EQ(decoder->_referenceWallClock, startMs + 5);
    cycle();
    EXPECT_FALSE(decoder->_catchingUp);
    EXPECT_FALSE(decodes(cycle(block("y", 1080))));
    FakeWallClock::advance(40);
    EXPECT_TRUE(decodes(cycle()));
}

TEST_F(ProcessingCyclePacing, CatchUpEndsAtTheFirstEmptyRead)
{
    makeDecoder(CreationFlags::Paced, true);
    cycle(keyBlock("H264"));
    EXPECT_TRUE(decoder->_catchingUp);
    cycle();
    EXPECT_FALSE(decoder->_catchingUp);
}

TEST_F(ProcessingCyclePacing, CatchUpEndsAfterTheFirstBlockDecodedAtTheDeadline)
{
    makeDecoder(CreationFlags::Paced, true);
    FakeWallClock::set(startMs + 499);
    cycle(block("x"));
    EXPECT_TRUE(decoder->_catchingUp);
    FakeWallClock::set(startMs + 500);
    EXPECT_THAT(only("decode", cycle(block("y"))), ElementsAre("decode 'y' at 0, 0 catching up"));
    EXPECT_FALSE(decoder->_catchingUp);
    EXPECT_THAT(only("decode", cycle(block("z"))), ElementsAre("decode 'z' at 0, 0"));
}

TEST_F(ProcessingCyclePacing, DeadlineIsComparedAfterTheDecoding)
{
    makeDecoder(CreationFlags::Paced, true);
    FakeWallClock::set(startMs + 490);
    decoder->during = [](const std::string & /*call*/) { FakeWallClock::advance(10); };
    cycle(block("x"));
    EXPECT_FALSE(decoder->_catchingUp);
}

TEST_F(ProcessingCyclePacing, CatchUpNeverStartsAgain)
{
    makeDecoder(CreationFlags::Paced, true);
    cycle();
    FakeWallClock::set(startMs - 1000);
    EXPECT_THAT(only("decode", cycle(keyBlock("H264"))), ElementsAre("decode KEY 'H264' at 0, 0"));
    EXPECT_FALSE(decoder->_catchingUp);
}

TEST_F(ProcessingCyclePacing, TimeSavingSkipsMakeReferencesWhileCatchingUp)
{
    makeDecoder(CreationFlags::Paced, false);
    queue->append(block("x", 1000));
    FakeWallClock::advance(10);
    cycle();
    EXPECT_EQ(decoder->_referenceTime, 1000);
    EXPECT_EQ(decoder->_referenceWallClock, startMs + 10);
}

TEST_F(ProcessingCyclePacing, ModeIsReadForEachBlockOfACycle)
{
    makeDecoder(0, false);
    queue->append(block("skipped"));
    queue->append(block("decoded"));
    int reads = 0;
    queue->duringRead = [&] {
        if (++reads == 2)
            decoder->setPerformanceMode(true);
    };
    EXPECT_THAT(only("decode", cycle()), ElementsAre("decode 'decoded' at 0, 0"));
}

TEST_F(ProcessingCyclePacing, DisposalEndsAnEndlessRunOfPassedOverBlocks)
{
    makeDecoder(0, true);
    queue->endless = true;
    queue->append(otherStreamBlock("other"));
    int reads = 0;
    queue->duringRead = [&] {
        if (++reads == 1000)
            decoder->dispose();
    };
    cycle();
    EXPECT_EQ(reads, 1000);
}

TEST_F(ProcessingCyclePacing, BlockTimesOfAnyValueDoNotTrap)
{
    makeDecoder(CreationFlags::Paced, true);
    for (const qint64 blockTime : {latest, earliest, Q_INT64_C(0)})
        EXPECT_TRUE(decodes(cycle(keyBlock("H264", 0, blockTime))));
    cycle();
    queue->append(keyBlock("H264", 0, earliest));
    queue->append(block("x", latest)); // wraps around to 1 ms before the reference
    EXPECT_TRUE(decodes(cycle()));
    EXPECT_TRUE(decodes(cycle()));
    queue->append(keyBlock("H264", 0, 0));
    queue->append(block("x", latest)); // due at a time that wraps around to long ago
    EXPECT_TRUE(decodes(cycle()));
    EXPECT_TRUE(decodes(cycle()));
    queue->append(keyBlock("H264", 0, latest));
    queue->append(block("x", earliest)); // wraps around to 1 ms behind the reference
    EXPECT_TRUE(decodes(cycle()));
    EXPECT_FALSE(decodes(cycle()));
    FakeWallClock::advance(1);
    EXPECT_TRUE(decodes(cycle()));
}

TEST_F(ProcessingCyclePacing, WallClockSetBackDelaysDueBlocks)
{
    makePacedDecoder();
    FakeWallClock::set(startMs - 1);
    EXPECT_THAT(only("decode", cycle(block("x", referenceTimeMs))), IsEmpty());
    FakeWallClock::set(startMs);
    EXPECT_TRUE(decodes(cycle()));
}
