#include "indications/IndicationManager.h"

#include <QThread>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "fakes/FakeIndications.h"
#include "fakes/WaitUntil.h"
#include "host/indications/Callbacks.h"
#include "modkit/ObjectTrace.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int black = 3;

/// "camera 1: DecoderMode=0 DecoderLost=1" for each owner.
std::vector<std::string> shownBy(const IndicationManager &manager)
{
    std::vector<std::string> lines;
    for (const IndicationManager::Owner &owner : manager.snapshot()) {
        std::string line = owner.name.toStdString() + ":";
        for (const IndicationManager::Value &value : owner.values)
            line += " " + value.name.toStdString() + "=" + std::to_string(value.value);
        lines.push_back(line);
    }
    return lines;
}

class IndicationManagerTest : public testing::Test {
protected:
    ~IndicationManagerTest() override
    {
        manager.reset();
        EXPECT_EQ(ObjectTrace::liveCount(), liveBefore);
    }

    ModkitPtr<IIndicationObject> create(const char *name, const char *ownerName, int value = 0)
    {
        return manager->createIndication(nullptr, QString::fromLatin1(name), QString::fromLatin1(ownerName), value);
    }

    static void setOnDecoderThread(const ModkitPtr<IIndicationObject> &indication)
    {
        const std::unique_ptr<QThread> thread(QThread::create([&] { indication->setValue(black, -1, Callback()); }));
        thread->setObjectName(QStringLiteral("Decoder/3"));
        thread->start();
        thread->wait();
    }

    const std::size_t liveBefore = ObjectTrace::liveCount();
    ModkitPtr<IndicationManager> manager{new IndicationManager};
    CallbackCounts counts;
};

} // namespace

TEST_F(IndicationManagerTest, ShowsNothingAtFirst)
{
    EXPECT_THAT(manager->snapshot(), IsEmpty());
}

TEST_F(IndicationManagerTest, ShowsValuesByOwnerInTheOrderOfTheirCreation)
{
    const auto mode = create("DecoderMode", "camera 2", 1);
    const auto lost = create("DecoderLost", "camera 2");
    const auto other = create("DecoderMode", "camera 1");
    const auto cycle = create("DecoderCycle", "camera 2", black);
    lost->setValue(2, -1, Callback());
    EXPECT_THAT(shownBy(*manager),
                ElementsAre("camera 2: DecoderMode=1 DecoderLost=2 DecoderCycle=3", "camera 1: DecoderMode=0"));
}

TEST_F(IndicationManagerTest, ShowsTheLightOfEachValue)
{
    const auto mode = create("DecoderMode", "camera", 1);
    const auto odd = create("DecoderLost", "camera", 77);
    const std::vector<IndicationManager::Owner> owners = manager->snapshot();
    EXPECT_EQ(owners.at(0).values.at(0).light, Light::Warning);
    EXPECT_EQ(owners.at(0).values.at(1).light, Light::Bad);
    EXPECT_EQ(owners.at(0).values.at(1).value, 77);
}

TEST_F(IndicationManagerTest, KeepsOwnersOfTheSameNameApart)
{
    const auto firstMode = create("DecoderMode", "camera", 0);
    const auto firstLost = create("DecoderLost", "camera", 0);
    const auto secondMode = create("DecoderMode", "camera", 1);
    const auto secondLost = create("DecoderLost", "camera", 1);
    EXPECT_THAT(shownBy(*manager),
                ElementsAre("camera: DecoderMode=0 DecoderLost=0", "camera: DecoderMode=1 DecoderLost=1"));
    const std::vector<IndicationManager::Owner> owners = manager->snapshot();
    EXPECT_NE(owners.at(0).number, owners.at(1).number);
}

TEST_F(IndicationManagerTest, AnOwnerThatIsComingToItsEndIsNotJoined)
{
    const auto oldMode = create("DecoderMode", "camera", 0);
    const auto oldLost = create("DecoderLost", "camera", 0);
    manager->removeIndication(oldMode);
    const auto newMode = create("DecoderMode", "camera", 1);
    EXPECT_THAT(shownBy(*manager), ElementsAre("camera: DecoderLost=0", "camera: DecoderMode=1"));
    manager->removeIndication(oldLost);
    const auto newLost = create("DecoderLost", "camera", 1);
    EXPECT_THAT(shownBy(*manager), ElementsAre("camera: DecoderMode=1 DecoderLost=1"));
}

