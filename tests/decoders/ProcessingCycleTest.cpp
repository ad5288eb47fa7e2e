#include <ostream>

#include "CycleFixture.h"

// The processing cycle as a table: one cycle over at most one block, for each combination that matters. What several
// blocks or several cycles do to each other stands in the other ProcessingCycle tests.

namespace {

using testing::ElementsAreArray;

enum Pacing { Unpaced, CatchingUp, Paced };
enum Mode { Performance, TimeSaving };
enum Input { Nothing, Delta, Key, Empty, EmptyKey };
enum Stream { Own, Other };
enum Disposal { Living, DisposedBefore, DisposedMeanwhile };

const qint64 blockTimeMs = 9040; // due 40 ms after the start

struct Given {
    Pacing pacing;
    Mode mode;
    Input input;
    Stream stream;
    qint64 sinceStartMs;
    Disposal disposal = Living;
};

// What the cycle leaves behind.
enum Effect : unsigned {
    None = 0,
    Consumed = 1,         // the cursor stands behind the block
    NotedKey = 2,         // the latency was counted
    Decoded = 4,          // the loss, the sample of the arrival statistic and the decoded flag were counted
    Referenced = 8,       // the block is the pacing reference
    StillCatchingUp = 16, // the catch-up goes on
};

struct Row {
    const char *name;
    Given given;
    std::vector<std::string> calls;
    unsigned effects;
};

std::ostream &operator<<(std::ostream &stream, const Row &row)
{
    return stream << row.name;
}

const char *const nullBlink = "DecoderNullBlockReceived=0 for 500";
const char *const keyBlink = "DecoderKeyBlockReceived=0 for 500";
const char *const latency = "DecoderMaxLatency=1";
const char *const loss = "DecoderLost=1";
const char *const pushed = "DecoderDataPushed=0 for 500";
const char *const pushedToCatchUp = "DecoderDataPushed=1 for 500";
const char *const busy = "DecoderCycle=0";
const char *const idle = "DecoderCycle=3";
const char *const create = "create 'H264'";
const char *const decodeDelta = "decode 'x' at 77, 9040";
const char *const decodeKey = "decode KEY 'H264' at 77, 9040";
const char *const decodeEmpty = "decode '' at 77, 9040";
const char *const decodeEmptyKey = "decode KEY '' at 77, 9040";
const char *const catchUpDelta = "decode 'x' at 77, 9040 catching up";
const char *const catchUpKey = "decode KEY 'H264' at 77, 9040 catching up";
const char *const catchUpEmpty = "decode '' at 77, 9040 catching up";
const char *const catchUpEmptyKey = "decode KEY '' at 77, 9040 catching up";

const Row rows[] = {
    {"UnpacedNothing", {Unpaced, Performance, Nothing, Own, 10}, {"read none", idle}, None},
    {"UnpacedDelta",
     {Unpaced, Performance, Delta, Own, 10},
     {"read 0", loss, pushed, decodeDelta, busy},
     Consumed | Decoded},
    {"UnpacedKey",
     {Unpaced, Performance, Key, Own, 10},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded},
    {"UnpacedEmpty",
     {Unpaced, Performance, Empty, Own, 10},
     {"read 0", nullBlink, loss, pushed, decodeEmpty, "discard", busy},
     Consumed | Decoded},
    {"UnpacedEmptyKey",
     {Unpaced, Performance, EmptyKey, Own, 10},
     {"read 0", nullBlink, keyBlink, latency, loss, pushed, decodeEmptyKey, "discard", busy},
     Consumed | NotedKey | Decoded},

    {"UnpacedTimeSavingNothing", {Unpaced, TimeSaving, Nothing, Own, 10}, {"read none", idle}, None},
    {"UnpacedTimeSavingDelta", {Unpaced, TimeSaving, Delta, Own, 10}, {"read 0", "read none", idle}, Consumed},
    {"UnpacedTimeSavingKey",
     {Unpaced, TimeSaving, Key, Own, 10},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded},
    {"UnpacedTimeSavingEmpty",
     {Unpaced, TimeSaving, Empty, Own, 10},
     {"read 0", nullBlink, loss, pushed, decodeEmpty, "discard", busy},
     Consumed | Decoded},
    {"UnpacedTimeSavingEmptyKey",
     {Unpaced, TimeSaving, EmptyKey, Own, 10},
     {"read 0", nullBlink, keyBlink, latency, loss, pushed, decodeEmptyKey, "discard", busy},
     Consumed | NotedKey | Decoded},

    {"CatchingUpNothing", {CatchingUp, Performance, Nothing, Own, 10}, {"read none", idle}, None},
    {"CatchingUpDelta",
     {CatchingUp, Performance, Delta, Own, 10},
     {"read 0", loss, pushedToCatchUp, catchUpDelta, busy},
     Consumed | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpKey",
     {CatchingUp, Performance, Key, Own, 10},
     {"read 0", keyBlink, latency, loss, create, pushedToCatchUp, catchUpKey, busy},
     Consumed | NotedKey | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpEmpty",
     {CatchingUp, Performance, Empty, Own, 10},
     {"read 0", nullBlink, loss, pushedToCatchUp, catchUpEmpty, "discard", busy},
     Consumed | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpEmptyKey",
     {CatchingUp, Performance, EmptyKey, Own, 10},
     {"read 0", nullBlink, keyBlink, latency, loss, pushedToCatchUp, catchUpEmptyKey, "discard", busy},
     Consumed | NotedKey | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpDeltaBeforeTheDeadline",
     {CatchingUp, Performance, Delta, Own, 499},
     {"read 0", loss, pushedToCatchUp, catchUpDelta, busy},
     Consumed | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpDeltaAtTheDeadline",
     {CatchingUp, Performance, Delta, Own, 500},
     {"read 0", loss, pushedToCatchUp, catchUpDelta, busy},
     Consumed | Decoded | Referenced},

    {"CatchingUpTimeSavingDelta",
     {CatchingUp, TimeSaving, Delta, Own, 10},
     {"read 0", "read none", idle},
     Consumed | Referenced},
    {"CatchingUpTimeSavingKey",
     {CatchingUp, TimeSaving, Key, Own, 10},
     {"read 0", keyBlink, latency, loss, create, pushedToCatchUp, catchUpKey, busy},
     Consumed | NotedKey | Decoded | Referenced | StillCatchingUp},
    {"CatchingUpTimeSavingEmpty",
     {CatchingUp, TimeSaving, Empty, Own, 10},
     {"read 0", nullBlink, loss, pushedToCatchUp, catchUpEmpty, "discard", busy},
     Consumed | Decoded | Referenced | StillCatchingUp},

    {"PacedNothing", {Paced, Performance, Nothing, Own, 10}, {"read none", idle}, None},
    {"PacedEarlyDelta", {Paced, Performance, Delta, Own, 39}, {"read 0"}, None},
    {"PacedDueDelta",
     {Paced, Performance, Delta, Own, 40},
     {"read 0", loss, pushed, decodeDelta, busy},
     Consumed | Decoded},
    {"PacedEarlyKey",
     {Paced, Performance, Key, Own, 39},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded | Referenced},
    {"PacedDueKey",
     {Paced, Performance, Key, Own, 40},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded | Referenced},
    {"PacedEarlyEmpty", {Paced, Performance, Empty, Own, 39}, {"read 0", nullBlink}, None},
    {"PacedDueEmpty",
     {Paced, Performance, Empty, Own, 40},
     {"read 0", nullBlink, loss, pushed, decodeEmpty, "discard", busy},
     Consumed | Decoded},
    {"PacedEarlyEmptyKey",
     {Paced, Performance, EmptyKey, Own, 39},
     {"read 0", nullBlink, keyBlink, latency, loss, pushed, decodeEmptyKey, "discard", busy},
     Consumed | NotedKey | Decoded | Referenced},

    {"PacedTimeSavingEarlyDelta", {Paced, TimeSaving, Delta, Own, 39}, {"read 0"}, None},
    {"PacedTimeSavingDueDelta", {Paced, TimeSaving, Delta, Own, 40}, {"read 0", "read none", idle}, Consumed},
    {"PacedTimeSavingEarlyKey",
     {Paced, TimeSaving, Key, Own, 39},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded | Referenced},
    {"PacedTimeSavingEarlyEmpty", {Paced, TimeSaving, Empty, Own, 39}, {"read 0", nullBlink}, None},
    {"PacedTimeSavingDueEmpty",
     {Paced, TimeSaving, Empty, Own, 40},
     {"read 0", nullBlink, loss, pushed, decodeEmpty, "discard", busy},
     Consumed | Decoded},

    {"OtherStreamDelta", {Unpaced, Performance, Delta, Other, 10}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamKey", {Unpaced, Performance, Key, Other, 10}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamEmpty", {Unpaced, Performance, Empty, Other, 10}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamTimeSavingKey", {Unpaced, TimeSaving, Key, Other, 10}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamCatchingUpKey", {CatchingUp, Performance, Key, Other, 10}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamPacedEarlyDelta", {Paced, Performance, Delta, Other, 39}, {"read 0", "read none", idle}, Consumed},
    {"OtherStreamPacedEarlyEmpty", {Paced, Performance, Empty, Other, 39}, {"read 0", "read none", idle}, Consumed},

    {"DisposedBeforeUnpacedKey", {Unpaced, Performance, Key, Own, 10, DisposedBefore}, {idle}, None},
    {"DisposedBeforeCatchingUpKey", {CatchingUp, Performance, Key, Own, 10, DisposedBefore}, {idle}, None},
    {"DisposedBeforePacedEarlyDelta", {Paced, Performance, Delta, Own, 39, DisposedBefore}, {idle}, None},

    {"DisposedMeanwhileKey",
     {Unpaced, Performance, Key, Own, 10, DisposedMeanwhile},
     {"read 0", keyBlink, latency, loss, create, pushed, decodeKey, busy},
     Consumed | NotedKey | Decoded},
    {"DisposedMeanwhileEarlyDelta", {Paced, Performance, Delta, Own, 39, DisposedMeanwhile}, {"read 0"}, None},
    {"DisposedMeanwhileOtherStream",
     {Unpaced, Performance, Key, Other, 10, DisposedMeanwhile},
     {"read 0", idle},
     Consumed},
    {"DisposedMeanwhileTimeSavingDelta",
     {Unpaced, TimeSaving, Delta, Own, 10, DisposedMeanwhile},
     {"read 0", idle},
     Consumed},
    {"DisposedMeanwhileOtherStreamBeforeTheDeadline",
     {CatchingUp, Performance, Delta, Other, 499, DisposedMeanwhile},
     {"read 0", idle},
     Consumed | StillCatchingUp},
    {"DisposedMeanwhileOtherStreamAtTheDeadline",
     {CatchingUp, Performance, Delta, Other, 500, DisposedMeanwhile},
     {"read 0", idle},
     Consumed},
    {"DisposedMeanwhileTimeSavingDeltaBeforeTheDeadline",
     {CatchingUp, TimeSaving, Delta, Own, 499, DisposedMeanwhile},
     {"read 0", idle},
     Consumed | Referenced | StillCatchingUp},
    {"DisposedMeanwhileTimeSavingDeltaAtTheDeadline",
     {CatchingUp, TimeSaving, Delta, Own, 500, DisposedMeanwhile},
     {"read 0", idle},
     Consumed | Referenced},
};

class ProcessingCycleTable : public CycleFixture, public testing::WithParamInterface<Row> {
protected:
    ProcessingCycleTable()
    {
        const Given &given = GetParam().given;
        if (given.pacing == Paced)
            makePacedDecoder(given.mode == Performance);
        else
            makeDecoder(given.pacing == CatchingUp ? CreationFlags::Paced : 0, given.mode == Performance);
        if (given.input != Nothing)
            queue->append(inputBlock(given));
        FakeWallClock::set(startMs + given.sinceStartMs);
        if (given.disposal == DisposedBefore)
            decoder->dispose();
        else if (given.disposal == DisposedMeanwhile)
            queue->duringRead = [this] { decoder->dispose(); };
    }

    static FakeInputQueue::Block inputBlock(const Given &given)
    {
        const bool isKey = given.input == Key || given.input == EmptyKey;
        FakeInputQueue::Block made;
        made.data = given.input == Key ? "H264" : given.input == Delta ? "x" : "";
        made.keyBlock = isKey;
        made.timestamp = 77;
        made.blockTime = blockTimeMs;
        made.streamId = LoggingDecoder::ownStreamId + (given.stream == Other ? 1 : 0);
        made.lost = 2;
        made.latency = 60;
        return made;
    }
};

} // namespace

TEST_P(ProcessingCycleTable, LogsAndLeavesWhatTheRowSays)
{
    const unsigned effects = GetParam().effects;
    const bool notedKey = effects & NotedKey;
    const bool decoded = effects & Decoded;
    const qint64 referenceBefore = decoder->_referenceTime;
    const qint64 referenceClockBefore = decoder->_referenceWallClock;

    decoder->runCycle();

    EXPECT_THAT(log.take(), ElementsAreArray(GetParam().calls));
    EXPECT_EQ(decoder->_cursor.word0, effects & Consumed ? 1u : 0u);
    EXPECT_EQ(decoder->_catchingUp, (effects & StillCatchingUp) != 0);
    EXPECT_EQ(decoder->_referenceTime, effects & Referenced ? blockTimeMs : referenceBefore);
    EXPECT_EQ(decoder->_referenceWallClock,
              effects & Referenced ? startMs + GetParam().given.sinceStartMs : referenceClockBefore);
    EXPECT_EQ(decoder->_latencySum, notedKey ? 60 : 0);
    EXPECT_EQ(decoder->_latencyCount, notedKey ? 1u : 0u);
    EXPECT_EQ(decoder->_maxLatency, notedKey ? 60 : 0);
    EXPECT_EQ(decoder->_lostBlocks, decoded ? 2u : 0u);
    EXPECT_EQ(decoder->_expectedBlocks, decoded ? 3u : 0u);
    EXPECT_EQ(decoder->_decodedFlag, decoded ? 1u : 0u);
    EXPECT_EQ(decoder->_arrivalStatistic._count, decoded ? 1u : 0u);
    EXPECT_EQ(decoder->_arrivalStatistic._origin, decoded ? startMs + GetParam().given.sinceStartMs : 0);
}

INSTANTIATE_TEST_SUITE_P(ProcessingCycle, ProcessingCycleTable, testing::ValuesIn(rows),
                         [](const testing::TestParamInfo<Row> &row) { return std::string(row.param.name); });
