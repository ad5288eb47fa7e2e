#include <QAbstractEventDispatcher>

#include <functional>
#include <memory>
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

class BaseSingleStreamDecoderLifeTest : public CycleFixture {
protected:
    std::unique_ptr<LoggingDecoder> make(bool performanceMode, const char *name)
    {
        return std::make_unique<LoggingDecoder>(log, indicationManager, inputQueue, 0, performanceMode,
                                                QString::fromLatin1(name));
    }
};

} // namespace

TEST_F(BaseSingleStreamDecoderLifeTest, CreatesTheSevenIndicationsInOrder)
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

TEST_F(BaseSingleStreamDecoderLifeTest, ModeIndicationBeginsWithTheTimeSavingMode)
{
    const auto made = make(false, "camera 1");
    EXPECT_THAT(log.take(),
                ElementsAre("create DecoderMode of camera 1 = 1", "create DecoderLost of camera 1 = 0",
                            "create DecoderCycle of camera 1 = 3", "create DecoderMaxLatency of camera 1 = 3",
                            "create DecoderKeyBlockReceived of camera 1 = 3",
                            "create DecoderNullBlockReceived of camera 1 = 3",
                            "create DecoderDataPushed of camera 1 = 3"));
}

TEST_F(BaseSingleStreamDecoderLifeTest, KeepsItsArguments)
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

TEST_F(BaseSingleStreamDecoderLifeTest, BeginsWithNothingReadAndNothingCounted)
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

TEST_F(BaseSingleStreamDecoderLifeTest, NameIsTheObjectNameAndTheStatisticsName)
{
    const auto made = make(true, "camera 1");
    EXPECT_EQ(made->objectName(), QString::fromLatin1("camera 1"));
    EXPECT_EQ(made->_arrivalStatistic._name, QString::fromLatin1("camera 1"));
}

TEST_F(BaseSingleStreamDecoderLifeTest, NameMayBeBeyondAscii)
{
    const std::string name = "K\u00fcche \u9580 \U0001f3a5";
    const LoggingDecoder made(log, indicationManager, inputQueue, 0, true, QString::fromStdString(name));
    EXPECT_EQ(made.objectName().toStdString(), name);
    EXPECT_EQ(made._arrivalStatistic._name.toStdString(), name);
    EXPECT_EQ(log.take().front(), "create DecoderMode of " + name + " = 0");
}

TEST_F(BaseSingleStreamDecoderLifeTest, StatisticOfANamelessDecoderIsNamedByItsAddress)
{
    const auto made = make(true, "");
    EXPECT_EQ(made->objectName(), QString());
    EXPECT_EQ(made->_arrivalStatistic._name,
              QString::asprintf("TimeStatistic @%p", static_cast<void *>(&made->_arrivalStatistic)));
    EXPECT_EQ(log.take().front(), "create DecoderMode of  = 0");
}

TEST_F(BaseSingleStreamDecoderLifeTest, StartsAOneMillisecondTimer)
{
    const auto made = make(true, "camera 1");
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(made.get());
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.front().timerId, made->_timer.timerId());
    EXPECT_EQ(timers.front().interval, 1);
}

TEST_F(BaseSingleStreamDecoderLifeTest, EverythingElseIsThereBeforeTheIndicationsAndTheTimerStartsAfterThem)
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

TEST_F(BaseSingleStreamDecoderLifeTest, CreatesNoIndicationsWithoutAManager)
{
    RecordedTrace::take();
    const LoggingDecoder made(log, ModkitPtr<IIndicationManager>(), inputQueue, 0, true);
    EXPECT_TRUE(made._modeIndication.isNull());
    EXPECT_TRUE(made._dataPushedIndication.isNull());
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderLifeTest, DestructionRemovesTheIndicationsInTheOrderOfTheirCreation)
{
    auto made = make(true, "camera 1");
    log.take();
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("remove DecoderMode", "remove DecoderLost", "remove DecoderCycle",
                                        "remove DecoderMaxLatency", "remove DecoderKeyBlockReceived",
                                        "remove DecoderNullBlockReceived", "remove DecoderDataPushed"));
}

TEST_F(BaseSingleStreamDecoderLifeTest, DestructionRemovesEvenEmptyIndications)
{
    indications->refusing = true;
    auto made = make(true, "camera 1");
    log.take();
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("remove none", "remove none", "remove none", "remove none", "remove none",
                                        "remove none", "remove none"));
}

TEST_F(BaseSingleStreamDecoderLifeTest, IndicationsAreRemovedByNewReferencesWhileTheDecoderStillHoldsThem)
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

TEST_F(BaseSingleStreamDecoderLifeTest, DestructionWithoutAManagerRemovesNothing)
{
    auto made = std::make_unique<LoggingDecoder>(log, ModkitPtr<IIndicationManager>(), inputQueue, 0, true);
    made.reset();
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderLifeTest, DestructionReleasesEverythingItHolds)
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

TEST_F(BaseSingleStreamDecoderLifeTest, DestructionReleasesTheQueueThenTheIndicationsThenTheManager)
{
    auto made = std::make_unique<LoggingDecoder>(log, ModkitPtr<IIndicationManager>(new MortalIndicationManager(log)),
                                                 ModkitPtr<IInputQueue>(new MortalQueue(log)), 0, true);
    EXPECT_THAT(log.take(), IsEmpty());
    made.reset();
    EXPECT_THAT(log.take(), ElementsAre("queue gone", "DecoderDataPushed gone", "DecoderNullBlockReceived gone",
                                        "DecoderKeyBlockReceived gone", "DecoderMaxLatency gone", "DecoderCycle gone",
                                        "DecoderLost gone", "DecoderMode gone", "manager gone"));
}

TEST_F(BaseSingleStreamDecoderLifeTest, CreationAndDestructionAreSilent)
{
    RecordedMessages messages;
    make(true, "camera 1").reset();
    make(false, "").reset();
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(BaseSingleStreamDecoderLifeTest, InputQueueIsGivenAsAnotherReference)
{
    const auto made = make(true, "camera 1");
    RecordedTrace::take();
    const ModkitPtr<IInputQueue> reference = made->inputQueue();
    EXPECT_EQ(inputQueue._counter->strongCount, 3);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}
