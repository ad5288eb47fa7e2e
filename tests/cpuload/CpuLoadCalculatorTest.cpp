#include "cpuload/CpuLoadCalculator.h"

#include <QAbstractEventDispatcher>
#include <QMetaObject>
#include <QThread>

#include <cmath>
#include <functional>
#include <future>
#include <limits>

#include "CpuLoadFixture.h"
#include "fakes/ContendedMutex.h"
#include "fakes/WaitUntil.h"

using testing::ElementsAre;

using CpuLoadCalculatorTest = CpuLoadFixture;

namespace {

const double infinite = std::numeric_limits<double>::infinity();

} // namespace

TEST_F(CpuLoadCalculatorTest, CountsTheSmallerOfCoresAndThreads)
{
    struct Case {
        int cores;
        quint32 threads;
        double scale;
    };
    for (const Case &each : {Case{8, 4, 1.0 / 4}, Case{2, 4, 1.0 / 2}, Case{3, 3, 1.0 / 3}, Case{1, 100, 1.0},
                             Case{2, 0xffffffff, 1.0 / 2}}) {
        FakeIdealThreadCount::set(each.cores);
        EXPECT_EQ(newCalculator(each.threads)->_loadScale, each.scale) << each.cores << " and " << each.threads;
    }
}

TEST_F(CpuLoadCalculatorTest, CountsTheThreadsWhenTheNumberOfCoresIsUnknown)
{
    FakeIdealThreadCount::set(-1);
    EXPECT_EQ(newCalculator(4)->_loadScale, 1.0 / 4);
    EXPECT_EQ(newCalculator(0xffffffff)->_loadScale, 1.0 / 4294967295.0);
}

TEST_F(CpuLoadCalculatorTest, ACountOfZeroMakesTheScaleInfinite)
{
    const auto calculator = newCalculator(0);
    EXPECT_EQ(calculator->_loadScale, infinite);
    EXPECT_EQ(sample(*calculator, 1, 1000), infinite);
    EXPECT_TRUE(std::isnan(sample(*calculator, 0, 1000)));
}

TEST_F(CpuLoadCalculatorTest, BeginsWithoutLoadAndListeners)
{
    QObject parent;
    CpuLoadCalculator calculator(&manager, 1000000, 4, &parent);
    EXPECT_EQ(calculator.currentLoad(nullptr), 0.0);
    EXPECT_TRUE(calculator._listeners.isEmpty());
    EXPECT_EQ(calculator._manager, &manager);
    EXPECT_EQ(calculator.parent(), &parent);
    EXPECT_EQ(newCalculator(4)->parent(), nullptr);
}

TEST_F(CpuLoadCalculatorTest, RunsOnePreciseTimerOfTheGivenInterval)
{
    CpuLoadCalculator calculator(&manager, 1234, 4, nullptr);
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&calculator);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers[0].interval, 1234);
    EXPECT_EQ(timers[0].timerType, Qt::PreciseTimer);
    EXPECT_EQ(timers[0].timerId, calculator._timerId);
    EXPECT_EQ(calculator.thread(), QThread::currentThread());
}

TEST_F(CpuLoadCalculatorTest, ItsTimerTakesSamples)
{
    CpuLoadCalculator calculator(&manager, 1, 4, nullptr);
    LoadListener listener;
    calculator.currentLoad(&listener);
    decoder->_decodingTime = 2000;
    FakeElapsedTime::advance(1000);
    std::vector<double> loads;
    EXPECT_TRUE(waitUntil([&] {
        QCoreApplication::processEvents();
        for (const double load : listener.take())
            loads.push_back(load);
        return !loads.empty();
    }));
    EXPECT_EQ(loads.front(), 0.5);
}

TEST_F(CpuLoadCalculatorTest, TheLoadIsTheShareOfWhatTheCountedCoresCouldDecode)
{
    const auto calculator = newCalculator(4);
    EXPECT_EQ(sample(*calculator, 2000, 1000), 0.5);
    EXPECT_EQ(sample(*calculator, 4000, 1000), 1.0);
    EXPECT_EQ(sample(*calculator, 1, 1000), 0.00025);
    EXPECT_EQ(sample(*calculator, 0, 1000), 0.0);
    EXPECT_EQ(sample(*calculator, 6000, 1000), 1.5) << "not limited";
}

