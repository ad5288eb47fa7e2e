#include <functional>
#include <string>

#include "DecodingManagerFixture.h"
#include "fakes/RecordedMessages.h"

using testing::ElementsAre;

namespace {

/// Hands each value that it is set to, to a function.
class WatchedIndication : public IIndicationObject {
public:
    explicit WatchedIndication(const std::function<void(int value)> &onValue)
        : _onValue(onValue)
    {
    }
    void setValue(int value, int /*timeoutMs*/,
                  const ModkitPtr<ISimpleIndicationObjectCallback> & /*callback*/) override
    {
        _onValue(value);
    }

private:
    const std::function<void(int value)> _onValue;
};

/// While it lives, hands the messages on Qt's channels to a function, within the writing. One at a time.
class WatchedMessages {
public:
    explicit WatchedMessages(const std::function<void(const std::string &text)> &onMessage)
    {
        current() = onMessage;
        _previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &text) { current()(text.toStdString()); });
    }
    ~WatchedMessages() { qInstallMessageHandler(_previous); }
    WatchedMessages(const WatchedMessages &) = delete;
    WatchedMessages &operator=(const WatchedMessages &) = delete;

private:
    static std::function<void(const std::string &text)> &current()
    {
        static std::function<void(const std::string &text)> function;
        return function;
    }

    QtMessageHandler _previous;
};

} // namespace

class DecodingManagerTuningTest : public DecodingManagerTest {
protected:
    /// Logs every switch of @p decoder as "name 1, locked".
    void watch(BaseSingleStreamDecoder &decoder, const std::string &name)
    {
        decoder._modeIndication = ModkitPtr<IIndicationObject>(new WatchedIndication(
            [this, name](int value) { log.add(name + " " + std::to_string(value) + ", " + lockState()); }));
    }
};

TEST_F(DecodingManagerTuningTest, ModeSwitchesReachEveryDecoderThatIsNotExcluded)
{
    EXPECT_TRUE(init());
    const VideoStreamDecoder *const video = placeVideoDecoder();
    const AudioStreamDecoder *const audio = placeAudioDecoder();
    const VideoStreamDecoder *const paced = placeVideoDecoder(CreationFlags::Paced);
    const VideoStreamDecoder *const excluded = placeVideoDecoder(CreationFlags::ExcludeFromTuning);
    const AudioStreamDecoder *const excludedAudio =
        placeAudioDecoder(CreationFlags::ExcludeFromTuning + CreationFlags::Paced);
    RecordedMessages messages;
    manager().useTimeSavingMode();
    EXPECT_FALSE(manager()._performanceMode);
    EXPECT_FALSE(video->_performanceMode);
    EXPECT_FALSE(audio->_performanceMode);
    EXPECT_FALSE(paced->_performanceMode);
    EXPECT_TRUE(excluded->_performanceMode);
    EXPECT_TRUE(excludedAudio->_performanceMode);
    manager().usePerformanceMode();
    EXPECT_TRUE(manager()._performanceMode);
    EXPECT_TRUE(video->_performanceMode);
    EXPECT_TRUE(audio->_performanceMode);
    EXPECT_TRUE(paced->_performanceMode);
    EXPECT_THAT(messages.take(),
                ElementsAre("debug: Decoders set to time-saving mode", "debug: Decoders set to performance mode"));
}

TEST_F(DecodingManagerTuningTest, ModeSwitchesDoNotTouchAnExcludedDecoder)
{
    EXPECT_TRUE(init());
    watch(*placeVideoDecoder(CreationFlags::ExcludeFromTuning), "video");
    watch(*placeAudioDecoder(CreationFlags::ExcludeFromTuning), "audio");
    log.take();
    manager().useTimeSavingMode();
    manager().usePerformanceMode();
    EXPECT_THAT(log.take(), testing::IsEmpty());
}

