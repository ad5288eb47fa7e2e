#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "DecodingManagerFixture.h"
#include "fakes/ContendedMutex.h"
#include "fakes/RecordedMessages.h"
#include "fakes/WaitUntil.h"

using testing::ElementsAre;
using testing::IsEmpty;

template <class Kind>
using DecodingManagerPlacementTest = DecodingManagerKindTest<Kind>;
TYPED_TEST_SUITE(DecodingManagerPlacementTest, Kinds, KindNames);

TYPED_TEST(DecodingManagerPlacementTest, TheDecoderGetsWhatTheManagerAndItsClientGive)
{
    this->setIndicationManager(new FakeIndicationManager);
    EXPECT_TRUE(this->init());
    const ModkitPtr<IInputQueue> queue = this->newQueue();
    const auto output = this->newOutput("left");
    const ModkitPtr<IDecoder> handle =
        (this->manager().*TypeParam::create)(queue, output, CreationFlags::Paced + 4, QStringLiteral("camera 7"));
    const auto *const decoder = this->decoderOf(handle);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->_context, &this->manager());
    EXPECT_EQ(decoder->_formatManager, this->manager()._formatManager);
    EXPECT_EQ(decoder->_indicationManager, this->manager()._indicationManager);
    EXPECT_EQ(decoder->inputQueue(), queue);
    EXPECT_EQ(decoder->flags(), CreationFlags::Paced + 4);
    EXPECT_EQ(decoder->objectName(), QStringLiteral("camera 7"));
    EXPECT_EQ(decoder->_streamId, TypeParam::streamId);
    EXPECT_THAT(decoder->_outputIds, ElementsAre(0U));
    EXPECT_THAT(decoder->_outputs, ElementsAre(output));
}

TYPED_TEST(DecodingManagerPlacementTest, TheDecoderOfAnEmptyNameNamesItself)
{
    EXPECT_TRUE(this->init());
    const ModkitPtr<IDecoder> handle = this->create(this->newQueue(), 0, "");
    EXPECT_THAT(this->decoderOf(handle)->objectName().toStdString(), testing::StartsWith(TypeParam::ownName));
}

TYPED_TEST(DecodingManagerPlacementTest, TheDecoderLivesOnTheChosenThread)
{
    EXPECT_TRUE(this->init());
    this->counts() = {1, 0};
    const auto *const decoder = this->place();
    EXPECT_EQ(decoder->threadIndex(), 1U);
    EXPECT_EQ(decoder->thread(), this->manager()._threads[1]);
    EXPECT_EQ(this->counts(), (QVector<int>{1, 1}));
}

TYPED_TEST(DecodingManagerPlacementTest, OneQueueHasOneDecoderThroughWhateverPointer)
{
    EXPECT_TRUE(this->init());
    const ModkitPtr<FakeInputQueue> queue(new FakeInputQueue);
    const ModkitPtr<IDecoder> first = this->create(ModkitPtr<IInputQueue>(queue));
    const ModkitPtr<IDecoder> second = this->create(ModkitPtr<IInputQueue>(ModkitPtr<IPolymorph>(queue)));
    EXPECT_EQ(this->idOf(first), 0);
    EXPECT_EQ(this->idOf(second), 1);
    EXPECT_EQ(this->decoderOf(first), this->decoderOf(second));
    EXPECT_THAT(this->decoderOf(first)->_outputIds, ElementsAre(0U, 1U));
    EXPECT_EQ(this->manager().decoderCount(), 1);
    EXPECT_EQ(this->counts(), (QVector<int>{1, 0}));
}

TYPED_TEST(DecodingManagerPlacementTest, JoinedOutputsAreBothFed)
{
    EXPECT_TRUE(this->init());
    auto *const fake = new FakeInputQueue;
    const ModkitPtr<IInputQueue> queue(fake);
    const ModkitPtr<IDecoder> first = this->create(queue, this->newOutput("left"));
    const ModkitPtr<IDecoder> second = this->create(queue, this->newOutput("right"));
    this->log.take();

    FakeInputQueue::Block end;
    end.streamId = TypeParam::streamId;
    fake->append(end);

    std::vector<std::string> pushes;
    EXPECT_TRUE(waitUntil([&] {
        for (const std::string &call : this->log.take())
            pushes.push_back(call);
        return pushes.size() >= 2;
    }));
    EXPECT_THAT(pushes, ElementsAre("push null at 0, 0 to left", "push null at 0, 0 to right"));
}