TEST_F(CpuLoadCalculatorTest, TheLoadIsMultipliedBeforeItIsDivided)
{
    const double third = 1.0 / 3;
    ASSERT_NE(third * 5 / 1001, third * (5.0 / 1001));
    ASSERT_NE(third * 5 / 1001, 5.0 / (3.0 * 1001));
    EXPECT_EQ(sample(*newCalculator(3), 5, 1001), third * 5 / 1001);
}

TEST_F(CpuLoadCalculatorTest, TheDecodingTimeHasNoSign)
{
    EXPECT_EQ(sample(*newCalculator(1), -1, 1), 4294967295.0);
}

TEST_F(CpuLoadCalculatorTest, OfTheElapsedTimeOnlyTheLow32BitsAreUsedWithoutASign)
{
    const auto calculator = newCalculator(4);
    EXPECT_EQ(sample(*calculator, 2000, 0x100000000LL + 1000), 0.5);
    EXPECT_EQ(sample(*calculator, 1000, 0x80000000LL), 0.25 * 1000 / 2147483648.0);
    EXPECT_EQ(sample(*calculator, 1000, 0x100000000LL), infinite);
}

TEST_F(CpuLoadCalculatorTest, EachSampleCoversTheTimeSinceTheOneBeforeTheFirstSinceConstruction)
{
    FakeElapsedTime::advance(777);
    const auto calculator = newCalculator(1);
    EXPECT_EQ(sample(*calculator, 100, 400), 0.25);
    EXPECT_EQ(sample(*calculator, 100, 200), 0.5);
    EXPECT_EQ(sample(*calculator, 100, 100), 1.0);
}

TEST_F(CpuLoadCalculatorTest, EverySampleResetsTheDecodingTime)
{
    const auto calculator = newCalculator(1);
    sample(*calculator, 100, 400);
    FakeElapsedTime::advance(400);
    tick(*calculator);
    EXPECT_EQ(calculator->currentLoad(nullptr), 0.0);
}

TEST_F(CpuLoadCalculatorTest, ATickOfAnyTimerTakesASample)
{
    const auto calculator = newCalculator(4);
    decoder->_decodingTime = 2000;
    FakeElapsedTime::advance(1000);
    QTimerEvent other(calculator->_timerId + 1);
    QCoreApplication::sendEvent(calculator.get(), &other);
    EXPECT_EQ(calculator->currentLoad(nullptr), 0.5);
}

TEST_F(CpuLoadCalculatorTest, CurrentLoadRegistersItsListenerEachTimeAtTheEnd)
{
    const auto calculator = newCalculator(4);
    sample(*calculator, 2000, 1000);
    QObject first;
    QObject second;
    EXPECT_EQ(calculator->currentLoad(&first), 0.5);
    EXPECT_EQ(calculator->currentLoad(&second), 0.5);
    EXPECT_EQ(calculator->currentLoad(&first), 0.5);
    EXPECT_THAT(calculator->_listeners, ElementsAre(&first, &second, &first));
}

TEST_F(CpuLoadCalculatorTest, CurrentLoadWithoutAListenerOnlyReads)
{
    const auto calculator = newCalculator(4);
    sample(*calculator, 2000, 1000);
    EXPECT_EQ(calculator->currentLoad(nullptr), 0.5);
    EXPECT_TRUE(calculator->_listeners.isEmpty());
}

TEST_F(CpuLoadCalculatorTest, RemoveListenerRemovesTheFirstRegistrationOnly)
{
    const auto calculator = newCalculator(4);
    QObject first;
    QObject second;
    for (QObject *listener : {&first, &second, &first})
        calculator->currentLoad(listener);
    calculator->removeListener(&first);
    EXPECT_THAT(calculator->_listeners, ElementsAre(&second, &first));
    calculator->removeListener(&first);
    EXPECT_THAT(calculator->_listeners, ElementsAre(&second));
    calculator->removeListener(&first);
    calculator->removeListener(nullptr);
    EXPECT_THAT(calculator->_listeners, ElementsAre(&second));
}

