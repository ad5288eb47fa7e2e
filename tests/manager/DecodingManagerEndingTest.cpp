#include <QObject>

#include <tuple>

#include "RunningManagerFixture.h"
#include "cpuload/CpuLoadCalculator.h"
#include "fakes/ContendedMutex.h"

namespace {

using testing::ElementsAre;

enum class Holder { InputQueue, CodecDecoder, OutputQueue };
enum class Stream { Own, Other };

const char *nameOf(Holder holder)
{
    return holder == Holder::InputQueue     ? "InputQueue"
           : holder == Holder::CodecDecoder ? "CodecDecoder"
                                            : "OutputQueue";
}

/// Runs a task in its destructor.
class WatchedFormats final : public FakeFormatManager {
public:
    explicit WatchedFormats(std::function<void()> task)
        : _task(std::move(task))
    {
    }
    ~WatchedFormats() override { _task(); }

private:
    const std::function<void()> _task;
};

/// Runs a task in its destructor.
class WatchedQueue final : public FakeInputQueue {
public:
    explicit WatchedQueue(std::function<void()> task)
        : _task(std::move(task))
    {
    }
    ~WatchedQueue() override { _task(); }

private:
    const std::function<void()> _task;
};

} // namespace

class DecodingManagerEndingTest : public RunningManagerTest {
protected:
    /// A decoder whose destruction drops what is put into formats->legacy.
    ModkitPtr<IDecoder> createDropping(Holder holder)
    {
        const std::shared_ptr<LegacyHandle> legacy = formats->legacy;
        ModkitPtr<IInputQueue> queue = endlessQueue(holder == Holder::CodecDecoder ? "DROP" : "H264");
        ModkitPtr<IVideoOutputQueue> output = countingOutput();
        if (holder == Holder::InputQueue) {
            auto *const dropping = new Dropping<FakeInputQueue>(legacy);
            makeEndless(*dropping, "H264");
            queue = ModkitPtr<IInputQueue>(dropping);
        }
        if (holder == Holder::OutputQueue)
            output = ModkitPtr<IVideoOutputQueue>(new Dropping<CountingOutput>(legacy));
        const int codecsBefore = formats->codecsCreated;
        const ModkitPtr<IDecoder> handle = create(queue, output);
        EXPECT_TRUE(waitUntil([&] { return formats->codecsCreated > codecsBefore; }));
        return handle;
    }

    /// Puts a format manager in place whose destructor, in the first step of stop, runs @p task.
    void watchFormatManager(const std::function<void()> &task)
    {
        manager()._formatManager = ModkitPtr<IAVFormatManager>(new WatchedFormats(task));
    }

    /// Begins to drop @p handle elsewhere, while the calling thread holds the manager's mutex, and expects the drop to
    /// wait for it.
    std::future<void> dropUnderTheLock(ModkitPtr<IDecoder> &handle)
    {
        const MutexContention contention(manager()._mutex);
        std::future<void> drop = dropElsewhere(handle);
        EXPECT_TRUE(contention.wait());
        EXPECT_NE(drop.wait_for(std::chrono::seconds(0)), std::future_status::ready);
        return drop;
    }

    /// Drops @p handle in the middle of the drain, where the queue goes that only a reserved place holds.
    void expectDropDuringTheDrainToDoNothing(ModkitPtr<IDecoder> handle)
    {
        std::future<void> drop;
        failToCreate(ModkitPtr<IInputQueue>(new WatchedQueue([&] { drop = dropUnderTheLock(handle); })));
        const QVector<int> counts = manager()._decodersPerThread;
        stop();
        EXPECT_TRUE(isOverInTime(drop));
        EXPECT_EQ(manager()._decodersPerThread, counts) << "neither the drain nor the late drop lowers them";
    }
};

TEST_F(DecodingManagerEndingTest, AHandleDroppedWhileTheFormatManagerGoesWaitsForThatAndEndsItsDecoder)
{
    init();
    ModkitPtr<IDecoder> handle = create();
    std::future<void> drop;
    watchFormatManager([&] { drop = dropUnderTheLock(handle); });
    bool droppedBeforeTheDrain = false;
    registry.duringSet = [&] { droppedBeforeTheDrain = isOverInTime(drop); };
    stop();
    EXPECT_TRUE(droppedBeforeTheDrain);
    EXPECT_THAT(manager()._decodersPerThread, ElementsAre(0, 0)) << "lowered by the drop";
}

TEST_F(DecodingManagerEndingTest, HandlesDroppedWhileThePublicationsAreWithdrawnEndTheirDecoders)
{
    init();
    ModkitPtr<IDecoder> handles[] = {create(), createAudio(), create()};
    int sets = 0;
    int drops = 0;
    registry.duringSet = [&] { drops += isOverInTime(dropElsewhere(handles[sets++])); };
    stop();
    EXPECT_EQ(sets, 2);
    EXPECT_EQ(drops, 2);
    EXPECT_THAT(manager()._decodersPerThread, ElementsAre(1, 0)) << "only the third is left to the drain";
    registry.duringSet = nullptr;
}

