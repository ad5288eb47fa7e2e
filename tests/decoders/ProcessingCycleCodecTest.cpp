#include <limits>

#include "CycleFixture.h"
#include "fakes/FakeElapsedTime.h"

// The codec switch, the decoding step and the time it takes.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProcessingCycleCodec : public CycleFixture {
protected:
    ProcessingCycleCodec() { makeDecoder(0, true); }

    /// The calls of one cycle over @p input that concern the codec.
    std::vector<std::string> codecCalls(const FakeInputQueue::Block &input)
    {
        std::vector<std::string> calls;
        for (const std::string &call : cycle(input)) {
            if (call.compare(0, 4, "read") != 0 && call.compare(0, 7, "Decoder") != 0)
                calls.push_back(call);
        }
        return calls;
    }

    bool areFiguresUnlocked() const
    {
        bool unlocked = true;
        for (QMutex *mutex :
             {&decoder->_lossMutex, &decoder->_decodedMutex, &decoder->_latencyMutex, &decoder->_decodingTimeMutex}) {
            if (mutex->tryLock())
                mutex->unlock();
            else
                unlocked = false;
        }
        return unlocked;
    }
};

} // namespace

TEST_F(ProcessingCycleCodec, FirstKeyBlockCreatesACodecDecoder)
{
    EXPECT_EQ(decoder->_currentFourcc, 0u);
    EXPECT_THAT(codecCalls(keyBlock("H264....")), ElementsAre("create 'H264'", "decode KEY 'H264....' at 0, 0"));
    EXPECT_EQ(decoder->_currentFourcc, 0x34363248u);
}

TEST_F(ProcessingCycleCodec, FourccIsReadAsUnsignedBytes)
{
    EXPECT_THAT(codecCalls(keyBlock("\xff\xfe\x80\x81")),
                ElementsAre("create '\xff\xfe\x80\x81'", "decode KEY '\xff\xfe\x80\x81' at 0, 0"));
    EXPECT_EQ(decoder->_currentFourcc, 0x8180feffu);
}

TEST_F(ProcessingCycleCodec, FourccOfZeroStillCreates)
{
    FakeInputQueue::Block zeros = keyBlock("");
    zeros.data = QByteArray(4, '\0');
    EXPECT_EQ(codecCalls(zeros).size(), 2u);
    EXPECT_TRUE(decoder->holding);
    EXPECT_EQ(decoder->_currentFourcc, 0u);
}

TEST_F(ProcessingCycleCodec, KeyBlockOfThreeBytesNeverSwitches)
{
    EXPECT_THAT(codecCalls(keyBlock("VP9")), ElementsAre("decode KEY 'VP9' at 0, 0"));
    codecCalls(keyBlock("H264"));
    EXPECT_THAT(codecCalls(keyBlock("VP9")), ElementsAre("decode KEY 'VP9' at 0, 0"));
    EXPECT_EQ(decoder->_currentFourcc, 0x34363248u);
}

TEST_F(ProcessingCycleCodec, KeyBlockOfFourBytesSwitches)
{
    EXPECT_THAT(codecCalls(keyBlock("VP80")), ElementsAre("create 'VP80'", "decode KEY 'VP80' at 0, 0"));
}

TEST_F(ProcessingCycleCodec, BlockThatIsNotAKeyBlockNeverSwitches)
{
    EXPECT_THAT(codecCalls(block("VP80")), ElementsAre("decode 'VP80' at 0, 0"));
    EXPECT_FALSE(decoder->holding);
}

TEST_F(ProcessingCycleCodec, SameFourccKeepsTheCodecDecoder)
{
    codecCalls(keyBlock("H264a"));
    EXPECT_THAT(codecCalls(keyBlock("H264b")), ElementsAre("decode KEY 'H264b' at 0, 0"));
}

TEST_F(ProcessingCycleCodec, NewFourccDrainsDiscardsAndCreates)
{
    codecCalls(keyBlock("H264"));
    FakeInputQueue::Block other = keyBlock("VP80", 0, 2000);
    other.timestamp = 1000;
    EXPECT_THAT(codecCalls(other),
                ElementsAre("decode '' at 0, 0", "discard", "create 'VP80'", "decode KEY 'VP80' at 1000, 2000"));
    EXPECT_EQ(decoder->_currentFourcc, 0x30385056u);
}

TEST_F(ProcessingCycleCodec, DrainLearnsOfTheCatchUp)
{
    makeDecoder(CreationFlags::Paced, true);
    codecCalls(keyBlock("H264"));
    EXPECT_THAT(codecCalls(keyBlock("VP80")), ElementsAre("decode '' at 0, 0 catching up", "discard", "create 'VP80'",
                                                          "decode KEY 'VP80' at 0, 0 catching up"));
}

TEST_F(ProcessingCycleCodec, SwitchComesBeforeTheDataPushedBlink)
{
    cycle(keyBlock("H264"));
    EXPECT_THAT(cycle(keyBlock("VP80")),
                ElementsAre("read 1", "DecoderKeyBlockReceived=0 for 500", "DecoderMaxLatency=0", "DecoderLost=0",
                            "decode '' at 0, 0", "discard", "create 'VP80'", "DecoderDataPushed=0 for 500",
                            "decode KEY 'VP80' at 0, 0", "DecoderCycle=0"));
}