TEST_F(IndicationManagerTest, TheNumberOfAnOwnerIsNotUsedAgain)
{
    const auto first = create("DecoderMode", "camera");
    const quint64 number = manager->snapshot().at(0).number;
    manager->removeIndication(first);
    EXPECT_THAT(manager->snapshot(), IsEmpty());
    const auto second = create("DecoderMode", "camera");
    EXPECT_NE(manager->snapshot().at(0).number, number);
}

TEST_F(IndicationManagerTest, TellsWhichThreadSetAValueLast)
{
    const auto cycle = create("DecoderCycle", "camera", black);
    EXPECT_EQ(manager->snapshot().at(0).values.at(0).thread, QString());
    setOnDecoderThread(cycle);
    EXPECT_EQ(manager->snapshot().at(0).values.at(0).thread, QStringLiteral("Decoder/3"));
}

TEST_F(IndicationManagerTest, ReadsTheIndicationsOfTheLastOwnerOfAName)
{
    const auto readOf = [this](const char *owner) {
        std::vector<std::string> read;
        const bool isThere = manager->readLast(
            QString::fromLatin1(owner), [&read](const QString &name, const Indication::Reading &reading) {
                read.push_back(name.toStdString() + '=' + std::to_string(reading.value) +
                               (reading.setter == ThreadNames::nameless ? "" : " named"));
            });
        EXPECT_EQ(isThere, !read.empty());
        return read;
    };
    EXPECT_THAT(readOf("camera"), IsEmpty()) << "nothing was created yet";
    const auto mode = create("DecoderMode", "camera");
    const auto cycle = create("DecoderCycle", "camera", black);
    const auto cycleOfOther = create("DecoderCycle", "another camera", black);
    mode->setValue(2, -1, Callback());
    EXPECT_THAT(readOf("camera"), ElementsAre("DecoderMode=2", "DecoderCycle=3")) << "this thread has no name";
    setOnDecoderThread(cycle);
    EXPECT_THAT(readOf("camera"), ElementsAre("DecoderMode=2", testing::EndsWith(" named")));
    EXPECT_THAT(readOf("another camera"), ElementsAre("DecoderCycle=3"));

    const auto later = create("DecoderCycle", "camera", black);
    EXPECT_THAT(readOf("camera"), ElementsAre("DecoderCycle=3")) << "the last owner's was never set";
    manager->removeIndication(later);
    EXPECT_THAT(readOf("camera"), IsEmpty()) << "the last owner is gone";
}

TEST_F(IndicationManagerTest, CallsBackOnAThreadOfItsOwnAndNotTooEarly)
{
    const auto pushed = create("DecoderDataPushed", "camera", black);
    std::promise<std::thread::id> called;
    const auto begin = std::chrono::steady_clock::now();
    pushed->setValue(0, 40, callback(counts, [&](const ModkitPtr<IIndicationObject> &indication) {
                         indication->setValue(black, -1, Callback());
                         called.set_value(std::this_thread::get_id());
                     }));
    EXPECT_THAT(shownBy(*manager), ElementsAre("camera: DecoderDataPushed=0"));
    std::future<std::thread::id> thread = called.get_future();
    ASSERT_EQ(thread.wait_for(deadline), std::future_status::ready);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
    EXPECT_NE(thread.get(), std::this_thread::get_id());
    EXPECT_THAT(shownBy(*manager), ElementsAre("camera: DecoderDataPushed=3"));
    EXPECT_TRUE(waitUntil([&] { return counts.alive == 0; }));
}

TEST_F(IndicationManagerTest, EveryBlinkOfManyIndicationsIsEndedOnce)
{
    constexpr int count = 500;
    std::vector<ModkitPtr<IIndicationObject>> indications;
    for (int index = 0; index < count; ++index)
        indications.push_back(create("DecoderDataPushed", "camera", black));
    for (int index = 0; index < count; ++index)
        indications[static_cast<std::size_t>(index)]->setValue(0, 1 + index % 97, blacken(counts));
    EXPECT_TRUE(waitUntil([&] { return counts.calls == count && counts.alive == 0; }));
    for (const IndicationManager::Owner &owner : manager->snapshot())
        EXPECT_EQ(owner.values.at(0).value, black);
}