TEST_F(CpuLoadCalculatorTest, ListenersComeAndGoUnderTheCalculatorsOwnLock)
{
    const auto calculator = newCalculator(4);
    QObject listener;
    const std::function<void()> operations[] = {[&] { calculator->currentLoad(&listener); },
                                                [&] { calculator->currentLoad(nullptr); },
                                                [&] { calculator->removeListener(&listener); }};
    for (const auto &operation : operations) {
        std::future<void> done;
        {
            const ContendedMutex lock(calculator->_mutex);
            done = std::async(std::launch::async, operation);
            EXPECT_TRUE(lock.waitForContention());
        }
        EXPECT_EQ(done.wait_for(deadline), std::future_status::ready);
    }
    EXPECT_TRUE(calculator->_listeners.isEmpty());
}

TEST_F(CpuLoadCalculatorTest, ASampleTakesTheDecodingTimeBeforeTheElapsedTimeAndItsOwnLock)
{
    const auto calculator = newCalculator(4);
    decoder->_decodingTime = 2000;
    FakeElapsedTime::advance(400);
    std::future<void> ticked;
    {
        const ContendedMutex managerLock(manager._mutex);
        ticked = std::async(std::launch::async, [&] { tick(*calculator); });
        EXPECT_TRUE(managerLock.waitForContention()) << "in totalDecodingTime";
        EXPECT_TRUE(calculator->_mutex.tryLock());
        calculator->_mutex.unlock();
        FakeElapsedTime::advance(600);
    }
    ASSERT_EQ(ticked.wait_for(deadline), std::future_status::ready);
    EXPECT_EQ(calculator->currentLoad(nullptr), 0.5);
}

TEST_F(CpuLoadCalculatorTest, ASampleWritesTheLoadUnderItsOwnLockWithoutTheManagers)
{
    const auto calculator = newCalculator(4);
    decoder->_decodingTime = 2000;
    FakeElapsedTime::advance(1000);
    std::future<void> ticked;
    {
        const ContendedMutex lock(calculator->_mutex);
        ticked = std::async(std::launch::async, [&] { tick(*calculator); });
        EXPECT_TRUE(lock.waitForContention());
        EXPECT_EQ(calculator->_load, 0.0);
        EXPECT_TRUE(manager._mutex.tryLock());
        manager._mutex.unlock();
        FakeElapsedTime::advance(1000); // too late to count
    }
    ASSERT_EQ(ticked.wait_for(deadline), std::future_status::ready);
    EXPECT_EQ(calculator->currentLoad(nullptr), 0.5);
}

TEST_F(CpuLoadCalculatorTest, HasAMetaObjectOfItsOwnWithNothingInIt)
{
    const QMetaObject &meta = CpuLoadCalculator::staticMetaObject;
    const QMetaObject &base = QObject::staticMetaObject;
    EXPECT_STREQ(meta.className(), "CpuLoadCalculator");
    EXPECT_EQ(meta.superClass(), &base);
    EXPECT_EQ(meta.methodCount(), base.methodCount());
    EXPECT_EQ(meta.propertyCount(), base.propertyCount());
    EXPECT_EQ(meta.enumeratorCount(), base.enumeratorCount());
    EXPECT_EQ(meta.classInfoCount(), base.classInfoCount());
    EXPECT_EQ(meta.constructorCount(), 0);
    EXPECT_EQ(newCalculator(4)->metaObject(), &meta);
}

TEST_F(CpuLoadCalculatorTest, CastsByNameToItselfAndToQObjectOnly)
{
    const auto calculator = newCalculator(4);
    QObject *const object = calculator.get();
    EXPECT_EQ(object->qt_metacast("CpuLoadCalculator"), calculator.get());
    EXPECT_EQ(object->qt_metacast("QObject"), object);
    EXPECT_EQ(object->qt_metacast(nullptr), nullptr);
    EXPECT_EQ(object->qt_metacast("DecodingManager"), nullptr);
}

TEST_F(CpuLoadCalculatorTest, AnswersMetaCallsAsQObjectDoes)
{
    const auto calculator = newCalculator(4);
    const int firstUnknown = QObject::staticMetaObject.methodCount();
    EXPECT_EQ(calculator->qt_metacall(QMetaObject::InvokeMetaMethod, firstUnknown, nullptr), 0);
    EXPECT_EQ(calculator->qt_metacall(QMetaObject::InvokeMetaMethod, firstUnknown + 2, nullptr), 2);
}
