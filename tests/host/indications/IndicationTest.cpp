#include "indications/Indication.h"

#include <QThread>

#include <functional>
#include <limits>
#include <memory>
#include <thread>

#include "host/indications/Callbacks.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

enum { Good = 0, Warning = 1, Bad = 2, Black = 3 };

/// Does @p what on a thread of its own, and waits for it.
void elsewhere(const std::function<void()> &what)
{
    std::thread(what).join();
}

/// An indication on a wheel whose time the test passes in.
class IndicationTest : public testing::Test {
protected:
    IndicationTest() { indication().show(wheel, object); }
    ~IndicationTest() override
    {
        if (!object.isNull())
            indication().hide();
    }

    Indication &indication() { return static_cast<Indication &>(*object); }
    int value() { return indication().reading().value; }
    void set(milliseconds at, int newValue, int timeoutMs, const Callback &onTimeout)
    {
        indication().setValueAt(begin + at, newValue, timeoutMs, onTimeout);
    }
    void set(int newValue) { indication().setValue(newValue, -1, Callback()); }
    void deliver(milliseconds at) { wheel.deliver(begin + at); }

    const TimeoutWheel::Instant begin = TimeoutWheel::Instant(std::chrono::hours(1));
    TimeoutWheel wheel{begin};
    ModkitPtr<IIndicationObject> object{new Indication(Black, 1)};
    CallbackCounts counts;
};

} // namespace

TEST_F(IndicationTest, ShowsItsInitialValueSetByNobody)
{
    EXPECT_EQ(value(), Black);
    EXPECT_EQ(indication().reading().setter, ThreadNames::nameless);
}

TEST_F(IndicationTest, AValueWithoutATimeOutStays)
{
    set(Warning);
    EXPECT_EQ(wheel.nextTick(), TimeoutWheel::never);
    EXPECT_EQ(value(), Warning);
}

TEST_F(IndicationTest, ABlinkTurnsBlackWhenItsTimeIsOverAndNotBefore)
{
    set(milliseconds(3), Good, 500, blacken(counts));
    EXPECT_EQ(value(), Good);
    deliver(milliseconds(502));
    EXPECT_EQ(value(), Good);
    EXPECT_EQ(counts.calls, 0);
    deliver(milliseconds(503) + TimeoutWheel::tickLength);
    EXPECT_EQ(value(), Black);
    EXPECT_EQ(counts.calls, 1);
    deliver(milliseconds(10000));
    EXPECT_EQ(counts.calls, 1);
}

TEST_F(IndicationTest, TheCallbackGetsTheIndication)
{
    const IIndicationObject *got = nullptr;
    set(milliseconds(0), Good, 10,
        callback(counts, [&](const ModkitPtr<IIndicationObject> &given) { got = given.data(); }));
    deliver(milliseconds(20));
    EXPECT_EQ(got, object.data());
}

TEST_F(IndicationTest, AnotherValueCancelsTheTimeOut)
{
    set(milliseconds(0), Good, 500, blacken(counts));
    set(Bad);
    EXPECT_EQ(counts.alive, 0);
    deliver(milliseconds(1000));
    EXPECT_EQ(value(), Bad);
    EXPECT_EQ(counts.calls, 0);
}

TEST_F(IndicationTest, TheSameValueSetAgainCancelsTheTimeOut)
{
    set(milliseconds(0), Good, 500, blacken(counts));
    set(Good);
    EXPECT_EQ(counts.alive, 0);
    deliver(milliseconds(1000));
    EXPECT_EQ(value(), Good);
    EXPECT_EQ(counts.calls, 0);
}

TEST_F(IndicationTest, AnotherBlinkPutsTheTimeOutOff)
{
    for (int blink = 0; blink < 100; ++blink) {
        const milliseconds now(blink * 40);
        set(now, Good, 500, blacken(counts));
        EXPECT_EQ(counts.alive, 1);
        deliver(now + milliseconds(39));
    }
    EXPECT_EQ(counts.calls, 0);
    deliver(milliseconds(99 * 40 + 499));
    EXPECT_EQ(counts.calls, 0);
    deliver(milliseconds(99 * 40 + 510));
    EXPECT_EQ(counts.calls, 1);
    EXPECT_EQ(value(), Black);
}

