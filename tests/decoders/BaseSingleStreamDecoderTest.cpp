#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

#include <functional>
#include <new>
#include <type_traits>

#include "CycleFixture.h"
#include "fakes/RecordedMessages.h"
#include "fakes/RecordedTrace.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Calls back within each creation of an indication.
class ProbingIndicationManager : public FakeIndicationManager {
public:
    std::function<void(const QString &name)> duringCreate;

    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) override
    {
        duringCreate(name);
        return FakeIndicationManager::createIndication(reserved, name, ownerName, initialValue);
    }
};

/// Logs its destruction as "queue gone".
class MortalQueue : public FakeInputQueue {
public:
    explicit MortalQueue(CallLog &log)
        : _log(log)
    {
    }
    ~MortalQueue() override { _log.add("queue gone"); }

private:
    CallLog &_log;
};

/// Hands out indications that it does not keep, and that log their destruction as "DecoderMode gone"; logs its own as
/// "manager gone".
class MortalIndicationManager : public FakeIndicationManager {
public:
    explicit MortalIndicationManager(CallLog &log)
        : _log(log)
    {
    }
    ~MortalIndicationManager() override { _log.add("manager gone"); }

    ModkitPtr<IIndicationObject> createIndication(void * /*reserved*/, const QString &name,
                                                  const QString & /*ownerName*/, int /*initialValue*/) override
    {
        return ModkitPtr<IIndicationObject>(new MortalIndication(name.toStdString(), _log));
    }

private:
    class MortalIndication : public FakeIndication {
    public:
        MortalIndication(const std::string &name, CallLog &log)
            : FakeIndication(name, nullptr)
            , _log(log)
        {
        }
        ~MortalIndication() override { _log.add(name() + " gone"); }

    private:
        CallLog &_log;
    };

    CallLog &_log;
};

class BaseSingleStreamDecoderTest : public CycleFixture {
protected:
    std::unique_ptr<LoggingDecoder> make(bool performanceMode, const char *name)
    {
        return std::make_unique<LoggingDecoder>(log, indicationManager, inputQueue, 0, performanceMode,
                                                QString::fromLatin1(name));
    }

    std::vector<std::string> callsOf(QEvent &&event)
    {
        QCoreApplication::sendEvent(decoder.get(), &event);
        return log.take();
    }
};

} // namespace

TEST_F(BaseSingleStreamDecoderTest, CreatesTheSevenIndicationsInOrder)
{
    const auto made = make(true, "camera 1");
    EXPECT_THAT(log.take(),
                ElementsAre("create DecoderMode of camera 1 = 0", "create DecoderLost of camera 1 = 0",
                            "create DecoderCycle of camera 1 = 3", "create DecoderMaxLatency of camera 1 = 3",
                            "create DecoderKeyBlockReceived of camera 1 = 3",
                            "create DecoderNullBlockReceived of camera 1 = 3",
                            "create DecoderDataPushed of camera 1 = 3"));
    EXPECT_EQ(made->_modeIndication, indications->indication("DecoderMode"));
    EXPECT_EQ(made->_lostIndication, indications->indication("DecoderLost"));
    EXPECT_EQ(made->_cycleIndication, indications->indication("DecoderCycle"));
    EXPECT_EQ(made->_maxLatencyIndication, indications->indication("DecoderMaxLatency"));
    EXPECT_EQ(made->_keyBlockIndication, indications->indication("DecoderKeyBlockReceived"));
    EXPECT_EQ(made->_nullBlockIndication, indications->indication("DecoderNullBlockReceived"));
    EXPECT_EQ(made->_dataPushedIndication, indications->indication("DecoderDataPushed"));
}

TEST_F(BaseSingleStreamDecoderTest, ModeIndicationBeginsWithTheTimeSavingMode)
{
    const auto made = make(false, "camera 1");
    EXPECT_THAT(log.take(),
                ElementsAre("create DecoderMode of camera 1 = 1", "create DecoderLost of camera 1 = 0",
                            "create DecoderCycle of camera 1 = 3", "create DecoderMaxLatency of camera 1 = 3",
                            "create DecoderKeyBlockReceived of camera 1 = 3",
                            "create DecoderNullBlockReceived of camera 1 = 3",
                            "create DecoderDataPushed of camera 1 = 3"));
}

