#include <limits>
#include <map>

#include "CycleFixture.h"
#include "fakes/RecordedTrace.h"

// The indications and the figures that the cycle keeps.

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const qint64 largest = std::numeric_limits<qint64>::max();
const qint64 smallest = std::numeric_limits<qint64>::min();

const char *const blackenName = "N12_GLOBAL__N_17BlackenE";

/// An indication that looks around while it is set.
class ProbingIndication : public IIndicationObject {
public:
    std::function<void()> duringSet;

    void setValue(int /*value*/, int /*timeoutMs*/,
                  const ModkitPtr<ISimpleIndicationObjectCallback> & /*onTimeout*/) override
    {
        duringSet();
    }
};

/// An indication that keeps an object of its own in the callback that it is given. Logs what it is set to, and what it
/// finds there.
class WritingIndication : public IIndicationObject {
public:
    WritingIndication(const char *name, CallLog &log)
        : _name(name)
        , _log(log)
    {
    }

    void setValue(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) override
    {
        _log.add(_name + "=" + std::to_string(value) + (onTimeout.isNull() ? " empty" : " callback"));
        if (timeoutMs == -1)
            const_cast<ModkitPtr<ISimpleIndicationObjectCallback> &>(onTimeout) = _written;
    }

    int references() const { return _written._counter->strongCount; }

private:
    class Written : public ISimpleIndicationObjectCallback {
        void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> & /*indication*/) override {}
    };

    const std::string _name;
    CallLog &_log;
    const ModkitPtr<ISimpleIndicationObjectCallback> _written{new Written};
};

class ProcessingCycleFigures : public CycleFixture {
protected:
    ProcessingCycleFigures() { makeDecoder(0, true); }

    static FakeInputQueue::Block lossyBlock(quint32 lost)
    {
        FakeInputQueue::Block made = block("x");
        made.lost = lost;
        return made;
    }

    static ModkitPtr<ISimpleIndicationObjectCallback> callbackOf(const ModkitPtr<IIndicationObject> &indication)
    {
        return static_cast<FakeIndication &>(*indication).callback();
    }

    static int liveBlackens() { return RecordedTrace::liveByTypeName()[blackenName]; }
};

} // namespace

TEST_F(ProcessingCycleFigures, LossIndicationHasThreeLevels)
{
    const std::pair<quint32, const char *> levels[] = {{0, "DecoderLost=0"},          {1, "DecoderLost=1"},
                                                       {2, "DecoderLost=1"},          {3, "DecoderLost=2"},
                                                       {0x80000000, "DecoderLost=2"}, {0xffffffff, "DecoderLost=2"}};
    for (const auto &level : levels)
        EXPECT_THAT(only("DecoderLost", cycle(lossyBlock(level.first))), ElementsAre(level.second)) << level.first;
}

TEST_F(ProcessingCycleFigures, LossesAddUp)
{
    cycle(lossyBlock(3));
    cycle(lossyBlock(0));
    cycle(lossyBlock(1));
    EXPECT_EQ(decoder->_lostBlocks, 4u);
    EXPECT_EQ(decoder->_expectedBlocks, 7u);
}

TEST_F(ProcessingCycleFigures, LossesOfBlocksThatAreNotDecodedAreNotCounted)
{
    decoder->setPerformanceMode(false);
    log.take();
    FakeInputQueue::Block other = otherStreamBlock("other");
    other.lost = 5;
    queue->append(other);
    EXPECT_THAT(only("DecoderLost", cycle(lossyBlock(5))), IsEmpty());
    EXPECT_EQ(decoder->_expectedBlocks, 0u);
}

TEST_F(ProcessingCycleFigures, HugeLossesWrapAround)
{
    cycle(lossyBlock(0xffffffff));
    EXPECT_EQ(decoder->_lostBlocks, 0xffffffffu);
    EXPECT_EQ(decoder->_expectedBlocks, 0u);
    EXPECT_EQ(decoder->takeLossRatio(), 0.0);
}

