#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <future>
#include <string>
#include <vector>

#include "DecodingManagerFixture.h"
#include "fakes/WaitUntil.h"

using testing::ElementsAre;

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

TEST_F(DecodingManagerTest, StopQuitsWaitsForAndDeletesEachThreadBeforeItQuitsTheNext)
{
    struct Visitor : QObject {
        std::promise<void> visited;
        void customEvent(QEvent * /*event*/) override { visited.set_value(); }
    };
    constexpr int count = 3;
    setThreads(count);
    EXPECT_TRUE(init());
    const QVector<QThread *> threads = manager()._threads;
    Visitor visitors[count];
    for (int index = 0; index < count; ++index) {
        const std::string name = std::to_string(index);
        visitors[index].moveToThread(threads[index]);
        QObject::connect(threads[index], &QThread::finished, [this, name] { log.add(name + " has finished"); });
        QObject::connect(threads[index], &QObject::destroyed, [this, name, index, &visitors] {
            log.add(name + " is deleted, " + lockState());
            if (index + 1 == count)
                return;
            Visitor &next = visitors[index + 1];
            QCoreApplication::postEvent(&next, new QEvent(QEvent::User));
            if (next.visited.get_future().wait_for(deadline) == std::future_status::ready)
                log.add("the next runs");
        });
    }
    log.take();
    registry.duringSet = [this] { log.take(); };
    stop();
    registry.duringSet = nullptr;
    EXPECT_THAT(log.take(),
                ElementsAre("0 has finished", "0 is deleted, unlocked", "the next runs", "1 has finished",
                            "1 is deleted, unlocked", "the next runs", "2 has finished", "2 is deleted, unlocked"));
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
    setIndicationManager(new WatchedIndicationManager(*this));
    setThreads(1);
    EXPECT_TRUE(init());
    QPointer<VideoStreamDecoder> first = placeVideoDecoder();
    QPointer<VideoStreamDecoder> second = placeVideoDecoder();
    QPointer<AudioStreamDecoder> third = placeAudioDecoder();
    // What a construction that failed leaves behind.
    manager()._videoDecoders.findOrReserve(ModkitPtr<IInputQueue>(new FakeInputQueue));
    EXPECT_EQ(manager().decoderCount(), 4);
    log.take();

    stop();

    EXPECT_TRUE(first.isNull());
    EXPECT_TRUE(second.isNull());
    EXPECT_TRUE(third.isNull());
    EXPECT_EQ(manager().decoderCount(), 0);
    EXPECT_TRUE(manager()._videoDecoders._byId.isEmpty());
    EXPECT_TRUE(manager()._audioDecoders._byId.isEmpty());
    EXPECT_EQ(manager()._decodersPerThread, QVector<int>{3}) << "not changed";
    const std::vector<std::string> calls = log.take();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "removed, unlocked"), 21);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "removed, locked"), 0);
}

TEST_F(DecodingManagerTest, StopLeavesTheIndicationManagerToTheDestructor)
{
    setIndicationManager(new FakeIndicationManager);
    EXPECT_TRUE(init());
    stop();
    EXPECT_TRUE(manager()._formatManager.isNull());
    EXPECT_TRUE(manager()._self.isNull());
    EXPECT_FALSE(manager()._indicationManager.isNull());
}
