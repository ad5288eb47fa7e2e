#include "manager/DecodingManager.h"

#include <QCoreApplication>
#include <QThread>

#include <future>
#include <pthread.h>
#include <string>
#include <utility>
#include <vector>

#include "DecodingManagerFixture.h"
#include "fakes/RecordedMessages.h"
#if defined(Q_OS_WIN)
#include <windows.h>
#endif

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char *const firstPublishedId = "e0711c9b-7725-4e3c-bdbf-b716c3a34142";
const char *const secondPublishedId = "252e7437-a55d-4499-9660-194d7d81b5d8";

class NoService : public IPolymorph {};

} // namespace

TEST_F(DecodingManagerTest, ConstructionLooksNothingUpAndStartsNothing)
{
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_TRUE(manager()._formatManager.isNull());
    EXPECT_TRUE(manager()._indicationManager.isNull());
    EXPECT_EQ(manager()._registry, nullptr);
    EXPECT_TRUE(manager()._self.isNull());
    EXPECT_EQ(lockState(), "unlocked");
    EXPECT_EQ(manager()._videoDecoders.count(), 0);
    EXPECT_EQ(manager()._audioDecoders.count(), 0);
    EXPECT_TRUE(manager()._threads.isEmpty());
    EXPECT_TRUE(manager()._decodersPerThread.isEmpty());
    EXPECT_TRUE(manager()._performanceMode);
    EXPECT_EQ(manager()._cpuLoadCalculator, nullptr);
}

TEST_F(DecodingManagerTest, InitLooksUpReadsAndPublishesInOrder)
{
    EXPECT_TRUE(init());
    EXPECT_THAT(log.take(),
                ElementsAre("get d98b9788-39fd-4057-87f2-e5d8108a8148", "get 6bb3424c-ccb5-4437-bf8b-0282be89caa1",
                            "getInt THREADS, 2", "set e0711c9b-7725-4e3c-bdbf-b716c3a34142 object",
                            "set 252e7437-a55d-4499-9660-194d7d81b5d8 object"));
}

TEST_F(DecodingManagerTest, InitStartsTheThreadsBeforeItPublishesAndTakesNoLock)
{
    std::vector<std::string> states;
    registry.duringSet = [&] {
        states.push_back(lockState() + ", threads " + std::to_string(manager()._threads.size()) +
                         (manager()._self.isNull() ? ", no self" : ", self") +
                         (manager()._registry == &registry ? ", registry" : ", no registry"));
    };
    EXPECT_TRUE(init());
    EXPECT_THAT(states, ElementsAre("unlocked, threads 2, self, registry", "unlocked, threads 2, self, registry"));
    registry.duringSet = nullptr;
}