TEST_F(IndicationTest, AShorterTimeOutAfterALongerOneCountsAtOnce)
{
    set(milliseconds(0), Good, 5000, blacken(counts));
    set(milliseconds(10), Warning, 50, blacken(counts));
    deliver(milliseconds(70));
    EXPECT_EQ(value(), Black);
    deliver(milliseconds(10000));
    EXPECT_EQ(counts.calls, 1);
}

TEST_F(IndicationTest, ATimeOutAfterACancelledOneTakesItsOwnTime)
{
    set(milliseconds(0), Good, 100, blacken(counts));
    set(Bad);
    set(milliseconds(50), Good, 100, blacken(counts));
    deliver(milliseconds(149));
    EXPECT_EQ(counts.calls, 0);
    deliver(milliseconds(160));
    EXPECT_EQ(counts.calls, 1);
}

TEST_F(IndicationTest, KeepsTheCallbackUntilTheCallOnly)
{
    set(milliseconds(0), Good, 100, blacken(counts));
    EXPECT_EQ(counts.alive, 1);
    deliver(milliseconds(200));
    EXPECT_EQ(counts.alive, 0);
}

TEST_F(IndicationTest, ACallbackMaySetATimedValueAgain)
{
    const Callback blinkOn = callback(
        counts, [&](const ModkitPtr<IIndicationObject> &) { set(milliseconds(100), Warning, 50, blacken(counts)); });
    set(milliseconds(0), Good, 90, blinkOn);
    deliver(milliseconds(100));
    EXPECT_EQ(value(), Warning);
    deliver(milliseconds(160));
    EXPECT_EQ(value(), Black);
    EXPECT_EQ(counts.calls, 2);
}

TEST_F(IndicationTest, ACallbackMaySetOneValueAfterTheOther)
{
    set(milliseconds(0), Good, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &) {
            set(Bad);
            set(Warning);
        }));
    deliver(milliseconds(100));
    EXPECT_EQ(value(), Warning);
}

TEST_F(IndicationTest, ACallbackDoesNotOverwriteAValueThatWasSetDuringTheCall)
{
    set(milliseconds(0), Warning, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &given) {
            elsewhere([&] { set(Good); });
            given->setValue(Black, -1, Callback());
        }));
    deliver(milliseconds(100));
    EXPECT_EQ(value(), Good);
    set(Bad);
    EXPECT_EQ(value(), Bad) << "only the callback is too late";
}

TEST_F(IndicationTest, ACallbackDoesNotOverwriteTheSameValueSetDuringTheCall)
{
    elsewhere([&] {
        set(milliseconds(0), Good, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &given) {
                elsewhere([&] { set(Good); });
                given->setValue(Black, -1, Callback());
            }));
        deliver(milliseconds(100));
    });
    EXPECT_EQ(value(), Good);
}

TEST_F(IndicationTest, ACallbackDoesNotEndABlinkThatBeganDuringTheCall)
{
    set(milliseconds(0), Good, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &given) {
            elsewhere([&] { set(milliseconds(100), Warning, 500, blacken(counts)); });
            given->setValue(Black, -1, Callback());
        }));
    deliver(milliseconds(100));
    EXPECT_EQ(value(), Warning);
    deliver(milliseconds(610));
    EXPECT_EQ(value(), Black);
    EXPECT_EQ(counts.calls, 2);
}

TEST_F(IndicationTest, TheNextCallbackIsHeardAfterOneThatWasTooLate)
{
    set(milliseconds(0), Warning, 90,
        callback(counts, [&](const ModkitPtr<IIndicationObject> &) { elsewhere([&] { set(Good); }); }));
    deliver(milliseconds(100));
    set(milliseconds(100), Warning, 90, blacken(counts));
    deliver(milliseconds(200));
    EXPECT_EQ(value(), Black);
}