TEST_F(BaseSingleStreamDecoderTest, KeepsItsArguments)
{
    const LoggingDecoder made(log, indicationManager, inputQueue, 6, true);
    EXPECT_EQ(made._context, &log);
    EXPECT_EQ(made._indicationManager, indicationManager);
    EXPECT_EQ(made.inputQueue(), inputQueue);
    EXPECT_EQ(made.threadIndex(), 7u);
    EXPECT_EQ(made._streamId, LoggingDecoder::ownStreamId);
    EXPECT_EQ(made.flags(), 6);
    EXPECT_TRUE(made._performanceMode);
    EXPECT_FALSE(make(false, "")->_performanceMode);
    EXPECT_EQ(made.parent(), nullptr);
}

TEST_F(BaseSingleStreamDecoderTest, BeginsWithNothingReadAndNothingCounted)
{
    const auto made = make(true, "camera 1");
    EXPECT_FALSE(made->_disposing);
    EXPECT_EQ(made->_cursor.word0, 0u);
    EXPECT_EQ(made->_cursor.word1, 0u);
    EXPECT_TRUE(made->_cursor.flag);
    EXPECT_EQ(made->_currentFourcc, 0u);
    EXPECT_EQ(made->_referenceTime, 0);
    EXPECT_EQ(made->_referenceWallClock, 0);
    EXPECT_EQ(made->_catchUpDeadline, startMs + 500);
    EXPECT_EQ(made->takeLossRatio(), 0.0);
    EXPECT_EQ(made->takeDecodedFlag(), 0u);
    EXPECT_THAT(made->takeLatencyTotals(), Pair(0, 0u));
    EXPECT_EQ(made->takeMaxLatency(), 0);
    EXPECT_EQ(made->takeDecodingTime(), 0);
}

TEST_F(BaseSingleStreamDecoderTest, NameIsTheObjectNameAndTheStatisticsName)
{
    const auto made = make(true, "camera 1");
    EXPECT_EQ(made->objectName(), QString::fromLatin1("camera 1"));
    EXPECT_EQ(made->_arrivalStatistic._name, QString::fromLatin1("camera 1"));
}

TEST_F(BaseSingleStreamDecoderTest, NameMayBeBeyondAscii)
{
    const std::string name = "K\u00fcche \u9580 \U0001f3a5";
    const LoggingDecoder made(log, indicationManager, inputQueue, 0, true, QString::fromStdString(name));
    EXPECT_EQ(made.objectName().toStdString(), name);
    EXPECT_EQ(made._arrivalStatistic._name.toStdString(), name);
    EXPECT_EQ(log.take().front(), "create DecoderMode of " + name + " = 0");
}

TEST_F(BaseSingleStreamDecoderTest, StatisticOfANamelessDecoderIsNamedByItsAddress)
{
    const auto made = make(true, "");
    EXPECT_EQ(made->objectName(), QString());
    EXPECT_EQ(made->_arrivalStatistic._name,
              QString::asprintf("TimeStatistic @%p", static_cast<void *>(&made->_arrivalStatistic)));
    EXPECT_EQ(log.take().front(), "create DecoderMode of  = 0");
}

TEST_F(BaseSingleStreamDecoderTest, StartsAOneMillisecondTimer)
{
    const auto made = make(true, "camera 1");
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(made.get());
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.front().timerId, made->_timer.timerId());
    EXPECT_EQ(timers.front().interval, 1);
}

TEST_F(BaseSingleStreamDecoderTest, EverythingElseIsThereBeforeTheIndicationsAndTheTimerStartsAfterThem)
{
    std::aligned_storage_t<sizeof(LoggingDecoder), alignof(LoggingDecoder)> place;
    const auto *const made = reinterpret_cast<LoggingDecoder *>(&place); // while it is being constructed
    auto *const probing = new ProbingIndicationManager;
    const ModkitPtr<IIndicationManager> probingManager(probing);
    std::vector<std::string> names;
    probing->duringCreate = [&](const QString &name) {
        names.push_back(name.toStdString());
        FakeWallClock::advance(100);
        EXPECT_EQ(made->objectName(), QString::fromLatin1("camera 1"));
        EXPECT_EQ(made->_arrivalStatistic._name, QString::fromLatin1("camera 1"));
        EXPECT_EQ(made->_indicationManager, probingManager);
        EXPECT_EQ(made->inputQueue(), inputQueue);
        EXPECT_TRUE(made->_catchingUp);
        EXPECT_EQ(made->_catchUpDeadline, startMs + 500);
        EXPECT_FALSE(made->_timer.isActive());
    };
    const LoggingDecoder *const complete =
        new (&place) LoggingDecoder(log, probingManager, inputQueue, CreationFlags::Paced, true);
    EXPECT_EQ(names.size(), 7u);
    EXPECT_TRUE(complete->_timer.isActive());
    complete->~LoggingDecoder();
}

