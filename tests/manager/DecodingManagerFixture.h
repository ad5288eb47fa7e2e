#ifndef MANAGER_DECODINGMANAGERFIXTURE_H
#define MANAGER_DECODINGMANAGERFIXTURE_H

#include <string>

#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIdealThreadCount.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/RecordedTrace.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

const char *const formatManagerId = "d98b9788-39fd-4057-87f2-e5d8108a8148";
const char *const indicationManagerId = "6bb3424c-ccb5-4437-bf8b-0282be89caa1";

/// A manager in its framework, of which everything is recorded. Stops the manager when a test leaves it initialised, and
/// checks that nothing is left behind.
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

#endif
