#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

#include <string>
#include <vector>

#include "CycleFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class BaseSingleStreamDecoderTest : public CycleFixture {
protected:
    std::vector<std::string> callsOf(QEvent &&event)
    {
        QCoreApplication::sendEvent(decoder.get(), &event);
        return log.take();
    }
};

} // namespace

TEST_F(BaseSingleStreamDecoderTest, LossRatioIsLostOverExpectedBlocksSinceTheLastTake)
{
    makeDecoder(0, true);
    FakeInputQueue::Block lossy = block("x");
    lossy.lost = 3;
    cycle(lossy);
    EXPECT_EQ(decoder->takeLossRatio(), 0.75);
    EXPECT_EQ(decoder->takeLossRatio(), 0.0);
    cycle(lossy);
    cycle(block("x"));
    EXPECT_EQ(decoder->takeLossRatio(), 0.6);
}

TEST_F(BaseSingleStreamDecoderTest, LossRatioIsZeroWithoutLossesAndForgetsTheExpectedBlocks)
{
    makeDecoder(0, true);
    cycle(block("x"));
    EXPECT_EQ(decoder->takeLossRatio(), 0.0);
    FakeInputQueue::Block lossy = block("x");
    lossy.lost = 1;
    cycle(lossy);
    EXPECT_EQ(decoder->takeLossRatio(), 0.5);
}

TEST_F(BaseSingleStreamDecoderTest, LossRatioForgetsLossesWithoutExpectedBlocks)
{
    makeDecoder(0, true);
    decoder->_lostBlocks = 4;
    EXPECT_EQ(decoder->takeLossRatio(), 0.0);
    EXPECT_EQ(decoder->_lostBlocks, 0u);
}

TEST_F(BaseSingleStreamDecoderTest, EachTakeResetsItsOwnFiguresOnly)
{
    makeDecoder(0, true);
    FakeInputQueue::Block lossy = keyBlock("H264", 30);
    lossy.lost = 1;
    cycle(lossy);
    decoder->_decodingTime = 8;
    EXPECT_EQ(decoder->takeDecodedFlag(), 1u);
    EXPECT_EQ(decoder->takeDecodedFlag(), 0u);
    EXPECT_EQ(decoder->takeDecodingTime(), 8);
    EXPECT_EQ(decoder->takeDecodingTime(), 0);
    EXPECT_EQ(decoder->takeMaxLatency(), 30);
    EXPECT_EQ(decoder->takeMaxLatency(), 0);
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(30, 1u));
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(0, 0u));
    EXPECT_EQ(decoder->takeLossRatio(), 0.5);
    EXPECT_EQ(decoder->takeLossRatio(), 0.0);
}

TEST_F(BaseSingleStreamDecoderTest, ModeSwitchSetsTheModeAndItsIndicationEachTime)
{
    makeDecoder(0, true);
    decoder->setPerformanceMode(false);
    EXPECT_FALSE(decoder->_performanceMode);
    EXPECT_THAT(log.take(), ElementsAre("DecoderMode=1"));
    decoder->setPerformanceMode(true);
    EXPECT_TRUE(decoder->_performanceMode);
    EXPECT_THAT(log.take(), ElementsAre("DecoderMode=0"));
    decoder->setPerformanceMode(true);
    EXPECT_THAT(log.take(), ElementsAre("DecoderMode=0"));
}

TEST_F(BaseSingleStreamDecoderTest, ModeSwitchWorksWithoutIndications)
{
    LoggingDecoder made(log, ModkitPtr<IIndicationManager>(), inputQueue, 0, true);
    made.setPerformanceMode(false);
    EXPECT_FALSE(made._performanceMode);
}

TEST_F(BaseSingleStreamDecoderTest, TickOfItsTimerRunsOneCycle)
{
    makeDecoder(0, true);
    EXPECT_THAT(callsOf(QTimerEvent(decoder->_timer.timerId())), ElementsAre("read none", "DecoderCycle=3"));
}

TEST_F(BaseSingleStreamDecoderTest, TickOfAnotherTimerRunsNoCycle)
{
    makeDecoder(0, true);
    EXPECT_THAT(callsOf(QTimerEvent(decoder->_timer.timerId() + 1)), IsEmpty());
    EXPECT_THAT(callsOf(QTimerEvent(-1)), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderTest, CustomEventOfAnyTypeRunsOneCycle)
{
    makeDecoder(0, true);
    for (const int type : {1000, 1001, 4711, 65535})
        EXPECT_THAT(callsOf(QEvent(static_cast<QEvent::Type>(type))), ElementsAre("read none", "DecoderCycle=3"))
            << type;
}

TEST_F(BaseSingleStreamDecoderTest, CustomEventLeavesARunningTimerAlone)
{
    makeDecoder(0, true);
    decoder->_timer.start(5000, decoder.get());
    callsOf(QEvent(QEvent::User));
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(decoder.get());
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.front().timerId, decoder->_timer.timerId());
    EXPECT_EQ(timers.front().interval, 5000);
}

TEST_F(BaseSingleStreamDecoderTest, OtherEventsRunNoCycle)
{
    makeDecoder(0, true);
    EXPECT_THAT(callsOf(QEvent(QEvent::None)), IsEmpty());
    EXPECT_THAT(callsOf(QEvent(static_cast<QEvent::Type>(999))), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderTest, DisposeSetsTheFlagAndDefersTheDeletion)
{
    makeDecoder(0, true);
    bool destroyed = false;
    LoggingDecoder *const disposed = decoder.release();
    QObject::connect(disposed, &QObject::destroyed, [&destroyed] { destroyed = true; });
    disposed->dispose();
    EXPECT_TRUE(disposed->_disposing);
    EXPECT_FALSE(destroyed);
    QCoreApplication::sendPostedEvents(disposed, QEvent::DeferredDelete);
    EXPECT_TRUE(destroyed);
}

TEST_F(BaseSingleStreamDecoderTest, CycleAfterDisposeReadsNothing)
{
    makeDecoder(0, true);
    queue->append(keyBlock("H264"));
    decoder->dispose();
    EXPECT_THAT(callsOf(QTimerEvent(decoder->_timer.timerId())), ElementsAre("DecoderCycle=3"));
    EXPECT_THAT(callsOf(QEvent(QEvent::User)), ElementsAre("DecoderCycle=3"));
    EXPECT_EQ(decoder->_cursor.word0, 0u);
}

TEST_F(BaseSingleStreamDecoderTest, FiguresCanBeTakenAfterDispose)
{
    makeDecoder(0, true);
    cycle(keyBlock("H264", 5));
    decoder->dispose();
    cycle();
    EXPECT_EQ(decoder->takeDecodedFlag(), 1u);
    EXPECT_THAT(decoder->takeLatencyTotals(), Pair(5, 1u));
}
