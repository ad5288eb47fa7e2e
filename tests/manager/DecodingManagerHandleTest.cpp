#include <QThread>

#include <limits>
#include <string>
#include <thread>

#include "DecodingManagerFixture.h"
#include "fakes/WaitUntil.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Notes its end: the manager keeps it as its indication manager, which only the manager's destructor releases.
class MortalIndicationManager : public FakeIndicationManager {
public:
    explicit MortalIndicationManager(CallLog &log)
        : _log(log)
    {
    }
    ~MortalIndicationManager() override { _log.add("manager gone"); }

private:
    CallLog &_log;
};

/// A component of another class: a manager must not take it for itself.
class OtherComponent : public IComponent {
public:
    bool init(const ModkitPtr<ISettings> &, IObjectRegistry &, const ModkitPtr<IComponent> &) override { return false; }
    void stop() override {}
    int check() override { return 1; }
};

const int lastId = std::numeric_limits<int>::max();

} // namespace

template <class Kind>
class DecodingManagerHandleTest : public DecodingManagerKindTest<Kind> {
protected:
    void SetUp() override { ASSERT_TRUE(this->init()); }

    /// @return whether the decoder of @p end has ended on the manager's first thread.
    bool hasEndedOnFirstThread(std::future<QThread *> &end)
    {
        return end.wait_for(deadline) == std::future_status::ready && end.get() == this->manager()._threads[0];
    }

    const ModkitPtr<IInputQueue> queue = this->newQueue();
};
TYPED_TEST_SUITE(DecodingManagerHandleTest, Kinds, KindNames);

TYPED_TEST(DecodingManagerHandleTest, EitherOfTwoHandlesKeepsTheDecoderAndTheSecondEndsIt)
{
    for (const bool firstGoesFirst : {true, false}) {
        ModkitPtr<IDecoder> first = this->create(this->queue);
        ModkitPtr<IDecoder> second = this->create(this->queue);
        ModkitPtr<IDecoder> &leaving = firstGoesFirst ? first : second;
        ModkitPtr<IDecoder> &staying = firstGoesFirst ? second : first;
        const auto *const decoder = this->decoderOf(staying);
        std::future<QThread *> end = this->endOf(decoder);

        leaving.reset();
        EXPECT_EQ(this->decoders().count(), 1);
        EXPECT_FALSE(decoder->_disposing);
        EXPECT_THAT(decoder->_outputIds, ElementsAre(static_cast<quint32>(this->idOf(staying))));
        EXPECT_EQ(this->counts(), (QVector<int>{1, 0}));

        staying.reset();
        EXPECT_EQ(this->decoders().count(), 0);
        EXPECT_TRUE(this->decoders()._byId.isEmpty());
        EXPECT_EQ(this->counts(), (QVector<int>{0, 0}));
        EXPECT_TRUE(this->hasEndedOnFirstThread(end));
    }
}

TYPED_TEST(DecodingManagerHandleTest, AHandleLivesAsLongAsItsLastPointer)
{
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    const ModkitPtr<IDecoder> copy = handle;
    handle.reset();
    EXPECT_EQ(this->decoders().count(), 1);
}

TYPED_TEST(DecodingManagerHandleTest, TheLastReleaseGivesTheQueueBack)
{
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    std::future<QThread *> end = this->endOf(this->decoderOf(handle));
    EXPECT_EQ(this->queue._counter->strongCount, 3) << "the test's, the decoder's and the registry's";
    handle.reset();
    EXPECT_FALSE(this->decoders()._byQueue.contains(this->queue));
    EXPECT_TRUE(this->hasEndedOnFirstThread(end));
    this->stop();
    EXPECT_EQ(this->queue._counter->strongCount, 1);
}

TYPED_TEST(DecodingManagerHandleTest, TheLastReleaseLowersTheCountOfTheDecodersOwnThread)
{
    this->place();
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    this->place();
    EXPECT_EQ(this->counts(), (QVector<int>{2, 1}));
    handle.reset();
    EXPECT_EQ(this->counts(), (QVector<int>{2, 0}));
    EXPECT_EQ(this->decoders().count(), 2);
}

TYPED_TEST(DecodingManagerHandleTest, ReleaseHoldsTheLock)
{
    struct WatchedOutput : TypeParam::FakeOutput {
        explicit WatchedOutput(TestFixture &owner)
            : TypeParam::FakeOutput("output")
            , test(owner)
        {
        }
        ~WatchedOutput() override { test.log.add("output gone, " + test.lockState()); }
        TestFixture &test;
    };
    ModkitPtr<IDecoder> handle =
        this->create(this->queue, ModkitPtr<typename TypeParam::OutputQueue>(new WatchedOutput(*this)));
    this->log.take();
    handle.reset();
    EXPECT_THAT(this->log.take(), ElementsAre("output gone, locked"));
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerHandleTest, ADecoderThatIsReleasedStopsReadingBeforeItEnds)
{
    struct WatchedIndicationManager : FakeIndicationManager {
        explicit WatchedIndicationManager(CallLog &owner)
            : log(owner)
        {
        }
        void removeIndication(const ModkitPtr<IIndicationObject> &) override
        {
            log.add(decoder->_disposing ? "disposing" : "decoding");
        }
        CallLog &log;
        const BaseSingleStreamDecoder *decoder = nullptr;
    };
    auto *const indications = new WatchedIndicationManager(this->log);
    this->manager()._indicationManager = ModkitPtr<IIndicationManager>(indications);
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    indications->decoder = this->decoderOf(handle);
    std::future<QThread *> end = this->endOf(indications->decoder);
    this->log.take();
    handle.reset();
    EXPECT_TRUE(this->hasEndedOnFirstThread(end));
    EXPECT_THAT(this->log.take(), testing::AllOf(testing::SizeIs(7), testing::Each("disposing")));
}