TEST_F(ProcessingCycleCodec, FailedCreationIsRetriedAtTheNextKeyBlockOnly)
{
    decoder->refusing = true;
    EXPECT_THAT(codecCalls(keyBlock("H264a")), ElementsAre("create 'H264'", "decode KEY 'H264a' at 0, 0"));
    EXPECT_EQ(decoder->_currentFourcc, 0x34363248u);
    EXPECT_THAT(codecCalls(block("x")), ElementsAre("decode 'x' at 0, 0"));
    EXPECT_THAT(codecCalls(keyBlock("H264b")), ElementsAre("create 'H264'", "decode KEY 'H264b' at 0, 0"));
    decoder->refusing = false;
    EXPECT_THAT(codecCalls(keyBlock("H264c")), ElementsAre("create 'H264'", "decode KEY 'H264c' at 0, 0"));
    EXPECT_THAT(codecCalls(keyBlock("H264d")), ElementsAre("decode KEY 'H264d' at 0, 0"));
}

TEST_F(ProcessingCycleCodec, FailedReplacementIsRetriedWithoutADrain)
{
    codecCalls(keyBlock("H264"));
    decoder->refusing = true;
    codecCalls(keyBlock("VP80"));
    EXPECT_THAT(codecCalls(keyBlock("VP80")), ElementsAre("create 'VP80'", "decode KEY 'VP80' at 0, 0"));
}

TEST_F(ProcessingCycleCodec, EmptyBlockDiscardsTheCodecDecoderAfterDecodeBlock)
{
    codecCalls(keyBlock("H264"));
    EXPECT_THAT(codecCalls(block("")), ElementsAre("decode '' at 0, 0", "discard"));
    EXPECT_THAT(codecCalls(block("")), ElementsAre("decode '' at 0, 0", "discard"));
    EXPECT_THAT(codecCalls(keyBlock("H264")), ElementsAre("create 'H264'", "decode KEY 'H264' at 0, 0"));
}

TEST_F(ProcessingCycleCodec, DecodesOneBlockPerCycle)
{
    queue->append(keyBlock("H264"));
    queue->append(block("x"));
    queue->append(block("y"));
    for (const char *expected : {"decode KEY 'H264' at 0, 0", "decode 'x' at 0, 0", "decode 'y' at 0, 0"}) {
        const std::vector<std::string> calls = cycle();
        EXPECT_THAT(only("decode", calls), ElementsAre(expected));
        EXPECT_EQ(only("read", calls).size(), 1u);
    }
    EXPECT_THAT(cycle(), ElementsAre("read none", "DecoderCycle=3"));
}

TEST_F(ProcessingCycleCodec, ReadsOnOverAnyNumberOfPassedOverBlocksToTheNextDecodedOne)
{
    decoder->setPerformanceMode(false);
    log.take();
    for (int count = 0; count < 2; ++count) {
        queue->append(otherStreamBlock("other"));
        queue->append(block("skipped"));
    }
    queue->append(keyBlock("H264"));
    queue->append(keyBlock("H264"));
    const std::vector<std::string> calls = cycle();
    EXPECT_THAT(only("read", calls), ElementsAre("read 0", "read 1", "read 2", "read 3", "read 4"));
    EXPECT_THAT(only("decode", calls), ElementsAre("decode KEY 'H264' at 0, 0"));
    EXPECT_EQ(decoder->_cursor.word0, 5u);
}

TEST_F(ProcessingCycleCodec, CursorIsKeptAsTheQueueLeavesIt)
{
    struct WilfulQueue : IInputQueue {
        std::vector<QueueCursor> seen;
        bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                       QueueCursor *cursor, void *reserved1, void *reserved2, quint32 *lost, qint64 *latency) override
        {
            EXPECT_EQ(reserved1, nullptr);
            EXPECT_EQ(reserved2, nullptr);
            seen.push_back(*cursor);
            cursor->word0 = 0xfffffffe;
            cursor->word1 = 12;
            cursor->flag = false;
            *data = "x";
            *streamId = LoggingDecoder::ownStreamId;
            *keyBlock = false;
            *timestamp = *blockTime = *latency = 0;
            *lost = 0;
            return true;
        }
    };
    auto *wilful = new WilfulQueue;
    inputQueue = ModkitPtr<IInputQueue>(wilful);
    makeDecoder(0, true);
    cycle();
    EXPECT_EQ(decoder->_cursor.word0, 0xfffffffeu);
    EXPECT_EQ(decoder->_cursor.word1, 12u);
    EXPECT_FALSE(decoder->_cursor.flag);
    cycle();
    ASSERT_EQ(wilful->seen.size(), 2u);
    EXPECT_EQ(wilful->seen[0].word0, 0u);
    EXPECT_EQ(wilful->seen[0].word1, 0u);
    EXPECT_TRUE(wilful->seen[0].flag);
    EXPECT_EQ(wilful->seen[1].word0, 0xfffffffeu);
    EXPECT_EQ(wilful->seen[1].word1, 12u);
    EXPECT_FALSE(wilful->seen[1].flag);
}