TEST_F(DecodingManagerEndingTest, AHandleDroppedWhileTheLoadMeasurementEndsWaitsForThat)
{
    init();
    ModkitPtr<IDecoder> handle = create();
    std::future<void> drop;
    QObject::connect(manager()._cpuLoadCalculator, &QObject::destroyed, [&] { drop = dropUnderTheLock(handle); });
    stop();
    EXPECT_TRUE(isOverInTime(drop));
    EXPECT_EQ(manager().decoderCount(), 0);
}

TEST_F(DecodingManagerEndingTest, AVideoHandleDroppedDuringTheDrainDoesNothingMore)
{
    init();
    const ModkitPtr<IDecoder> other = createAudio();
    expectDropDuringTheDrainToDoNothing(create());
}

TEST_F(DecodingManagerEndingTest, AnAudioHandleDroppedDuringTheDrainDoesNothingMore)
{
    init();
    const ModkitPtr<IDecoder> other = create();
    expectDropDuringTheDrainToDoNothing(createAudio());
}

TEST_F(DecodingManagerEndingTest, HandlesDroppedWhileStopWaitsForTheThreadsDoNothing)
{
    init();
    ModkitPtr<IDecoder> handles[] = {create(), createAudio()};
    std::atomic<int> next{0};
    std::atomic<int> drops{0};
    indications->duringRemove = [&] {
        const int index = next++;
        if (index < 2)
            drops += isOverInTime(dropElsewhere(handles[index]));
    };
    stop();
    EXPECT_EQ(next, 14);
    EXPECT_EQ(drops, 2);
    EXPECT_THAT(manager()._decodersPerThread, ElementsAre(1, 1));
}

TEST_F(DecodingManagerEndingTest, NoHandleIsCreatedInTheMiddleOfStop)
{
    init();
    const ModkitPtr<IDecoder> handle = create();
    std::atomic<int> attempts{0};
    std::atomic<int> created{0};
    const auto tryToCreate = [&] {
        ++attempts;
        created += !create().isNull();
        created += !createAudio().isNull();
    };
    std::future<void> firstStep;
    watchFormatManager([&] { firstStep = std::async(std::launch::async, tryToCreate); });
    registry.duringSet = [&] { EXPECT_TRUE(isOverInTime(std::async(std::launch::async, tryToCreate))); };
    indications->duringRemove = [&] { EXPECT_TRUE(isOverInTime(std::async(std::launch::async, tryToCreate))); };
    stop();
    EXPECT_TRUE(isOverInTime(firstStep));
    tryToCreate();
    EXPECT_EQ(attempts, 1 + 2 + 7 + 1);
    EXPECT_EQ(created, 0);
    registry.duringSet = nullptr;
}

TEST_F(DecodingManagerEndingTest, TheLastHandleAfterStopDestroysTheManagerOnAPlainThread)
{
    init();
    ModkitPtr<IDecoder> first = create();
    ModkitPtr<IDecoder> last = createAudio();
    stop();
    component.reset();
    const auto hasManager = [] { return RecordedTrace::liveByTypeName().count("15DecodingManager") != 0; };
    first.reset();
    EXPECT_TRUE(hasManager());
    std::thread([&last] { last.reset(); }).join();
    EXPECT_FALSE(hasManager());
}

TEST_F(DecodingManagerEndingTest, AHandleOfAManagerThatWasNotGivenItselfIsGivenBackToNobody)
{
    init(ModkitPtr<IComponent>());
    const auto pushes = std::make_shared<std::atomic<int>>(0);
    ModkitPtr<IDecoder> handle = create(endlessQueue(), ModkitPtr<IVideoOutputQueue>(new CountingOutput(pushes)));
    ModkitPtr<IDecoder> kept = createAudio();
    EXPECT_TRUE(waitUntil([&] { return *pushes > 0; }));
    handle.reset();
    EXPECT_EQ(manager().decoderCount(), 2);
    const int before = *pushes;
    EXPECT_TRUE(waitUntil([&] { return *pushes > before + 5; })) << "still fed";
    stop();
    EXPECT_EQ(pushes.use_count(), 1) << "until stop";
    kept.reset();
    EXPECT_THAT(manager()._decodersPerThread, ElementsAre(1, 1));
}

class DyingHolderTest : public DecodingManagerEndingTest,
                        public testing::WithParamInterface<std::tuple<Holder, Stream, int>> {};

