#include "manager/DecodingManager.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <future>
#include <pthread.h>
#include <string>
#include <utility>
#include <vector>

#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIdealThreadCount.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/RecordedMessages.h"
#include "fakes/RecordedTrace.h"
#include "interfaces/InterfaceIdentifiers.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char *const formatManagerId = "d98b9788-39fd-4057-87f2-e5d8108a8148";
const char *const indicationManagerId = "6bb3424c-ccb5-4437-bf8b-0282be89caa1";
const char *const firstPublishedId = "e0711c9b-7725-4e3c-bdbf-b716c3a34142";
const char *const secondPublishedId = "252e7437-a55d-4499-9660-194d7d81b5d8";

class NoService : public IPolymorph {};

class DecodingManagerTest : public testing::Test {
protected:
    DecodingManagerTest()
    {
        FakeIdealThreadCount::set(2);
        registry.objects[formatManagerId] = ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FakeFormatManager));
        RecordedTrace::take();
    }

    ~DecodingManagerTest() override
    {
        if (initialised)
            component->stop();
        component.reset();
        registry.objects.clear();
        settings.reset();
        EXPECT_THAT(RecordedTrace::liveByTypeName(), IsEmpty());
    }

    bool init()
    {
        initialised = component->init(settings, registry, component);
        return initialised;
    }

    void stop()
    {
        initialised = false;
        component->stop();
    }

    DecodingManager &manager() { return static_cast<DecodingManager &>(*component); }

    void setThreads(std::int32_t count) { static_cast<FakeSettings &>(*settings).values["THREADS"] = count; }

    std::string lockState()
    {
        if (!manager()._mutex.tryLock())
            return "locked";
        manager()._mutex.unlock();
        return "unlocked";
    }

    /// A decoder on the manager's first thread, in the registry of its kind, with one output.
    template <class Decoder, class OutputQueue, class Output>
    Decoder *place(DecoderRegistry &decoders, int flags)
    {
        const ModkitPtr<IInputQueue> queue(new FakeInputQueue);
        auto *const decoder = new Decoder(&manager(), manager()._formatManager, manager()._indicationManager, queue, 0,
                                          flags, true, QStringLiteral("placed"));
        decoder->moveToThread(manager()._threads.first());
        decoders.findOrReserve(queue);
        const int id = decoders.registerOutput(decoder);
        decoder->addOutput(static_cast<quint32>(id), ModkitPtr<OutputQueue>(new Output("output")));
        return decoder;
    }

    VideoStreamDecoder *placeVideoDecoder(int flags = 0)
    {
        return place<VideoStreamDecoder, IVideoOutputQueue, FakeVideoOutputQueue>(manager()._videoDecoders, flags);
    }

    AudioStreamDecoder *placeAudioDecoder(int flags = 0)
    {
        return place<AudioStreamDecoder, IAudioOutputQueue, FakeAudioOutputQueue>(manager()._audioDecoders, flags);
    }

    CallLog log;
    FakeObjectRegistry registry{log};
    ModkitPtr<ISettings> settings{new FakeSettings(log)};
    ModkitPtr<IComponent> component{new DecodingManager};
    bool initialised = false;
};

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
    EXPECT_EQ(stackSize, 102400U);
    EXPECT_EQ(name, "QThread") << "Qt passes the object name of a starting thread on to the system";
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

TEST_F(DecodingManagerTest, StopReleasesThenWithdrawsThenDisposesOfTheDecodersAndEndsTheThreads)
{
    struct WatchedFormatManager : FakeFormatManager {
        explicit WatchedFormatManager(DecodingManagerTest &owner)
            : test(owner)
        {
        }
        ~WatchedFormatManager() override
        {
            test.log.add("format manager gone, " + test.lockState() +
                         (test.manager()._self.isNull() ? ", no self" : ", self"));
        }
        DecodingManagerTest &test;
    };
    struct WatchedQueue : FakeInputQueue {
        WatchedQueue(DecodingManagerTest &owner, const char *kind)
            : test(owner)
            , what(kind)
        {
        }
        ~WatchedQueue() override { test.log.add(what + " queue gone, " + test.lockState()); }
        DecodingManagerTest &test;
        std::string what;
    };
    EXPECT_TRUE(init());
    const VideoStreamDecoder *const decoder = placeVideoDecoder();
    // Places whose queue nobody else holds: they tell when the registries let go.
    manager()._videoDecoders.findOrReserve(ModkitPtr<IInputQueue>(new WatchedQueue(*this, "video")));
    manager()._audioDecoders.findOrReserve(ModkitPtr<IInputQueue>(new WatchedQueue(*this, "audio")));
    registry.objects.erase(formatManagerId);
    const ModkitPtr<IAVFormatManager> held = manager()._formatManager; // by the decoder, too
    manager()._formatManager = ModkitPtr<IAVFormatManager>(new WatchedFormatManager(*this));
    registry.duringSet = [this, decoder] {
        log.add(lockState() + (manager()._self.isNull() ? ", no self" : ", self") +
                (decoder->_disposing ? ", disposing" : ", decoding") +
                (manager()._threads.first()->isRunning() ? ", running" : ", ended"));
    };
    log.take();

    stop();

    EXPECT_THAT(log.take(),
                ElementsAre("format manager gone, locked, self", //
                            "set e0711c9b-7725-4e3c-bdbf-b716c3a34142 empty", "unlocked, no self, decoding, running",
                            "set 252e7437-a55d-4499-9660-194d7d81b5d8 empty",
                            "unlocked, no self, decoding, running", //
                            "video queue gone, locked", "audio queue gone, locked"));
    registry.duringSet = nullptr;
}

