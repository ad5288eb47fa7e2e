#ifndef MANAGER_DECODINGMANAGERFIXTURE_H
#define MANAGER_DECODINGMANAGERFIXTURE_H

#include <QThread>

#include <future>
#include <memory>
#include <string>
#include <vector>

#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIdealThreadCount.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/RecordedTrace.h"
#include "manager/DecoderHandler.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

const char *const formatManagerId = "d98b9788-39fd-4057-87f2-e5d8108a8148";
const char *const indicationManagerId = "6bb3424c-ccb5-4437-bf8b-0282be89caa1";

struct Video {
    using Decoder = VideoStreamDecoder;
    using OutputQueue = IVideoOutputQueue;
    using FakeOutput = FakeVideoOutputQueue;
    static constexpr auto create = &DecodingManager::createVideoDecoder;
    static constexpr auto decoders = &DecodingManager::_videoDecoders;
    static constexpr auto duringDecode = &FakeFormatManager::duringVideoDecode;
    static constexpr bool isVideo = true;
    static constexpr quint32 streamId = 0;
    static constexpr const char *assertion = "DecodingManager:156: !inputQueue.isNull() && !outputQueue.isNull()";
    static constexpr const char *ownName = "VideoDecoder @";
};

struct Audio {
    using Decoder = AudioStreamDecoder;
    using OutputQueue = IAudioOutputQueue;
    using FakeOutput = FakeAudioOutputQueue;
    static constexpr auto create = &DecodingManager::createAudioDecoder;
    static constexpr auto decoders = &DecodingManager::_audioDecoders;
    static constexpr auto duringDecode = &FakeFormatManager::duringAudioDecode;
    static constexpr bool isVideo = false;
    static constexpr quint32 streamId = 8;
    static constexpr const char *assertion = "DecodingManager:193: !inputQueue.isNull() && !outputQueue.isNull()";
    static constexpr const char *ownName = "AudioDecoder @";
};

using Kinds = testing::Types<Video, Audio>;

struct KindNames {
    template <class Kind>
    static std::string GetName(int /*index*/)
    {
        return Kind::isVideo ? "Video" : "Audio";
    }
};

/// A manager in its framework, of which everything is recorded. Stops the manager when a test leaves it initialised,
/// and checks that nothing is left behind.
class DecodingManagerTest : public testing::Test {
protected:
    using Queue = ModkitPtr<IInputQueue>;
    using Handle = ModkitPtr<IDecoder>;

    DecodingManagerTest()
    {
        FakeIdealThreadCount::set(2);
        registry.objects[formatManagerId] = ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(formats));
        RecordedTrace::take();
    }

    ~DecodingManagerTest() override
    {
        if (initialised)
            manager().stop();
        handles.clear();
        component.reset();
        registry.objects.clear();
        settings.reset();
        EXPECT_THAT(RecordedTrace::liveByTypeName(), testing::IsEmpty());
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

    void setIndicationManager(IIndicationManager *indications)
    {
        registry.objects[indicationManagerId] = ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(indications));
    }

    std::string lockState()
    {
        if (!manager()._mutex.tryLock())
            return "locked";
        manager()._mutex.unlock();
        return "unlocked";
    }

    static Queue newQueue() { return Queue(new FakeInputQueue); }

    template <class Kind>
    ModkitPtr<typename Kind::OutputQueue> newOutput(const char *name)
    {
        return ModkitPtr<typename Kind::OutputQueue>(new typename Kind::FakeOutput(name, &log));
    }

    template <class Kind>
    Handle create(const Queue &queue, int flags = 0, const char *name = "camera 1")
    {
        return (manager().*Kind::create)(queue,
                                         ModkitPtr<typename Kind::OutputQueue>(new typename Kind::FakeOutput("output")),
                                         flags, QString::fromLatin1(name));
    }

    template <class Kind>
    DecoderRegistry &decoders()
    {
        return manager().*Kind::decoders;
    }

    static int idOf(const Handle &handle) { return static_cast<DecodingManager::DecoderHandler &>(*handle)._id; }

    template <class Kind>
    typename Kind::Decoder *decoderOf(const Handle &handle)
    {
        return static_cast<typename Kind::Decoder *>(decoders<Kind>()._byId.value(idOf(handle)));
    }

    /// A decoder of a queue of its own, whose handle the fixture keeps.
    template <class Kind>
    typename Kind::Decoder *place(int flags = 0)
    {
        handles.push_back(create<Kind>(newQueue(), flags));
        return decoderOf<Kind>(handles.back());
    }

    /// @return the thread that @p decoder ends on, once it has ended.
    static std::future<QThread *> endOf(const BaseSingleStreamDecoder *decoder)
    {
        const auto end = std::make_shared<std::promise<QThread *>>();
        QObject::connect(decoder, &QObject::destroyed, [end] { end->set_value(QThread::currentThread()); });
        return end->get_future();
    }

    VideoStreamDecoder *placeVideoDecoder(int flags = 0) { return place<Video>(flags); }
    AudioStreamDecoder *placeAudioDecoder(int flags = 0) { return place<Audio>(flags); }

    CallLog log;
    FakeFormatManager *formats = new FakeFormatManager;
    FakeObjectRegistry registry{log};
    ModkitPtr<ISettings> settings{new FakeSettings(log)};
    ModkitPtr<IComponent> component{new DecodingManager};
    std::vector<Handle> handles;
    bool initialised = false;
};

/// The same for what video and audio have in common.
template <class KindUnderTest>
class DecodingManagerKindTest : public DecodingManagerTest {
protected:
    using Kind = KindUnderTest;
    using Decoder = typename Kind::Decoder;

    Handle create(const Queue &queue, int flags = 0, const char *name = "camera 1")
    {
        return DecodingManagerTest::create<Kind>(queue, flags, name);
    }
    Handle create(const Queue &queue, const ModkitPtr<typename Kind::OutputQueue> &output)
    {
        return (manager().*Kind::create)(queue, output, 0, QStringLiteral("camera 1"));
    }
    ModkitPtr<typename Kind::OutputQueue> newOutput(const char *name)
    {
        return DecodingManagerTest::newOutput<Kind>(name);
    }
    DecoderRegistry &decoders() { return DecodingManagerTest::decoders<Kind>(); }
    Decoder *decoderOf(const Handle &handle) { return DecodingManagerTest::decoderOf<Kind>(handle); }
    Decoder *place(int flags = 0) { return DecodingManagerTest::place<Kind>(flags); }
    QVector<int> &counts() { return manager()._decodersPerThread; }
};

#endif