TYPED_TEST(DecodingManagerPlacementTest, ASecondRequestDoesNotChangeTheDecoder)
{
    EXPECT_TRUE(this->init());
    const ModkitPtr<IInputQueue> queue = this->newQueue();
    this->manager().useTimeSavingMode();
    const ModkitPtr<IDecoder> first = this->create(queue, CreationFlags::Paced, "camera 1");
    const ModkitPtr<IDecoder> second = this->create(queue, CreationFlags::ExcludeFromTuning, "camera 2");
    const auto *const decoder = this->decoderOf(second);
    EXPECT_EQ(decoder->flags(), CreationFlags::Paced);
    EXPECT_FALSE(decoder->_performanceMode);
    EXPECT_EQ(decoder->objectName(), QStringLiteral("camera 1"));
    this->manager().usePerformanceMode();
    EXPECT_TRUE(decoder->_performanceMode) << "still tuned";
}

TYPED_TEST(DecodingManagerPlacementTest, ADecoderBeginsInTheModeOfTheManager)
{
    EXPECT_TRUE(this->init());
    EXPECT_TRUE(this->place()->_performanceMode);
    this->manager().useTimeSavingMode();
    EXPECT_FALSE(this->place()->_performanceMode);
    EXPECT_FALSE(this->place(CreationFlags::Paced)->_performanceMode) << "no flag that excludes";
    this->manager().usePerformanceMode();
    EXPECT_TRUE(this->place()->_performanceMode);
}

TYPED_TEST(DecodingManagerPlacementTest, ADecoderThatIsExcludedFromTuningBeginsInPerformanceMode)
{
    EXPECT_TRUE(this->init());
    EXPECT_TRUE(this->place(CreationFlags::ExcludeFromTuning)->_performanceMode);
    this->manager().useTimeSavingMode();
    EXPECT_TRUE(this->place(CreationFlags::ExcludeFromTuning)->_performanceMode);
    EXPECT_TRUE(this->place(CreationFlags::ExcludeFromTuning + CreationFlags::Paced)->_performanceMode);
}

TYPED_TEST(DecodingManagerPlacementTest, BeforeInitThereIsNoHandleAndNothingIsRegistered)
{
    const ModkitPtr<IInputQueue> queue = this->newQueue();
    EXPECT_TRUE(this->create(queue).isNull());
    EXPECT_EQ(this->decoders().count(), 0);
    EXPECT_EQ(queue._counter->strongCount, 1);
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerPlacementTest, WithoutAFormatManagerThereIsNoHandleAndNothingIsRegistered)
{
    EXPECT_TRUE(this->init());
    this->manager()._formatManager.reset();
    EXPECT_TRUE(this->create(this->newQueue()).isNull());
    EXPECT_EQ(this->decoders().count(), 0);
    EXPECT_EQ(this->decoders()._nextId, 0);
    EXPECT_EQ(this->counts(), (QVector<int>{0, 0}));
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerPlacementTest, AfterStopThereIsNoHandleAndNothingIsRegistered)
{
    EXPECT_TRUE(this->init());
    this->stop();
    EXPECT_TRUE(this->create(this->newQueue()).isNull());
    EXPECT_EQ(this->decoders().count(), 0);
    EXPECT_EQ(this->counts(), (QVector<int>{0, 0}));
}

TYPED_TEST(DecodingManagerPlacementTest, AHandleIsTracedAsOneNewObject)
{
    EXPECT_TRUE(this->init());
    const ModkitPtr<IInputQueue> queue = this->newQueue();
    const auto output = this->newOutput("left");
    RecordedTrace::take();
    ModkitPtr<IDecoder> handle = this->create(queue, output);
    const ModkitCounter *const counter = handle._counter;
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(RecordedTrace::Call{RecordedTrace::Call::Add, counter,
                                                                       "N15DecodingManager14DecoderHandlerE", 0}));
    EXPECT_EQ(counter->strongCount, 1);
    EXPECT_EQ(counter->blockCount, 1);
    EXPECT_EQ(counter->deleter, nullptr);
    handle.reset();
    EXPECT_THAT(RecordedTrace::take(),
                ElementsAre(RecordedTrace::Call{RecordedTrace::Call::Remove, counter, std::string(), 0}));
}

