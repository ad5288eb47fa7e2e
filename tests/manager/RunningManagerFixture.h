#ifndef MANAGER_RUNNINGMANAGERFIXTURE_H
#define MANAGER_RUNNINGMANAGERFIXTURE_H

#include <QThread>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/HangGuard.h"
#include "fakes/RecordedTrace.h"
#include "fakes/WaitUntil.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

/// A handle that waits to be dropped by an object's destructor. Thread-safe.
class LegacyHandle {
public:
    void put(const ModkitPtr<IDecoder> &handle)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _handle = handle;
    }

    void drop()
    {
        ModkitPtr<IDecoder> taken;
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            std::swap(taken, _handle);
        }
        if (taken.isNull())
            return;
        taken.reset();
        droppedOn = QThread::currentThread();
        isDropped = true;
    }

    std::atomic<bool> isDropped{false};
    std::atomic<QThread *> droppedOn{nullptr};

private:
    std::mutex _mutex;
    ModkitPtr<IDecoder> _handle;
};

/// Drops a handle in its destructor: @p Base is an input queue, a codec decoder or an output queue.
template <class Base>
class Dropping final : public Base {
public:
    template <class... Arguments>
    explicit Dropping(std::shared_ptr<LegacyHandle> legacy, Arguments &&...arguments)
        : Base(std::forward<Arguments>(arguments)...)
        , _legacy(std::move(legacy))
    {
    }
    ~Dropping() override { _legacy->drop(); }

private:
    std::shared_ptr<LegacyHandle> _legacy;
};

/// Counts what is pushed.
class CountingOutput : public IVideoOutputQueue {
public:
    explicit CountingOutput(std::shared_ptr<std::atomic<int>> pushes = std::make_shared<std::atomic<int>>(0))
        : _pushes(std::move(pushes))
    {
    }
    void push(const VideoFrameHandle & /*frame*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override { ++*_pushes; }

private:
    std::shared_ptr<std::atomic<int>> _pushes;
};

class SilentAudioOutput : public IAudioOutputQueue {
public:
    void push(const AudioSampleHandle & /*samples*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override {}
};

/// Hands out video codec decoders that push one null handle for each block; those for the fourcc "DROP" drop the
/// handle in @ref legacy when they are destroyed. Counts the codec decoders that live.
class RunningFormats : public FakeFormatManager {
public:
    RunningFormats()
    {
        duringVideoDecode = [](const QByteArray &, const ModkitPtr<IVideoOutputQueue> *outputs, int outputCount) {
            for (int i = 0; i < outputCount; ++i)
                outputs[i]->push(VideoFrameHandle(), 0, 0);
        };
    }

    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32 fourcc) override
    {
        constexpr quint32 dropping = 0x504f5244; // "DROP"
        ++codecsCreated;
        if (fourcc != dropping)
            return FakeFormatManager::createVideoCodecDecoder(fourcc);
        return ModkitPtr<IVideoCodecDecoder>(new Dropping<FakeVideoCodecDecoder>(legacy, nullptr, duringVideoDecode));
    }

    const std::shared_ptr<LegacyHandle> legacy = std::make_shared<LegacyHandle>();
    std::atomic<int> codecsCreated{0};
};

/// Calls @ref duringRemove on the decoder thread for each indication that is removed; creation throws when told to.
class WatchedIndications : public FakeIndicationManager {
public:
    std::function<void()> duringRemove; // set while no decoder ends
    bool throwing = false;

    void removeIndication(const ModkitPtr<IIndicationObject> & /*indication*/) override
    {
        if (duringRemove)
            duringRemove();
    }

    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) override
    {
        if (throwing)
            throw std::bad_alloc();
        return FakeIndicationManager::createIndication(reserved, name, ownerName, initialValue);
    }
};

/// A manager with real decoder threads, on which blocks flow. A test that hangs fails. At the end nothing is left.
class RunningManagerTest : public testing::Test {
protected:
    RunningManagerTest()
    {
        registry.objects[InterfaceIdentifiers::avFormatManager] =
            ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(formats));
        registry.objects[InterfaceIdentifiers::indicationManager] =
            ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(indications));
        setThreads(2);
    }

    ~RunningManagerTest() override
    {
        if (isRunning)
            stop();
        component.reset();
        registry.objects.clear();
        settings.reset();
        EXPECT_THAT(RecordedTrace::liveByTypeName(), testing::IsEmpty());
    }

    void setThreads(int count) { static_cast<FakeSettings &>(*settings).values["THREADS"] = count; }

    void init() { init(component); }
    void init(const ModkitPtr<IComponent> &self)
    {
        isRunning = component->init(settings, registry, self);
        ASSERT_TRUE(isRunning);
    }

    void stop()
    {
        isRunning = false;
        component->stop();
    }

    DecodingManager &manager() { return static_cast<DecodingManager &>(*component); }

    static bool isOverInTime(const std::future<void> &task)
    {
        return task.wait_for(deadline) == std::future_status::ready;
    }

    /// Drops @p handle on a thread of its own. The future is over when the drop has returned.
    static std::future<void> dropElsewhere(ModkitPtr<IDecoder> &handle)
    {
        return std::async(std::launch::async, [&handle] { handle.reset(); });
    }

    /// A queue that gives the same key block again and again.
    static void makeEndless(FakeInputQueue &queue, const QByteArray &block)
    {
        queue.append({block, true});
        queue.endless = true;
    }
    static ModkitPtr<IInputQueue> endlessQueue(const QByteArray &block = "H264")
    {
        auto *const queue = new FakeInputQueue;
        makeEndless(*queue, block);
        return ModkitPtr<IInputQueue>(queue);
    }

    ModkitPtr<IDecoder> create(const ModkitPtr<IInputQueue> &queue = endlessQueue(),
                               const ModkitPtr<IVideoOutputQueue> &output = countingOutput())
    {
        return manager().createVideoDecoder(queue, output, 0, QStringLiteral("camera"));
    }
    ModkitPtr<IDecoder> createAudio()
    {
        return manager().createAudioDecoder(endlessQueue(), ModkitPtr<IAudioOutputQueue>(new SilentAudioOutput), 0,
                                            QStringLiteral("microphone"));
    }
    static ModkitPtr<IVideoOutputQueue> countingOutput() { return ModkitPtr<IVideoOutputQueue>(new CountingOutput); }

    /// The creation of a decoder for @p queue that throws, and leaves a reserved place behind.
    void failToCreate(const ModkitPtr<IInputQueue> &queue)
    {
        indications->throwing = true;
        EXPECT_THROW(create(queue), std::bad_alloc);
        indications->throwing = false;
    }

    HangGuard hangGuard{testing::UnitTest::GetInstance()->current_test_info()->name()};
    CallLog log;
    FakeObjectRegistry registry{log};
    RunningFormats *const formats = new RunningFormats;
    WatchedIndications *const indications = new WatchedIndications;
    ModkitPtr<ISettings> settings{new FakeSettings(log)};
    ModkitPtr<IComponent> component{new DecodingManager};
    bool isRunning = false;
};

#endif