TEST_F(IndicationTest, AHiddenIndicationTakesValuesButNoTimeOuts)
{
    indication().hide();
    set(milliseconds(0), Warning, 90, blacken(counts));
    EXPECT_EQ(value(), Warning);
    EXPECT_EQ(counts.alive, 0);
    deliver(milliseconds(1000));
    EXPECT_EQ(counts.calls, 0);
    set(Good);
    EXPECT_EQ(value(), Good);
}

TEST_F(IndicationTest, ToHideDropsAPendingCallbackUncalled)
{
    set(milliseconds(0), Warning, 90, blacken(counts));
    indication().hide();
    EXPECT_EQ(counts.alive, 0);
    deliver(milliseconds(1000));
    EXPECT_EQ(counts.calls, 0);
    EXPECT_EQ(value(), Warning);
    EXPECT_EQ(wheel.nextTick(), TimeoutWheel::never);
}

TEST_F(IndicationTest, CanBeHiddenDuringTheCall)
{
    set(milliseconds(0), Good, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &given) {
            elsewhere([&] { indication().hide(); });
            given->setValue(Black, 90, blacken(counts));
        }));
    deliver(milliseconds(100));
    EXPECT_EQ(value(), Black);
    EXPECT_EQ(counts.alive, 0);
}

TEST_F(IndicationTest, TheCallMayHoldTheLastReference)
{
    set(milliseconds(0), Good, 90, callback(counts, [&](const ModkitPtr<IIndicationObject> &given) {
            indication().hide();
            object.reset();
            given->setValue(Black, -1, Callback());
            EXPECT_EQ(static_cast<Indication &>(*given).reading().value, Black);
        }));
    deliver(milliseconds(100));
    EXPECT_EQ(counts.calls, 1);
    EXPECT_EQ(counts.alive, 0);
}

TEST_F(IndicationTest, ACallbackThatHoldsTheIndicationIsDroppedWithIt)
{
    set(milliseconds(0), Good, 90, callback(counts, [kept = object](const ModkitPtr<IIndicationObject> &) {}));
    indication().hide();
    EXPECT_EQ(counts.alive, 0);
}

TEST_F(IndicationTest, ATimeOutThatIsNotPositiveIsNone)
{
    for (const int timeoutMs : {0, -1, -2, std::numeric_limits<int>::min()}) {
        set(milliseconds(0), Warning, timeoutMs, blacken(counts));
        EXPECT_EQ(counts.alive, 0);
        EXPECT_EQ(wheel.nextTick(), TimeoutWheel::never);
        EXPECT_EQ(value(), Warning);
    }
}

TEST_F(IndicationTest, ATimeOutWithoutACallbackIsNone)
{
    set(milliseconds(0), Good, 500, blacken(counts));
    set(milliseconds(0), Warning, 10, Callback());
    deliver(milliseconds(1000));
    EXPECT_EQ(value(), Warning);
    EXPECT_EQ(counts.calls, 0);
}

TEST_F(IndicationTest, TheLongestTimeOutIsNeitherEarlyNorForgotten)
{
    constexpr int longest = std::numeric_limits<int>::max();
    set(milliseconds(0), Good, longest, blacken(counts));
    deliver(milliseconds(longest - 1));
    EXPECT_EQ(counts.calls, 0);
    deliver(milliseconds(longest) + TimeoutWheel::tickLength);
    EXPECT_EQ(counts.calls, 1);
}

TEST_F(IndicationTest, TakesAnyNumberAsAValue)
{
    for (const int number : {std::numeric_limits<int>::min(), -1, 4, 12345, std::numeric_limits<int>::max()}) {
        set(number);
        EXPECT_EQ(value(), number);
        set(milliseconds(0), number, 10, blacken(counts));
        EXPECT_EQ(value(), number);
    }
}

TEST_F(IndicationTest, TellsWhichQtThreadSetItLast)
{
    const auto setter = [&] { return ThreadNames::all()[indication().reading().setter]; };
    const std::unique_ptr<QThread> thread(QThread::create([&] { set(Good); }));
    thread->setObjectName(QStringLiteral("Decoder/7"));
    thread->start();
    thread->wait();
    EXPECT_EQ(setter(), QStringLiteral("Decoder/7"));
    elsewhere([&] { set(Good); });
    EXPECT_EQ(setter(), QString()) << "the same value counts as set";
}