TEST_F(BaseSingleStreamDecoderTest, CreatesNoIndicationsWithoutAManager)
{
    RecordedTrace::take();
    const LoggingDecoder made(log, ModkitPtr<IIndicationManager>(), inputQueue, 0, true);
    EXPECT_TRUE(made._modeIndication.isNull());
    EXPECT_TRUE(made._dataPushedIndication.isNull());
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderTest, DestructionRemovesTheIndicationsInTheOrderOfTheirCreation)
{
    auto made = make(true, "camera 1");
    log.take();
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("remove DecoderMode", "remove DecoderLost", "remove DecoderCycle",
                                        "remove DecoderMaxLatency", "remove DecoderKeyBlockReceived",
                                        "remove DecoderNullBlockReceived", "remove DecoderDataPushed"));
}

TEST_F(BaseSingleStreamDecoderTest, DestructionRemovesEvenEmptyIndications)
{
    indications->refusing = true;
    auto made = make(true, "camera 1");
    log.take();
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("remove none", "remove none", "remove none", "remove none", "remove none",
                                        "remove none", "remove none"));
}

TEST_F(BaseSingleStreamDecoderTest, IndicationsAreRemovedByNewReferencesWhileTheDecoderStillHoldsThem)
{
    struct CountingManager : FakeIndicationManager {
        std::vector<int> counts;
        void removeIndication(const ModkitPtr<IIndicationObject> &indication) override
        {
            counts.push_back(indication._counter->strongCount);
        }
    };
    auto *counting = new CountingManager;
    indicationManager = ModkitPtr<IIndicationManager>(counting);
    make(true, "camera 1").reset();
    EXPECT_THAT(counting->counts, ElementsAre(3, 3, 3, 3, 3, 3, 3)); // the manager's, the decoder's and the new one
}

TEST_F(BaseSingleStreamDecoderTest, DestructionWithoutAManagerRemovesNothing)
{
    auto made = std::make_unique<LoggingDecoder>(log, ModkitPtr<IIndicationManager>(), inputQueue, 0, true);
    made.reset();
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderTest, DestructionReleasesEverythingItHolds)
{
    auto made = make(true, "camera 1");
    EXPECT_EQ(inputQueue._counter->strongCount, 2);
    EXPECT_EQ(indicationManager._counter->strongCount, 2);
    EXPECT_EQ(indications->indication("DecoderMode")._counter->strongCount, 3);
    made.reset();
    EXPECT_EQ(inputQueue._counter->strongCount, 1);
    EXPECT_EQ(indicationManager._counter->strongCount, 1);
    for (const char *name : {"DecoderMode", "DecoderLost", "DecoderCycle", "DecoderMaxLatency",
                             "DecoderKeyBlockReceived", "DecoderNullBlockReceived", "DecoderDataPushed"})
        EXPECT_EQ(indications->indication(name)._counter->strongCount, 2) << name;
}

TEST_F(BaseSingleStreamDecoderTest, DestructionReleasesTheQueueThenTheIndicationsThenTheManager)
{
    auto made = std::make_unique<LoggingDecoder>(log, ModkitPtr<IIndicationManager>(new MortalIndicationManager(log)),
                                                 ModkitPtr<IInputQueue>(new MortalQueue(log)), 0, true);
    EXPECT_THAT(log.take(), IsEmpty());
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("queue gone", "DecoderDataPushed gone", "DecoderNullBlockReceived gone",
                                        "DecoderKeyBlockReceived gone", "DecoderMaxLatency gone", "DecoderCycle gone",
                                        "DecoderLost gone", "DecoderMode gone", "manager gone"));
}

TEST_F(BaseSingleStreamDecoderTest, CreationAndDestructionAreSilent)
{
    RecordedMessages messages;
    make(true, "camera 1").reset();
    make(false, "").reset();
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderTest, InputQueueIsGivenAsAnotherReference)
{
    const auto made = make(true, "camera 1");
    RecordedTrace::take();
    const ModkitPtr<IInputQueue> reference = made->inputQueue();
    EXPECT_EQ(inputQueue._counter->strongCount, 3);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

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
