#include <QLibrary>

#include "TableCall.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/RecordedMessages.h"
#include "interfaces/ComponentExports.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/InterfaceIdentifiers.h"
#include <gmock/gmock.h>

// The component's library as a host uses it that was compiled apart: every call goes by offset and slot.

namespace {

using testing::ElementsAre;

class ComponentSlotsTest : public testing::Test {
protected:
    ComponentSlotsTest()
        : _registry(_log)
    {
        _registry.objects[InterfaceIdentifiers::avFormatManager] =
            ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FakeFormatManager));
        _settings->values["THREADS"] = 1;
    }

    void SetUp() override
    {
        QLibrary library(QStringLiteral(COMPONENT_FILE));
        const auto getObject = reinterpret_cast<decltype(&ModkitGetObject)>(library.resolve("ModkitGetObject"));
        ASSERT_NE(getObject, nullptr);
        IComponent *object = nullptr;
        getObject(&object, ModkitVersionKey);
        _component = object;
        _decodingManager = baseAt(_component, 8);
        _tuneDecoding = baseAt(_component, 16);
    }

    bool init()
    {
        const ModkitPtr<ISettings> settings(_settings.release());
        const ModkitPtr<IComponent> none;
        return callSlot<bool, const void *, const void *, const void *>(_component, 2, &settings, &_registry, &none);
    }
    void stop() { callSlot<void>(_component, 3); }
    int decoderCount() { return callSlot<int>(_tuneDecoding, 4); }

    CallLog _log;
    FakeObjectRegistry _registry;
    std::unique_ptr<FakeSettings> _settings = std::make_unique<FakeSettings>(_log);
    void *_component = nullptr;
    void *_decodingManager = nullptr;
    void *_tuneDecoding = nullptr;
};

} // namespace

TEST_F(ComponentSlotsTest, LifeOfTheComponent)
{
    EXPECT_EQ(callSlot<int>(_component, 4), 1);
    ASSERT_TRUE(init());
    EXPECT_THAT(_log.take(),
                ElementsAre("get d98b9788-39fd-4057-87f2-e5d8108a8148", "get 6bb3424c-ccb5-4437-bf8b-0282be89caa1",
                            testing::StartsWith("getInt"), "set e0711c9b-7725-4e3c-bdbf-b716c3a34142 empty",
                            "set 252e7437-a55d-4499-9660-194d7d81b5d8 empty"));
    stop();
    EXPECT_THAT(_log.take(), ElementsAre("set e0711c9b-7725-4e3c-bdbf-b716c3a34142 empty",
                                         "set 252e7437-a55d-4499-9660-194d7d81b5d8 empty"));
    callSlot<void>(_component, 1);
}

TEST_F(ComponentSlotsTest, HandleOfAStream)
{
    ASSERT_TRUE(init());
    const ModkitPtr<IInputQueue> inputQueue(new FakeInputQueue);
    const ModkitPtr<IVideoOutputQueue> videoOutput(new FakeVideoOutputQueue(""));
    const ModkitPtr<IAudioOutputQueue> audioOutput(new FakeAudioOutputQueue(""));
    const QString name = QStringLiteral("a name");
    {
        const auto video = callSlot<ModkitPtr<IDecoder>, const void *, const void *, int, const void *>(
            _decodingManager, 2, &inputQueue, &videoOutput, 0, &name);
        EXPECT_FALSE(video.isNull());
        EXPECT_EQ(decoderCount(), 1);
        const auto audio = callSlot<ModkitPtr<IDecoder>, const void *, const void *, int, const void *>(
            _decodingManager, 3, &inputQueue, &audioOutput, 0, &name);
        EXPECT_FALSE(audio.isNull());
        EXPECT_EQ(decoderCount(), 2);
    }
    EXPECT_EQ(decoderCount(), 2) << "a component that was not given itself hears of no release";
    stop();
    EXPECT_EQ(decoderCount(), 0);
    callSlot<void>(_decodingManager, 1);
}

TEST_F(ComponentSlotsTest, Tuning)
{
    ASSERT_TRUE(init());
    EXPECT_EQ((callSlot<double, QObject *>(_tuneDecoding, 2, nullptr)), 0.0);
    callSlot<void, QObject *>(_tuneDecoding, 3, nullptr);
    RecordedMessages messages;
    callSlot<void>(_tuneDecoding, 5);
    EXPECT_THAT(messages.take(), ElementsAre(testing::StartsWith("debug: Decoders set to performance mode")));
    callSlot<void>(_tuneDecoding, 6);
    EXPECT_THAT(messages.take(), ElementsAre(testing::StartsWith("debug: Decoders set to time-saving mode")));
    stop();
    callSlot<void>(_tuneDecoding, 1);
}
