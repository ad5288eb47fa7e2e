#include <QAbstractEventDispatcher>
#include <QThread>
#include <QTimerEvent>

#include <functional>
#include <future>
#include <string>

#include "DecodingManagerFixture.h"
#include "cpuload/CpuLoadCalculator.h"
#include "fakes/ContendedMutex.h"

using testing::ElementsAre;

class DecodingManagerLoadTest : public DecodingManagerTest {
protected:
    CpuLoadCalculator &calculator() { return *manager()._cpuLoadCalculator; }

    QObject listener;
};

TEST_F(DecodingManagerLoadTest, InitMeasuresOnceASecondOnItsOwnThread)
{
    setThreads(1);
    EXPECT_TRUE(init());
    ASSERT_NE(manager()._cpuLoadCalculator, nullptr);
    EXPECT_EQ(calculator()._manager, &manager());
    EXPECT_EQ(calculator().parent(), nullptr);
    EXPECT_EQ(calculator().thread(), QThread::currentThread());
    EXPECT_EQ(calculator()._loadScale, 1.0) << "one decoder thread on two cores";
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&calculator());
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers[0].interval, 1000);
    EXPECT_EQ(timers[0].timerId, calculator()._timerId);
}

TEST_F(DecodingManagerLoadTest, InitMeasuresAgainstTheNumberOfThreadsThatItStarted)
{
    FakeIdealThreadCount::set(8);
    setThreads(4);
    EXPECT_TRUE(init());
    EXPECT_EQ(calculator()._loadScale, 0.25);
}

TEST_F(DecodingManagerLoadTest, InitWithoutAFormatManagerMeasuresNothing)
{
    registry.objects.clear();
    EXPECT_FALSE(init());
    EXPECT_EQ(manager()._cpuLoadCalculator, nullptr);
}

TEST_F(DecodingManagerLoadTest, InitMeasuresOnlyOnceTheThreadsAreStarted)
{
    FakeIdealThreadCount::watch(
        [this] { log.add("cores counted at " + std::to_string(manager()._threads.size()) + " threads"); });
    EXPECT_TRUE(init());
    FakeIdealThreadCount::watch(nullptr);
    EXPECT_THAT(log.take(), testing::IsSupersetOf({"cores counted at 0 threads", "cores counted at 2 threads"}));
}

TEST_F(DecodingManagerLoadTest, MeasuresBeforeItIsPublished)
{
    registry.duringSet = [this] { log.add(manager()._cpuLoadCalculator ? "measuring" : "not measuring"); };
    EXPECT_TRUE(init());
    registry.duringSet = nullptr;
    EXPECT_THAT(log.take(), testing::Contains("measuring").Times(2));
}

TEST_F(DecodingManagerLoadTest, StopEndsTheMeasurementUnderTheLockBetweenTheWithdrawalAndTheDecoders)
{
    EXPECT_TRUE(init());
    const VideoStreamDecoder *const decoder = placeVideoDecoder();
    QObject::connect(&calculator(), &QObject::destroyed, [this, decoder] {
        log.add("calculator gone, " + lockState() + (decoder->_disposing ? ", disposing" : ", decoding"));
    });
    registry.duringSet = [this] { log.add(manager()._cpuLoadCalculator ? "measuring" : "not measuring"); };
    log.take();
    stop();
    registry.duringSet = nullptr;
    EXPECT_THAT(log.take(), ElementsAre("set e0711c9b-7725-4e3c-bdbf-b716c3a34142 empty", "measuring",
                                        "set 252e7437-a55d-4499-9660-194d7d81b5d8 empty", "measuring",
                                        "calculator gone, locked, decoding"));
    EXPECT_EQ(manager()._cpuLoadCalculator, nullptr);
}

TEST_F(DecodingManagerLoadTest, BeforeInitTheLoadIsZeroAndNoListenerIsKept)
{
    EXPECT_EQ(manager().cpuLoad(&listener), 0.0);
    EXPECT_EQ(manager().cpuLoad(nullptr), 0.0);
    manager().removeCpuLoadListener(&listener);
    EXPECT_TRUE(init());
    EXPECT_TRUE(calculator()._listeners.isEmpty());
}

TEST_F(DecodingManagerLoadTest, AfterStopTheLoadIsZeroAndNoListenerIsKept)
{
    EXPECT_TRUE(init());
    calculator()._load = 0.75;
    EXPECT_EQ(manager().cpuLoad(&listener), 0.75);
    stop();
    EXPECT_EQ(manager().cpuLoad(&listener), 0.0);
    manager().removeCpuLoadListener(&listener);
    EXPECT_EQ(lockState(), "unlocked");
}

TEST_F(DecodingManagerLoadTest, WhileMeasuringTheLoadIsReportedAndListenersComeAndGo)
{
    EXPECT_TRUE(init());
    QObject other;
    EXPECT_EQ(manager().cpuLoad(&listener), 0.0) << "before the first sample";
    calculator()._load = 0.75;
    EXPECT_EQ(manager().cpuLoad(&other), 0.75);
    EXPECT_EQ(manager().cpuLoad(nullptr), 0.75);
    EXPECT_THAT(calculator()._listeners, ElementsAre(&listener, &other));
    manager().removeCpuLoadListener(&listener);
    EXPECT_THAT(calculator()._listeners, ElementsAre(&other));
    manager().removeCpuLoadListener(&listener);
    EXPECT_THAT(calculator()._listeners, ElementsAre(&other));
}

TEST_F(DecodingManagerLoadTest, LoadOperationsHoldTheManagersLockWhileTheyWaitForTheCalculators)
{
    EXPECT_TRUE(init());
    const std::function<void()> operations[] = {[this] { manager().cpuLoad(&listener); },
                                                [this] { manager().removeCpuLoadListener(&listener); }};
    for (const auto &operation : operations) {
        std::future<void> done;
        {
            const ContendedMutex calculatorLock(calculator()._mutex);
            done = std::async(std::launch::async, operation);
            EXPECT_TRUE(calculatorLock.waitForContention());
            EXPECT_EQ(lockState(), "locked");
        }
        EXPECT_EQ(done.wait_for(deadline), std::future_status::ready);
    }
    EXPECT_EQ(lockState(), "unlocked");
    EXPECT_TRUE(calculator()._listeners.isEmpty());
}

TEST_F(DecodingManagerLoadTest, ASampleTakesTheDecodingTimeOfTheManagersDecoders)
{
    EXPECT_TRUE(init());
    VideoStreamDecoder *const decoder = placeVideoDecoder();
    decoder->_decodingTime = 1000;
    QTimerEvent tick(calculator()._timerId);
    calculator().timerEvent(&tick);
    EXPECT_GT(manager().cpuLoad(nullptr), 0.0);
    EXPECT_EQ(decoder->_decodingTime, 0);
}