TEST_F(ProcessingCycleFigures, LatencyIndicationHasThreeLevels)
{
    const std::pair<qint64, const char *> levels[] = {
        {smallest, "DecoderMaxLatency=0"}, {-1, "DecoderMaxLatency=0"},     {0, "DecoderMaxLatency=0"},
        {49, "DecoderMaxLatency=0"},       {50, "DecoderMaxLatency=1"},     {149, "DecoderMaxLatency=1"},
        {150, "DecoderMaxLatency=2"},      {largest, "DecoderMaxLatency=2"}};
    for (const auto &level : levels) {
        EXPECT_THAT(only("DecoderMaxLatency", cycle(keyBlock("H264", level.first))), ElementsAre(level.second))
            << level.first;
        decoder->takeMaxLatency();
    }
}

TEST_F(ProcessingCycleFigures, LatencyIndicationShowsTheMaximumUntilThatIsTaken)
{
    cycle(keyBlock("H264", 150));
    EXPECT_THAT(only("DecoderMaxLatency", cycle(keyBlock("H264", 10))), ElementsAre("DecoderMaxLatency=2"));
    EXPECT_EQ(decoder->takeMaxLatency(), 150);
    EXPECT_THAT(only("DecoderMaxLatency", cycle(keyBlock("H264", 10))), ElementsAre("DecoderMaxLatency=0"));
    EXPECT_EQ(decoder->takeMaxLatency(), 10);
}

TEST_F(ProcessingCycleFigures, TakingTheLatencyTotalsKeepsTheMaximum)
{
    cycle(keyBlock("H264", 60));
    cycle(keyBlock("H264", 20));
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(80, 2u));
    EXPECT_THAT(only("DecoderMaxLatency", cycle(keyBlock("H264", 1))), ElementsAre("DecoderMaxLatency=1"));
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(1, 1u));
    EXPECT_EQ(decoder->takeMaxLatency(), 60);
}

TEST_F(ProcessingCycleFigures, TakingTheMaximumKeepsTheLatencyTotals)
{
    cycle(keyBlock("H264", 60));
    EXPECT_EQ(decoder->takeMaxLatency(), 60);
    EXPECT_EQ(decoder->takeMaxLatency(), 0);
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(60, 1u));
}

TEST_F(ProcessingCycleFigures, LatencyOfOtherThanKeyBlocksIsNotCounted)
{
    FakeInputQueue::Block delta = block("x");
    delta.latency = 200;
    EXPECT_THAT(only("DecoderMaxLatency", cycle(delta)), IsEmpty());
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(0, 0u));
}

TEST_F(ProcessingCycleFigures, NegativeLatencyIsAddedButRaisesNoMaximum)
{
    cycle(keyBlock("H264", -30));
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(-30, 1u));
    EXPECT_EQ(decoder->takeMaxLatency(), 0);
}

TEST_F(ProcessingCycleFigures, ExtremeLatenciesWrapAround)
{
    for (const qint64 latency : {largest, largest, smallest, smallest, Q_INT64_C(-1)})
        cycle(keyBlock("H264", latency));
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(-3, 5u));
    EXPECT_EQ(decoder->takeMaxLatency(), largest);
}

TEST_F(ProcessingCycleFigures, CountsAtTheirLimitsWrapAround)
{
    decoder->_latencyCount = 0xffffffff;
    decoder->_latencySum = 7;
    decoder->_lostBlocks = 0xfffffffe;
    decoder->_expectedBlocks = 0xfffffffc;
    FakeInputQueue::Block lossyKeyBlock = keyBlock("H264", 3);
    lossyKeyBlock.lost = 4;
    cycle(lossyKeyBlock);
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(10, 0u));
    EXPECT_EQ(decoder->_lostBlocks, 2u);
    EXPECT_EQ(decoder->_expectedBlocks, 1u);
    EXPECT_EQ(decoder->takeLossRatio(), 2.0);
}