TEST_F(DecodingManagerTuningTest, ModeSwitchesSetTheModeWriteTheMessageAndSwitchVideoBeforeAudioUnderTheLock)
{
    EXPECT_TRUE(init());
    watch(*placeAudioDecoder(), "audio");
    watch(*placeVideoDecoder(), "video");
    log.take();
    const WatchedMessages messages([this](const std::string &text) {
        log.add(text + (manager()._performanceMode ? ", on, " : ", off, ") + lockState());
    });
    manager().useTimeSavingMode();
    EXPECT_THAT(log.take(),
                ElementsAre("Decoders set to time-saving mode, off, locked", "video 1, locked", "audio 1, locked"));
    manager().usePerformanceMode();
    EXPECT_THAT(log.take(),
                ElementsAre("Decoders set to performance mode, on, locked", "video 0, locked", "audio 0, locked"));
    EXPECT_EQ(lockState(), "unlocked");
}

TEST_F(DecodingManagerTuningTest, AWalkDropsItsCopyOfOneRegistryBeforeItCopiesTheOther)
{
    EXPECT_TRUE(init());
    const auto copied = [this] {
        return std::string(manager()._videoDecoders._byQueue.isDetached() ? "" : "video ") +
               (manager()._audioDecoders._byQueue.isDetached() ? "" : "audio");
    };
    const auto noteCopies = [&](int /*value*/) { log.add("copied: " + copied()); };
    placeVideoDecoder()->_modeIndication = ModkitPtr<IIndicationObject>(new WatchedIndication(noteCopies));
    placeAudioDecoder()->_modeIndication = ModkitPtr<IIndicationObject>(new WatchedIndication(noteCopies));
    const RecordedMessages messages;
    log.take();
    manager().useTimeSavingMode();
    EXPECT_THAT(log.take(), ElementsAre("copied: video ", "copied: audio"));
    EXPECT_EQ(copied(), "");
}

TEST_F(DecodingManagerTuningTest, ASwitchToTheModeThatIsSetRunsInFull)
{
    EXPECT_TRUE(init());
    watch(*placeVideoDecoder(), "video");
    RecordedMessages messages;
    log.take();
    manager().usePerformanceMode();
    EXPECT_THAT(log.take(), ElementsAre("video 0, locked"));
    manager().useTimeSavingMode();
    manager().useTimeSavingMode();
    EXPECT_THAT(log.take(), ElementsAre("video 1, locked", "video 1, locked"));
    EXPECT_THAT(messages.take(),
                ElementsAre("debug: Decoders set to performance mode", "debug: Decoders set to time-saving mode",
                            "debug: Decoders set to time-saving mode"));
}

TEST_F(DecodingManagerTuningTest, ADecoderWithTwoHandlesCountsOnceAndIsSwitchedOnce)
{
    EXPECT_TRUE(init());
    const Queue queue = newQueue();
    const Handle first = create<Video>(queue);
    const Handle second = create<Video>(queue);
    watch(*decoderOf<Video>(first), "video");
    log.take();
    EXPECT_EQ(manager().decoderCount(), 1);
    manager().useTimeSavingMode();
    EXPECT_THAT(log.take(), ElementsAre("video 1, locked"));
}

TEST_F(DecodingManagerTuningTest, DecodersOfBothKindsAreCountedTunedOrNot)
{
    EXPECT_EQ(manager().decoderCount(), 0);
    EXPECT_TRUE(init());
    EXPECT_EQ(manager().decoderCount(), 0);
    placeVideoDecoder();
    EXPECT_EQ(manager().decoderCount(), 1);
    placeAudioDecoder();
    placeAudioDecoder(CreationFlags::ExcludeFromTuning);
    EXPECT_EQ(manager().decoderCount(), 3);
    handles.clear();
    EXPECT_EQ(manager().decoderCount(), 0);
}

TEST_F(DecodingManagerTuningTest, WithoutDecodersAModeSwitchWritesItsMessageAndSetsTheMode)
{
    RecordedMessages messages;
    manager().useTimeSavingMode();
    EXPECT_FALSE(manager()._performanceMode);
    manager().usePerformanceMode();
    EXPECT_TRUE(manager()._performanceMode);
    EXPECT_THAT(messages.take(),
                ElementsAre("debug: Decoders set to time-saving mode", "debug: Decoders set to performance mode"));
}