TEST_F(DecodingManagerTest, InitWithoutAFormatManagerDoesNothingElse)
{
    registry.objects.clear();
    RecordedMessages messages;
    EXPECT_FALSE(init());
    EXPECT_THAT(log.take(), ElementsAre("get d98b9788-39fd-4057-87f2-e5d8108a8148"));
    EXPECT_TRUE(manager()._threads.isEmpty());
    EXPECT_EQ(manager()._registry, nullptr);
    EXPECT_TRUE(manager()._self.isNull());
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(DecodingManagerTest, InitWithAnotherObjectInPlaceOfTheFormatManagerFails)
{
    registry.objects[formatManagerId] = ModkitPtr<IPolymorph>(new NoService);
    EXPECT_FALSE(init());
    EXPECT_THAT(log.take(), ElementsAre("get d98b9788-39fd-4057-87f2-e5d8108a8148"));
}

TEST_F(DecodingManagerTest, InitTakesTheIndicationManagerWhenThereIsOne)
{
    const ModkitPtr<IIndicationManager> indications(new FakeIndicationManager);
    registry.objects[indicationManagerId] = ModkitPtr<IPolymorph>(indications);
    EXPECT_TRUE(init());
    EXPECT_EQ(manager()._indicationManager, indications);
}

TEST_F(DecodingManagerTest, InitAcceptsAMissingIndicationManagerSilently)
{
    RecordedMessages messages;
    EXPECT_TRUE(init());
    EXPECT_TRUE(manager()._indicationManager.isNull());
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(DecodingManagerTest, InitTakesAnotherObjectInPlaceOfTheIndicationManagerForNone)
{
    const ModkitPtr<IPolymorph> other(new NoService);
    registry.objects[indicationManagerId] = other;
    RecordedMessages messages;
    EXPECT_TRUE(init());
    EXPECT_TRUE(manager()._indicationManager.isNull());
    EXPECT_EQ(other._counter->strongCount, 2) << "the test's and the registry's";
    EXPECT_THAT(messages.take(), IsEmpty());
    EXPECT_TRUE(placeVideoDecoder()->_modeIndication.isNull());
}

TEST_F(DecodingManagerTest, InitTracesEachConversionOfAServiceAndOfItselfOnce)
{
    const ModkitPtr<IIndicationManager> indications(new FakeIndicationManager);
    registry.objects[indicationManagerId] = ModkitPtr<IPolymorph>(indications);
    RecordedTrace::take();
    EXPECT_TRUE(init());
    std::vector<std::string> traced;
    for (const RecordedTrace::Call &call : RecordedTrace::take()) {
        ASSERT_EQ(call.kind, RecordedTrace::Call::Add);
        traced.push_back(call.typeName + " " + std::to_string(call.flag));
    }
    EXPECT_THAT(traced, ElementsAre("17FakeFormatManager 1", "21FakeIndicationManager 1", "15DecodingManager 1",
                                    "15DecodingManager 1", "15DecodingManager 1"));
}

TEST_F(DecodingManagerTest, ThreadsSettingNamesTheNumberOfThreads)
{
    setThreads(3);
    EXPECT_TRUE(init());
    std::vector<std::string> threads;
    for (const QThread *thread : qAsConst(manager()._threads)) {
        threads.push_back(thread->objectName().toStdString());
        EXPECT_EQ(thread->stackSize(), 102400U);
        EXPECT_TRUE(thread->isRunning());
        EXPECT_EQ(thread->parent(), nullptr);
        EXPECT_EQ(thread->priority(), QThread::InheritPriority);
    }
    EXPECT_THAT(threads, ElementsAre("Decoder/1", "Decoder/2", "Decoder/3"));
    EXPECT_EQ(manager()._decodersPerThread, (QVector<int>{0, 0, 0}));
}

#if defined(Q_OS_LINUX)
TEST_F(DecodingManagerTest, ThreadsRunOnTheirSmallStackAndWereNamedAfterTheirStart)
{
    struct Inspector : QObject {
        std::promise<std::pair<std::size_t, std::string>> found;
        void customEvent(QEvent *) override
        {
            pthread_attr_t attributes;
            std::size_t stackSize = 0;
            char name[16] = {};
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &stackSize);
            pthread_attr_destroy(&attributes);
            pthread_getname_np(pthread_self(), name, sizeof name);
            found.set_value({stackSize, name});
        }
    };
    setThreads(1);
    EXPECT_TRUE(init());
    Inspector inspector;
    inspector.moveToThread(manager()._threads.first());
    QCoreApplication::postEvent(&inspector, new QEvent(QEvent::User));
    const auto [stackSize, name] = inspector.found.get_future().get();
#if defined(__SANITIZE_THREAD__)
    EXPECT_GE(stackSize, 102400U) << "ThreadSanitizer adds what it needs itself";
#else
    EXPECT_EQ(stackSize, 102400U);
#endif
    EXPECT_EQ(name, "QThread") << "Qt passes the object name of a starting thread on to the system";
    stop();
}
#endif

#if defined(Q_OS_WIN)
TEST_F(DecodingManagerTest, ThreadsHaveTheStackOfTheProgramBecauseWindowsGivesNoSmallerOne)
{
    struct Inspector : QObject {
        std::promise<std::size_t> stackSize;
        void customEvent(QEvent *) override
        {
            ULONG_PTR low = 0;
            ULONG_PTR high = 0;
            GetCurrentThreadStackLimits(&low, &high);
            stackSize.set_value(high - low);
        }
    };
    setThreads(1);
    EXPECT_TRUE(init());
    Inspector inspector;
    inspector.moveToThread(manager()._threads.first());
    QCoreApplication::postEvent(&inspector, new QEvent(QEvent::User));

    const auto *const program = reinterpret_cast<const unsigned char *>(GetModuleHandleA(nullptr));
    const auto *const start = reinterpret_cast<const IMAGE_DOS_HEADER *>(program);
    const auto *const header = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(program + start->e_lfanew);
    const std::size_t reserved = header->OptionalHeader.SizeOfStackReserve;
    EXPECT_GE(reserved, 102400U);
    EXPECT_EQ(inspector.stackSize.get_future().get(), reserved);
    stop();
}
#endif

TEST_F(DecodingManagerTest, OneThreadIsOneThread)
{
    setThreads(1);
    EXPECT_TRUE(init());
    ASSERT_EQ(manager()._threads.size(), 1);
    EXPECT_EQ(manager()._threads[0]->objectName(), QStringLiteral("Decoder/1"));
}

TEST_F(DecodingManagerTest, NoThreadsAreNoError)
{
    setThreads(0);
    EXPECT_TRUE(init());
    EXPECT_TRUE(manager()._threads.isEmpty());
    EXPECT_TRUE(manager()._decodersPerThread.isEmpty());
    stop();
}

TEST_F(DecodingManagerTest, WithoutTheSettingThereIsOneThreadForEachCore)
{
    FakeIdealThreadCount::set(4);
    EXPECT_TRUE(init());
    EXPECT_EQ(manager()._threads.size(), 4);
}

TEST_F(DecodingManagerTest, WithoutTheSettingAndAnUnknownNumberOfCoresThereIsOneThread)
{
    FakeIdealThreadCount::set(-1);
    EXPECT_TRUE(init());
    EXPECT_THAT(log.take(), testing::Contains("getInt THREADS, 1"));
    ASSERT_EQ(manager()._threads.size(), 1);
    EXPECT_EQ(manager()._threads[0]->objectName(), QStringLiteral("Decoder/1"));
}

TEST_F(DecodingManagerTest, IsPublishedUnderBothIdentifiersFromInitToStop)
{
    EXPECT_TRUE(init());
    for (const char *identifier : {firstPublishedId, secondPublishedId}) {
        const ModkitPtr<IPolymorph> published = registry.getObject(identifier);
        EXPECT_EQ(published.data(), static_cast<IPolymorph *>(component.data()));
        EXPECT_FALSE(ModkitPtr<IDecodingManager>(published).isNull());
        EXPECT_FALSE(ModkitPtr<ITuneDecoding>(published).isNull());
    }
    stop();
    EXPECT_TRUE(registry.getObject(firstPublishedId).isNull());
    EXPECT_TRUE(registry.getObject(secondPublishedId).isNull());
}

TEST_F(DecodingManagerTest, HoldsItselfFromInitToStop)
{
    EXPECT_EQ(component._counter->strongCount, 1);
    EXPECT_TRUE(init());
    EXPECT_EQ(manager()._self.data(), &manager());
    EXPECT_EQ(component._counter->strongCount, 4) << "the framework's, its own and two publications";
    stop();
    EXPECT_EQ(component._counter->strongCount, 1);
}

TEST_F(DecodingManagerTest, CheckIsOneInEveryState)
{
    EXPECT_EQ(component->check(), 1);
    EXPECT_TRUE(init());
    EXPECT_EQ(component->check(), 1);
    stop();
    EXPECT_EQ(component->check(), 1);
}