TYPED_TEST(DecodingManagerPlacementTest, AHandleIsTracedUnderTheLock)
{
    EXPECT_TRUE(this->init());
    this->log.take();
    RecordedTrace::watch([this](const RecordedTrace::Call &call) {
        if (call.typeName == "N15DecodingManager14DecoderHandlerE")
            this->log.add("traced, " + this->lockState());
    });
    const ModkitPtr<IDecoder> handle = this->create(this->newQueue());
    RecordedTrace::watch(nullptr);
    EXPECT_THAT(this->log.take(), ElementsAre("traced, locked"));
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerPlacementTest, AnOutputIsAddedUnderTheLock)
{
    EXPECT_TRUE(this->init());
    const ModkitPtr<IInputQueue> queue = this->newQueue();
    const ModkitPtr<IDecoder> first = this->create(queue);
    std::future<ModkitPtr<IDecoder>> second;
    {
        const ContendedMutex outputs(this->decoderOf(first)->_outputsMutex);
        second = std::async(std::launch::async, [&] { return this->create(queue); });
        EXPECT_TRUE(outputs.waitForContention());
        EXPECT_EQ(this->lockState(), "locked");
    }
    EXPECT_FALSE(second.get().isNull());
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerPlacementTest, CreationAndReleaseWriteNoMessage)
{
    EXPECT_TRUE(this->init());
    RecordedMessages messages;
    this->create(this->newQueue()).reset();
    EXPECT_THAT(messages.take(), IsEmpty());
}

TYPED_TEST(DecodingManagerPlacementTest, ADecoderThatWasCreatedOnAThreadWithoutAnEventLoopRuns)
{
    std::promise<std::string> decoded;
    std::atomic<bool> isDecoded{false};
    this->formats->*TypeParam::duringDecode = [&](const QByteArray &data, auto *, int outputCount) {
        if (!isDecoded.exchange(true))
            decoded.set_value(data.toStdString() + " to " + std::to_string(outputCount));
    };
    RecordedMessages messages;
    EXPECT_TRUE(this->init());
    auto *const fake = new FakeInputQueue;
    const ModkitPtr<IInputQueue> queue(fake);
    std::atomic<int> reads{0};
    fake->duringRead = [&reads] { ++reads; };
    ModkitPtr<IDecoder> handle;
    std::thread([&] { handle = this->create(queue); }).join();

    // Later than the wake-up that the creation has sent: by the timer.
    FakeInputQueue::Block block;
    block.data = "H264";
    block.keyBlock = true;
    block.streamId = TypeParam::streamId;
    EXPECT_TRUE(waitUntil([&] { return reads > 1; }));
    fake->append(block);

    std::future<std::string> result = decoded.get_future();
    ASSERT_EQ(result.wait_for(deadline), std::future_status::ready);
    EXPECT_EQ(result.get(), "H264 to 1");
    this->stop();
    for (const std::string &message : messages.take())
        EXPECT_THAT(message, testing::StartsWith("debug: ")) << "no warning of a timer";
}

TEST_F(DecodingManagerTest, VideoAndAudioHaveIdsAndDecodersOfTheirOwn)
{
    EXPECT_TRUE(init());
    const Queue queue = newQueue();
    const Handle video = create<Video>(queue);
    const Handle audio = create<Audio>(queue);
    EXPECT_EQ(idOf(video), 0);
    EXPECT_EQ(idOf(audio), 0);
    EXPECT_TRUE(static_cast<DecodingManager::DecoderHandler &>(*video)._isVideo);
    EXPECT_FALSE(static_cast<DecodingManager::DecoderHandler &>(*audio)._isVideo);
    EXPECT_NE(static_cast<BaseSingleStreamDecoder *>(decoderOf<Video>(video)),
              static_cast<BaseSingleStreamDecoder *>(decoderOf<Audio>(audio)));
    EXPECT_EQ(manager()._videoDecoders.count(), 1);
    EXPECT_EQ(manager()._audioDecoders.count(), 1);
    EXPECT_EQ(manager()._decodersPerThread, (QVector<int>{1, 1}));
}

TEST_F(DecodingManagerTest, DecodersAreConstructedUnderTheLockAndAnnouncedWithTheirNameAndMode)
{
    struct WatchedIndicationManager : FakeIndicationManager {
        explicit WatchedIndicationManager(DecodingManagerTest &owner)
            : test(owner)
        {
        }
        ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                      int initialValue) override
        {
            if (name == QLatin1String("DecoderMode"))
                test.log.add(ownerName.toStdString() + " = " + std::to_string(initialValue) + ", " + test.lockState());
            return FakeIndicationManager::createIndication(reserved, name, ownerName, initialValue);
        }
        DecodingManagerTest &test;
    };
    setIndicationManager(new WatchedIndicationManager(*this));
    EXPECT_TRUE(init());
    log.take();
    handles.push_back(create<Video>(newQueue(), 0, "video"));
    manager().useTimeSavingMode();
    handles.push_back(create<Audio>(newQueue(), 0, "audio"));
    EXPECT_THAT(log.take(), ElementsAre("video = 0, locked", "audio = 1, locked"));
    EXPECT_EQ(lockState(), "unlocked");
}