TEST_P(DyingHolderTest, MayDropAHandleWithinStop)
{
    setThreads(std::get<2>(GetParam()));
    init();
    ModkitPtr<IDecoder> own = createDropping(std::get<0>(GetParam()));
    if (std::get<1>(GetParam()) == Stream::Own) {
        formats->legacy->put(own);
        own.reset();
    } else {
        formats->legacy->put(create());
    }
    const QVector<QThread *> threads = manager()._threads;
    const QVector<int> counts = manager()._decodersPerThread;
    EXPECT_FALSE(formats->legacy->isDropped);
    stop();
    EXPECT_TRUE(formats->legacy->isDropped);
    EXPECT_TRUE(threads.contains(formats->legacy->droppedOn)) << "on the decoder's thread";
    EXPECT_EQ(manager()._decodersPerThread, counts) << "the drop came after the drain";
}

INSTANTIATE_TEST_SUITE_P(All, DyingHolderTest,
                         testing::Combine(testing::Values(Holder::InputQueue, Holder::CodecDecoder,
                                                          Holder::OutputQueue),
                                          testing::Values(Stream::Own, Stream::Other), testing::Values(1, 2)),
                         [](const auto &test) {
                             return std::string(nameOf(std::get<0>(test.param))) +
                                    (std::get<1>(test.param) == Stream::Own ? "OfOwnStream" : "OfOtherStream") + "On" +
                                    std::to_string(std::get<2>(test.param)) + "Threads";
                         });

class ReleasedHolderTest : public DecodingManagerEndingTest,
                           public testing::WithParamInterface<std::tuple<Holder, int>> {};

TEST_P(ReleasedHolderTest, MayDropAHandleOfAnotherStream)
{
    setThreads(std::get<1>(GetParam()));
    init();
    ModkitPtr<IDecoder> own = createDropping(std::get<0>(GetParam()));
    const auto pushes = std::make_shared<std::atomic<int>>(0);
    formats->legacy->put(create(endlessQueue(), ModkitPtr<IVideoOutputQueue>(new CountingOutput(pushes))));
    EXPECT_TRUE(waitUntil([&] { return *pushes > 0; }));
    EXPECT_EQ(manager().decoderCount(), 2);

    own.reset();
    EXPECT_TRUE(waitUntil([this] { return formats->legacy->isDropped.load(); }));
    EXPECT_TRUE(manager()._threads.contains(formats->legacy->droppedOn));
    EXPECT_EQ(manager().decoderCount(), 0);
    EXPECT_EQ(manager()._decodersPerThread, QVector<int>(std::get<1>(GetParam()), 0));
    EXPECT_EQ(pushes.use_count(), 1) << "its output has gone with it";
}

INSTANTIATE_TEST_SUITE_P(All, ReleasedHolderTest,
                         testing::Combine(testing::Values(Holder::InputQueue, Holder::CodecDecoder),
                                          testing::Values(1, 2)),
                         [](const auto &test) {
                             return std::string(nameOf(std::get<0>(test.param))) + "On" +
                                    std::to_string(std::get<1>(test.param)) + "Threads";
                         });

class DiscardedCodecTest : public DecodingManagerEndingTest, public testing::WithParamInterface<QByteArray> {};

TEST_P(DiscardedCodecTest, MayDropItsOwnStreamsHandleInMidStream)
{
    init();
    std::atomic<int> removed{0};
    indications->duringRemove = [&] { ++removed; };
    auto *const queue = new FakeInputQueue;
    const ModkitPtr<IInputQueue> inputQueue(queue);
    const auto pushes = std::make_shared<std::atomic<int>>(0);
    queue->append({"DROP", true});
    formats->legacy->put(create(inputQueue, ModkitPtr<IVideoOutputQueue>(new CountingOutput(pushes))));
    EXPECT_TRUE(waitUntil([&] { return *pushes == 1; }));
    EXPECT_FALSE(formats->legacy->isDropped);

    queue->append({GetParam(), true});
    EXPECT_TRUE(waitUntil([this] { return formats->legacy->isDropped.load(); }));
    EXPECT_TRUE(manager()._threads.contains(formats->legacy->droppedOn));
    EXPECT_EQ(manager().decoderCount(), 0);
    EXPECT_THAT(manager()._decodersPerThread, ElementsAre(0, 0));
    EXPECT_EQ(*pushes, 3) << "the drain of the codec and the null block; nothing after the drop";
    EXPECT_EQ(pushes.use_count(), 1);
    EXPECT_TRUE(waitUntil([&] { return removed == 7; })) << "the decoder itself goes long before stop";
}

INSTANTIATE_TEST_SUITE_P(All, DiscardedCodecTest, testing::Values(QByteArray(), QByteArray("H264")),
                         [](const auto &test) { return test.param.isEmpty() ? "AtAnEmptyBlock" : "AtAnotherFourcc"; });