TEST_F(ProcessingCycleCodec, DataReachesDecodeBlockUncopied)
{
    const QByteArray data("H264 and more");
    struct Observer final : BaseSingleStreamDecoder {
        explicit Observer(const ModkitPtr<IInputQueue> &input)
            : BaseSingleStreamDecoder(nullptr, {}, input, 0, LoggingDecoder::ownStreamId, 0, true, QString())
        {
        }
        int removeOutput(quint32) override { return 0; }
        void decodeBlock(const QByteArray &block, bool, qint64, qint64, bool) override { bytes = block.constData(); }
        bool hasCodecDecoder() const override { return false; }
        void discardCodecDecoder() override {}
        void createCodecDecoder(quint32) override {}
        const char *bytes = nullptr;
    };
    Observer observer(inputQueue);
    FakeInputQueue::Block shared = keyBlock("");
    shared.data = data;
    queue->append(shared);
    observer.runCycle();
    EXPECT_EQ(observer.bytes, data.constData());
}

TEST_F(ProcessingCycleCodec, NoFiguresAreLockedWhileTheCodecWorks)
{
    std::vector<std::string> unlockedIn;
    decoder->during = [&](const std::string &call) {
        if (areFiguresUnlocked())
            unlockedIn.push_back(call);
    };
    cycle(keyBlock("H264"));
    cycle(keyBlock("VP80"));
    cycle(block(""));
    EXPECT_THAT(unlockedIn,
                ElementsAre("create", "decode", "decode", "discard", "create", "decode", "decode", "discard"));
}

TEST_F(ProcessingCycleCodec, DecodingTimeCoversTheSwitchTheDecodingAndTheDiscarding)
{
    decoder->during = [](const std::string &call) {
        FakeElapsedTime::advance(call == "create" ? 1 : call == "decode" ? 10 : 100);
    };
    cycle(keyBlock("H264"));
    EXPECT_EQ(decoder->takeDecodingTime(), 11);
    cycle(keyBlock("VP80"));
    EXPECT_EQ(decoder->takeDecodingTime(), 121);
    cycle(block(""));
    EXPECT_EQ(decoder->takeDecodingTime(), 110);
}

TEST_F(ProcessingCycleCodec, DecodingTimeAddsUpUntilItIsTaken)
{
    decoder->during = [](const std::string & /*call*/) { FakeElapsedTime::advance(7); };
    cycle(block("x"));
    cycle(block("y"));
    EXPECT_EQ(decoder->takeDecodingTime(), 14);
    EXPECT_EQ(decoder->takeDecodingTime(), 0);
}

TEST_F(ProcessingCycleCodec, DecodingTimeLeavesTheReadingOutAndTheWallClockToo)
{
    queue->duringRead = [] { FakeElapsedTime::advance(1000); };
    decoder->during = [](const std::string & /*call*/) { FakeWallClock::advance(1000); };
    cycle(block("x"));
    EXPECT_EQ(decoder->takeDecodingTime(), 0);
}

TEST_F(ProcessingCycleCodec, DecodingTimeBeginsAfterTheArrivalSampleAndItsReport)
{
    const auto previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &) { FakeElapsedTime::advance(1000); });
    FakeWallClock::set(startMs);
    cycle(block("x"));
    FakeWallClock::set(startMs + 10);
    cycle(block("y"));
    EXPECT_EQ(decoder->takeDecodingTime(), 0);
    FakeWallClock::set(startMs + 60000);
    cycle(block("z"));
    qInstallMessageHandler(previous);
    EXPECT_EQ(decoder->_arrivalStatistic._count, 1u) << "the report was written";
    EXPECT_EQ(decoder->takeDecodingTime(), 0);
}

TEST_F(ProcessingCycleCodec, HugeDecodingTimesWrapAround)
{
    decoder->during = [](const std::string & /*call*/) {
        FakeElapsedTime::advance(std::numeric_limits<qint32>::max());
    };
    cycle(block("x"));
    cycle(block("y"));
    EXPECT_EQ(decoder->takeDecodingTime(), -2);
}

TEST_F(ProcessingCycleCodec, ArrivalIsSampledBeforeTheCodecWorks)
{
    decoder->during = [](const std::string & /*call*/) { FakeWallClock::advance(30); };
    cycle(keyBlock("H264")); // creates and decodes
    EXPECT_EQ(decoder->_arrivalStatistic._origin, startMs);
    cycle(keyBlock("VP80")); // drains, discards, creates and decodes
    EXPECT_EQ(decoder->_arrivalStatistic._last, 60);
    EXPECT_EQ(decoder->_arrivalStatistic._count, 2u);
}

TEST_F(ProcessingCycleCodec, BaseNeverRemovesOutputs)
{
    cycle(keyBlock("H264"));
    cycle(block(""));
    EXPECT_THAT(only("removeOutput", cycle()), IsEmpty());
    decoder.reset();
    EXPECT_THAT(only("removeOutput", log.take()), IsEmpty());
}