TEST_F(ProcessingCycleFigures, MaxLatencyIndicationIsSetUnderTheLatencyMutexAndTheOthersUnderNone)
{
    std::map<std::string, std::string> lockedDuring;
    const auto probe = [&](const char *name) {
        auto *probing = new ProbingIndication;
        probing->duringSet = [this, name, &lockedDuring] {
            const std::pair<QMutex *, const char *> mutexes[] = {{&decoder->_lossMutex, "loss"},
                                                                 {&decoder->_decodedMutex, "decoded"},
                                                                 {&decoder->_latencyMutex, "latency"},
                                                                 {&decoder->_decodingTimeMutex, "decodingTime"}};
            lockedDuring[name];
            for (const auto &mutex : mutexes) {
                if (mutex.first->tryLock())
                    mutex.first->unlock();
                else
                    lockedDuring[name] += mutex.second;
            }
        };
        return ModkitPtr<IIndicationObject>(probing);
    };
    decoder->_modeIndication = probe("mode");
    decoder->_lostIndication = probe("lost");
    decoder->_cycleIndication = probe("cycle");
    decoder->_maxLatencyIndication = probe("maxLatency");
    decoder->_keyBlockIndication = probe("keyBlock");
    decoder->_nullBlockIndication = probe("nullBlock");
    decoder->_dataPushedIndication = probe("dataPushed");

    decoder->setPerformanceMode(true);
    cycle(keyBlock(""));
    EXPECT_THAT(lockedDuring,
                ElementsAre(Pair("cycle", ""), Pair("dataPushed", ""), Pair("keyBlock", ""), Pair("lost", ""),
                            Pair("maxLatency", "latency"), Pair("mode", ""), Pair("nullBlock", "")));
    decoder->_indicationManager.reset();
}

TEST_F(ProcessingCycleFigures, DecodedFlagStaysSetOverIdleCyclesUntilItIsTaken)
{
    cycle(block("x"));
    cycle();
    EXPECT_EQ(decoder->takeDecodedFlag(), 1u);
    cycle();
    EXPECT_EQ(decoder->takeDecodedFlag(), 0u);
}

TEST_F(ProcessingCycleFigures, WorksTheSameWithoutIndications)
{
    decoder =
        std::make_unique<LoggingDecoder>(log, ModkitPtr<IIndicationManager>(), inputQueue, CreationFlags::Paced, true);
    log.take();
    EXPECT_THAT(cycle(keyBlock("H264", 60)),
                ElementsAre("read 0", "create 'H264'", "decode KEY 'H264' at 0, 0 catching up"));
    EXPECT_THAT(cycle(block("")), ElementsAre("read 1", "decode '' at 0, 0 catching up", "discard"));
    EXPECT_THAT(cycle(), ElementsAre("read none"));
    decoder->setPerformanceMode(false);
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(60, 1u));
    EXPECT_EQ(decoder->takeMaxLatency(), 60);
    EXPECT_EQ(decoder->_expectedBlocks, 2u);
    EXPECT_EQ(decoder->takeDecodedFlag(), 1u);
}

TEST_F(ProcessingCycleFigures, WorksTheSameWhereSingleIndicationsAreMissing)
{
    decoder->_lostIndication.reset();
    decoder->_maxLatencyIndication.reset();
    decoder->_nullBlockIndication.reset();
    EXPECT_THAT(cycle(keyBlock("")),
                ElementsAre("read 0", "DecoderKeyBlockReceived=0 for 500", "DecoderDataPushed=0 for 500",
                            "decode KEY '' at 0, 0", "discard", "DecoderCycle=0"));
}

TEST_F(ProcessingCycleFigures, BlinkIsOneFreshCallbackThatOnlyTheIndicationKeeps)
{
    const int before = liveBlackens();
    RecordedTrace::take();
    cycle(block("x"));
    const auto added = [](int flag) {
        return AllOf(Field(&RecordedTrace::Call::kind, RecordedTrace::Call::Add),
                     Field(&RecordedTrace::Call::typeName, blackenName), Field(&RecordedTrace::Call::flag, flag));
    };
    const std::vector<RecordedTrace::Call> calls = RecordedTrace::take();
    EXPECT_THAT(calls, ElementsAre(added(0)));
    EXPECT_EQ(liveBlackens(), before + 1);
    const ModkitPtr<ISimpleIndicationObjectCallback> callback = callbackOf(decoder->_dataPushedIndication);
    EXPECT_EQ(callback._counter->strongCount, 2); // the indication's and this test's
    EXPECT_EQ(callback._counter->blockCount, 1);
    EXPECT_EQ(callback._counter->deleter, nullptr);
}