TYPED_TEST(DecodingManagerHandleTest, AQueueThatComesBackGetsANewDecoderAndANewId)
{
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    std::future<QThread *> end = this->endOf(this->decoderOf(handle));
    handle.reset();
    const ModkitPtr<IDecoder> later = this->create(this->queue, CreationFlags::ExcludeFromTuning, "camera 2");
    EXPECT_EQ(this->idOf(later), 1);
    EXPECT_EQ(this->decoderOf(later)->objectName(), QStringLiteral("camera 2"));
    EXPECT_TRUE(this->hasEndedOnFirstThread(end));
}

TYPED_TEST(DecodingManagerHandleTest, TheLargestIdIsHandedOutAndFollowedByZero)
{
    this->decoders()._nextId = lastId;
    ModkitPtr<IDecoder> largest = this->create(this->queue);
    ModkitPtr<IDecoder> next = this->create(this->queue);
    EXPECT_EQ(this->idOf(largest), lastId);
    EXPECT_EQ(this->idOf(next), 0);
    largest.reset();
    EXPECT_THAT(this->decoderOf(next)->_outputIds, ElementsAre(0U));
    next.reset();
    EXPECT_EQ(this->decoders().count(), 0);
}

TYPED_TEST(DecodingManagerHandleTest, AHandleReleasedAfterStopDoesNothing)
{
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    this->stop();
    this->log.take();
    handle.reset();
    EXPECT_THAT(this->log.take(), IsEmpty());
    EXPECT_EQ(this->counts(), (QVector<int>{1, 0})) << "as stop has left it";
    EXPECT_EQ(this->decoders().count(), 0);
    EXPECT_EQ(this->lockState(), "unlocked");
}

TYPED_TEST(DecodingManagerHandleTest, HandlesKeepTheManagerAndTheLastDestroysItOnWhateverThread)
{
    this->manager()._indicationManager = ModkitPtr<IIndicationManager>(new MortalIndicationManager(this->log));
    ModkitPtr<IDecoder> first = this->create(this->queue);
    ModkitPtr<IDecoder> last = this->create(this->newQueue());
    this->stop();
    this->component.reset();
    this->log.take();
    first.reset();
    EXPECT_THAT(this->log.take(), IsEmpty());
    std::thread([&last] { last.reset(); }).join();
    EXPECT_THAT(this->log.take(), ElementsAre("manager gone"));
}

TYPED_TEST(DecodingManagerHandleTest, AHandleHoldsOneReferenceToTheManager)
{
    const std::int32_t before = this->component._counter->strongCount;
    ModkitPtr<IDecoder> handle = this->create(this->queue);
    EXPECT_EQ(this->component._counter->strongCount, before + 1);
    EXPECT_EQ(static_cast<DecodingManager::DecoderHandler &>(*handle)._manager.data(), &this->manager());
    handle.reset();
    EXPECT_EQ(this->component._counter->strongCount, before);
}

TEST_F(DecodingManagerTest, ReleaseOfTheAudioHandleDoesNotTouchTheVideoDecoderOfTheSameId)
{
    EXPECT_TRUE(init());
    const Queue queue = newQueue();
    Handle video = create<Video>(queue);
    Handle audio = create<Audio>(queue);
    ASSERT_EQ(idOf(video), idOf(audio));
    audio.reset();
    EXPECT_EQ(manager()._audioDecoders.count(), 0);
    EXPECT_EQ(manager()._videoDecoders.count(), 1);
    EXPECT_THAT(decoderOf<Video>(video)->_outputIds, ElementsAre(0U));
    EXPECT_EQ(manager()._decodersPerThread, (QVector<int>{1, 0}));

    audio = create<Audio>(queue);
    video.reset();
    EXPECT_EQ(manager()._videoDecoders.count(), 0);
    EXPECT_EQ(manager()._audioDecoders.count(), 1);
}

TEST_F(DecodingManagerTest, AHandleOfAManagerThatDoesNotKnowItselfIsGivenBackToNobody)
{
    for (const ModkitPtr<IComponent> &self : {ModkitPtr<IComponent>(), ModkitPtr<IComponent>(new OtherComponent)}) {
        DecodingManager stranger;
        ASSERT_TRUE(stranger.init(settings, registry, self));
        EXPECT_TRUE(stranger._self.isNull());
        ModkitPtr<IDecoder> handle = stranger.createVideoDecoder(
            newQueue(), ModkitPtr<IVideoOutputQueue>(new FakeVideoOutputQueue("output")), 0, QString());
        ASSERT_FALSE(handle.isNull());
        EXPECT_TRUE(static_cast<DecodingManager::DecoderHandler &>(*handle)._manager.isNull());
        handle.reset();
        EXPECT_EQ(stranger.decoderCount(), 1);
        EXPECT_EQ(stranger._decodersPerThread, (QVector<int>{1, 0}));
        stranger.stop();
        EXPECT_EQ(stranger.decoderCount(), 0);
    }
}
