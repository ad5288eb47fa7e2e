#include <QCoreApplication>

#include <string>

#include "DecodingManagerFixture.h"
#include "fakes/RecordedMessages.h"

using testing::ElementsAre;

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