TEST_F(ProcessingCycleFigures, BlinkIsRemovedFromTheTraceWhenTheNextOneReplacesIt)
{
    cycle(block("x"));
    const int before = liveBlackens();
    RecordedTrace::take();
    cycle(block("y"));
    const std::vector<RecordedTrace::Call> calls = RecordedTrace::take();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].kind, RecordedTrace::Call::Add);
    EXPECT_EQ(calls[1].kind, RecordedTrace::Call::Remove);
    EXPECT_NE(calls[0].counter, calls[1].counter);
    EXPECT_EQ(liveBlackens(), before);
}

TEST_F(ProcessingCycleFigures, EachBlinkOfACycleHasACallbackOfItsOwn)
{
    cycle(keyBlock(""));
    const auto nullBlock = callbackOf(decoder->_nullBlockIndication);
    const auto key = callbackOf(decoder->_keyBlockIndication);
    const auto pushed = callbackOf(decoder->_dataPushedIndication);
    EXPECT_NE(nullBlock, key);
    EXPECT_NE(key, pushed);
    EXPECT_NE(pushed, nullBlock);
}

TEST_F(ProcessingCycleFigures, EndOfABlinkTurnsTheGivenIndicationBlackForGood)
{
    cycle(block("x"));
    const ModkitPtr<ISimpleIndicationObjectCallback> callback = callbackOf(decoder->_dataPushedIndication);
    for (const quint64 reason : {Q_UINT64_C(0), Q_UINT64_C(1), ~Q_UINT64_C(0)}) {
        callback->onTimeout(reason, decoder->_keyBlockIndication);
        EXPECT_THAT(log.take(), ElementsAre("DecoderKeyBlockReceived=3"));
    }
}

TEST_F(ProcessingCycleFigures, IndicationMayWriteToTheCallbackThatItIsGiven)
{
    const ModkitPtr<WritingIndication> mode(new WritingIndication("mode", log));
    const ModkitPtr<WritingIndication> lost(new WritingIndication("lost", log));
    const ModkitPtr<WritingIndication> latency(new WritingIndication("latency", log));
    const ModkitPtr<WritingIndication> ofCycle(new WritingIndication("cycle", log));
    decoder->_modeIndication = mode;
    decoder->_lostIndication = lost;
    decoder->_maxLatencyIndication = latency;
    decoder->_cycleIndication = ofCycle;
    for (int round = 0; round < 2; ++round) {
        decoder->setPerformanceMode(true);
        EXPECT_THAT(log.take(), ElementsAre("mode=0 empty"));
        EXPECT_THAT(cycle(keyBlock("x")),
                    ElementsAre("read " + std::to_string(round), "DecoderKeyBlockReceived=0 for 500", "latency=0 empty",
                                "lost=0 empty", "DecoderDataPushed=0 for 500", "decode KEY 'x' at 0, 0",
                                "cycle=0 empty"));
        EXPECT_THAT(cycle(), ElementsAre("read none", "cycle=3 empty"));
        callbackOf(decoder->_keyBlockIndication)->onTimeout(0, mode);
        EXPECT_THAT(log.take(), ElementsAre("mode=3 empty"));
    }
    for (const auto &indication : {mode, lost, latency, ofCycle})
        EXPECT_EQ(indication->references(), 1) << "what was written is released";
    decoder->_indicationManager.reset(); // which knows its own indications only
}

TEST_F(ProcessingCycleFigures, BlinkMayEndAfterTheDecoder)
{
    cycle(block("x"));
    const ModkitPtr<IIndicationObject> indication = decoder->_dataPushedIndication;
    decoder.reset();
    log.take();
    callbackOf(indication)->onTimeout(0, indication);
    EXPECT_THAT(log.take(), ElementsAre("DecoderDataPushed=3"));
}

TEST_F(ProcessingCycleFigures, IdleCycleTouchesNothingButTheCycleIndication)
{
    RecordedTrace::take();
    EXPECT_THAT(cycle(), ElementsAre("read none", "DecoderCycle=3"));
    EXPECT_THAT(cycle(), ElementsAre("read none", "DecoderCycle=3"));
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}