TEST_F(DecodingManagerTest, StopEndsEveryThreadBeforeItReturns)
{
    setThreads(3);
    EXPECT_TRUE(init());
    QVector<QPointer<QThread>> threads;
    for (QThread *thread : qAsConst(manager()._threads))
        threads.append(thread);
    stop();
    for (const QPointer<QThread> &thread : qAsConst(threads))
        EXPECT_TRUE(thread.isNull());
    EXPECT_EQ(manager()._threads.size(), 3) << "kept, stale";
    EXPECT_EQ(manager()._decodersPerThread.size(), 3);
}

TEST_F(DecodingManagerTest, StopDisposesOfAllDecodersAndWaitsForTheirEndWithoutTheLock)
{
    struct WatchedIndicationManager : FakeIndicationManager {
        explicit WatchedIndicationManager(DecodingManagerTest &owner)
            : test(owner)
        {
        }
        void removeIndication(const ModkitPtr<IIndicationObject> &) override
        {
            // On the decoder's thread, while stop waits for it. It may still hold the lock for the decoders after this
            // one.
            const bool free = test.manager()._mutex.tryLock(60000);
            if (free)
                test.manager()._mutex.unlock();
            test.log.add(free ? "removed, unlocked" : "removed, locked");
        }
        DecodingManagerTest &test;
    };
    registry.objects[indicationManagerId] =
        ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(new WatchedIndicationManager(*this)));
    setThreads(1);
    EXPECT_TRUE(init());
    QPointer<VideoStreamDecoder> first = placeVideoDecoder();
    QPointer<VideoStreamDecoder> second = placeVideoDecoder();
    QPointer<AudioStreamDecoder> third = placeAudioDecoder();
    // What a construction that failed leaves behind.
    manager()._videoDecoders.findOrReserve(ModkitPtr<IInputQueue>(new FakeInputQueue));
    manager()._decodersPerThread[0] = 2;
    EXPECT_EQ(manager().decoderCount(), 4);
    log.take();

    stop();

    EXPECT_TRUE(first.isNull());
    EXPECT_TRUE(second.isNull());
    EXPECT_TRUE(third.isNull());
    EXPECT_EQ(manager().decoderCount(), 0);
    EXPECT_TRUE(manager()._videoDecoders._byId.isEmpty());
    EXPECT_TRUE(manager()._audioDecoders._byId.isEmpty());
    EXPECT_EQ(manager()._decodersPerThread, QVector<int>{2}) << "not changed";
    const std::vector<std::string> calls = log.take();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "removed, unlocked"), 21);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "removed, locked"), 0);
}

TEST_F(DecodingManagerTest, StopLeavesTheIndicationManagerToTheDestructor)
{
    registry.objects[indicationManagerId] =
        ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(new FakeIndicationManager));
    EXPECT_TRUE(init());
    stop();
    EXPECT_TRUE(manager()._formatManager.isNull());
    EXPECT_TRUE(manager()._self.isNull());
    EXPECT_FALSE(manager()._indicationManager.isNull());
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

TEST_F(DecodingManagerTest, ModeSwitchesReachEveryDecoderThatIsNotExcluded)
{
    EXPECT_TRUE(init());
    const VideoStreamDecoder *const video = placeVideoDecoder();
    const AudioStreamDecoder *const audio = placeAudioDecoder();
    const VideoStreamDecoder *const excluded = placeVideoDecoder(CreationFlags::ExcludeFromTuning);
    RecordedMessages messages;
    manager().useTimeSavingMode();
    EXPECT_FALSE(manager()._performanceMode);
    EXPECT_FALSE(video->_performanceMode);
    EXPECT_FALSE(audio->_performanceMode);
    EXPECT_TRUE(excluded->_performanceMode);
    manager().usePerformanceMode();
    EXPECT_TRUE(manager()._performanceMode);
    EXPECT_TRUE(video->_performanceMode);
    EXPECT_TRUE(audio->_performanceMode);
    EXPECT_THAT(messages.take(),
                ElementsAre("debug: Decoders set to time-saving mode", "debug: Decoders set to performance mode"));
}

TEST_F(DecodingManagerTest, ModeSwitchesHoldTheLock)
{
    EXPECT_TRUE(init());
    struct WatchedIndication : IIndicationObject {
        explicit WatchedIndication(DecodingManagerTest &owner)
            : test(owner)
        {
        }
        void setValue(int value, int /*timeoutMs*/, const ModkitPtr<ISimpleIndicationObjectCallback> &) override
        {
            test.log.add("mode " + std::to_string(value) + ", " + test.lockState());
        }
        DecodingManagerTest &test;
    };
    placeVideoDecoder()->_modeIndication = ModkitPtr<IIndicationObject>(new WatchedIndication(*this));
    log.take();
    manager().useTimeSavingMode();
    manager().usePerformanceMode();
    EXPECT_THAT(log.take(), ElementsAre("mode 1, locked", "mode 0, locked"));
}

TEST_F(DecodingManagerTest, WithoutALoadMeasurementTheLoadIsZeroAndNoListenerIsKept)
{
    struct Listener : QObject {
        int events = 0;
        void customEvent(QEvent *) override { ++events; }
    };
    EXPECT_TRUE(init());
    Listener listener;
    EXPECT_EQ(manager().cpuLoad(&listener), 0.0);
    QCoreApplication::processEvents();
    EXPECT_EQ(listener.events, 0);
    manager().removeCpuLoadListener(&listener);
}