TEST_F(IndicationManagerTest, ARemovedIndicationIsShownNoMoreAndItsTimeOutComesToNothing)
{
    const auto removed = create("DecoderDataPushed", "camera");
    removed->setValue(0, 1000000, blacken(counts));
    manager->removeIndication(removed);
    EXPECT_EQ(counts.alive, 0);
    EXPECT_THAT(manager->snapshot(), IsEmpty());
    removed->setValue(1, 1, blacken(counts));
    EXPECT_EQ(counts.alive, 0);
}

TEST_F(IndicationManagerTest, RemovingWhatItDoesNotShowIsHarmless)
{
    const auto shown = create("DecoderMode", "camera");
    manager->removeIndication(ModkitPtr<IIndicationObject>());
    manager->removeIndication(ModkitPtr<IIndicationObject>(new FakeIndication("DecoderMode", nullptr)));
    const ModkitPtr<IndicationManager> other(new IndicationManager);
    const auto ofOther = other->createIndication(nullptr, QStringLiteral("DecoderMode"), QStringLiteral("camera"), 0);
    manager->removeIndication(ofOther);
    const auto removed = create("DecoderLost", "camera");
    manager->removeIndication(removed);
    manager->removeIndication(removed);
    EXPECT_THAT(shownBy(*manager), ElementsAre("camera: DecoderMode=0"));
    EXPECT_THAT(shownBy(*other), ElementsAre("camera: DecoderMode=0"));
    ofOther->setValue(0, 1, blacken(counts));
    EXPECT_TRUE(waitUntil([&] { return counts.calls == 1 && counts.alive == 0; })) << "it is still shown";
}

TEST_F(IndicationManagerTest, ACallInProgressDoesNotHoldUpTheRemoval)
{
    auto pushed = create("DecoderDataPushed", "camera");
    std::promise<void> begun;
    std::promise<void> removed;
    pushed->setValue(0, 1, callback(counts, [&](const ModkitPtr<IIndicationObject> &indication) {
                         begun.set_value();
                         removed.get_future().wait();
                         indication->setValue(black, 1, blacken(counts));
                     }));
    ASSERT_EQ(begun.get_future().wait_for(deadline), std::future_status::ready);
    manager->removeIndication(pushed);
    EXPECT_THAT(manager->snapshot(), IsEmpty());
    pushed.reset(); // the call holds the last reference
    removed.set_value();
    EXPECT_TRUE(waitUntil([&] { return counts.alive == 0; }));
}

TEST_F(IndicationManagerTest, ACallbackMayRemoveItsIndicationAndCreateAnother)
{
    ModkitPtr<IIndicationObject> created;
    const auto pushed = create("DecoderDataPushed", "camera");
    std::promise<void> done;
    pushed->setValue(0, 1, callback(counts, [&](const ModkitPtr<IIndicationObject> &indication) {
                         manager->removeIndication(indication);
                         created = create("DecoderMode", "another camera");
                         done.set_value();
                     }));
    ASSERT_EQ(done.get_future().wait_for(deadline), std::future_status::ready);
    EXPECT_THAT(shownBy(*manager), ElementsAre("another camera: DecoderMode=0"));
}

TEST_F(IndicationManagerTest, IndicationsMayOutliveIt)
{
    const auto pushed = create("DecoderDataPushed", "camera", black);
    pushed->setValue(0, 1000000, blacken(counts));
    manager.reset();
    EXPECT_EQ(counts.alive, 0);
    pushed->setValue(1, 1, blacken(counts));
    EXPECT_EQ(counts.alive, 0);
    pushed->setValue(2, -1, Callback());
    pushed->setValue(2, -1, Callback());
    EXPECT_EQ(counts.calls, 0);
}

TEST_F(IndicationManagerTest, ItsEndWaitsForACallInProgress)
{
    const auto pushed = create("DecoderDataPushed", "camera");
    std::promise<void> begun;
    std::promise<void> goOn;
    std::atomic<bool> isDone{false};
    pushed->setValue(0, 1, callback(counts, [&](const ModkitPtr<IIndicationObject> &indication) {
                         begun.set_value();
                         goOn.get_future().wait();
                         indication->setValue(black, -1, Callback());
                         isDone = true;
                     }));
    ASSERT_EQ(begun.get_future().wait_for(deadline), std::future_status::ready);
    std::thread ending([&] {
        manager.reset();
        EXPECT_TRUE(isDone);
    });
    goOn.set_value();
    ending.join();
}
