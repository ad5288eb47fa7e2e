#include <QAbstractEventDispatcher>

#include <mutex>
#include <vector>

#include "StreamDecoderThreadFixture.h"
#include "decoders/AudioStreamDecoder.h"
#include "fakes/ContendedMutex.h"
#include "fakes/RecordedMessages.h"

// Stream decoders on real decoder threads and the real clock.

namespace {

using testing::IsEmpty;

/// Expects the timer of @p decoder, and no other, to run on the calling thread.
void expectCycleTimer(VideoStreamDecoder &decoder)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&decoder);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.front().timerId, decoder._timer.timerId());
    EXPECT_EQ(timers.front().interval, 1);
}

} // namespace

TEST_F(StreamDecoderThreadTest, TimerRunsCycles)
{
    VideoStreamDecoder *const decoder = makeDecoderOnThread();
    EXPECT_TRUE(waitUntil([this] { return queue->calls >= 5; }));
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, WakeUpEventRunsACycleAtOnce)
{
    VideoStreamDecoder *const decoder = makeDecoder();
    decoder->_timer.start(3600000, decoder);
    decoder->moveToThread(&thread);
    runInThread([] {});
    EXPECT_EQ(queue->calls, 0);
    decoder->addOutput(1, output());
    runInThread([] {});
    EXPECT_EQ(queue->calls, 1);
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, MoveStopsTheTimerUntilTheFirstWakeUpOnTheNewThread)
{
    VideoStreamDecoder *const decoder = makeDecoder();
    EXPECT_TRUE(decoder->_timer.isActive());
    decoder->moveTo(&thread);
    EXPECT_FALSE(decoder->_timer.isActive());
    EXPECT_EQ(decoder->thread(), &thread);
    runInThread([decoder] { EXPECT_THAT(QAbstractEventDispatcher::instance()->registeredTimers(decoder), IsEmpty()); });
    EXPECT_EQ(queue->calls, 0);

    decoder->addOutput(1, output());
    runInThread([decoder] { expectCycleTimer(*decoder); });
    EXPECT_TRUE(waitUntil([this] { return queue->calls >= 5; })) << "one wake-up and the ticks";
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, DecoderFromAThreadWithoutADispatcherStartsItsTimerWithTheFirstWakeUp)
{
    VideoStreamDecoder *const decoder = makeDecoderElsewhere(&thread);
    runInThread([decoder] { EXPECT_FALSE(decoder->_timer.isActive()); });
    EXPECT_EQ(queue->calls, 0);

    decoder->addOutput(1, output());
    runInThread([decoder] { expectCycleTimer(*decoder); });
    EXPECT_TRUE(waitUntil([this] { return queue->calls >= 5; }));
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, LifeOfADecoderIsSilent)
{
    RecordedMessages messages;
    auto *const audioQueue = new StampedQueue(8);
    const ModkitPtr<IInputQueue> audioInput(audioQueue);
    audioQueue->isOpen = true;
    AudioStreamDecoder *const decoder =
        new AudioStreamDecoder(nullptr, formatManager, indicationManager, audioInput, 0, 0, true, QString());
    QObject::connect(decoder, &QObject::destroyed, [this] { isDestroyed = true; });
    decoder->moveToThread(&thread);
    decoder->addOutput(1, ModkitPtr<IAudioOutputQueue>(new FakeAudioOutputQueue("left")));
    EXPECT_TRUE(waitUntil([&] { return audioQueue->blocks >= 5; }));
    decoder->setPerformanceMode(false);
    EXPECT_EQ(decoder->removeOutput(1), 0);
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(StreamDecoderThreadTest, CreationOnAThreadWithoutADispatcherIsSilent)
{
    RecordedMessages messages;
    VideoStreamDecoder *const woken = makeDecoderElsewhere(&thread);
    woken->addOutput(1, output());
    EXPECT_TRUE(waitUntil([this] { return queue->calls >= 5; }));
    woken->dispose();
    EXPECT_TRUE(waitForDestruction());

    isDestroyed = false;
    makeDecoderElsewhere(&thread)->dispose(); // never woken
    EXPECT_TRUE(waitForDestruction());
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(StreamDecoderThreadTest, DecodersOfAThreadThatEndsAtOnceAreDestroyedOnItSilently)
{
    RecordedMessages messages;
    for (int round = 0; round < 40; ++round) {
        isDestroyed = false;
        QThread brief;
        brief.start();
        VideoStreamDecoder *decoder = nullptr;
        if (round % 2 == 0) {
            decoder = makeDecoder();
            decoder->moveToThread(&brief);
        } else {
            decoder = makeDecoderElsewhere(&brief);
        }
        if (round % 4 >= 2)
            decoder->addOutput(1, output());
        decoder->dispose();
        brief.quit();
        brief.wait();
        ASSERT_TRUE(isDestroyed) << round;
        ASSERT_EQ(destroyedOn, &brief) << round;
    }
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(StreamDecoderThreadTest, DestructionHappensOnTheDecoderThread)
{
    VideoStreamDecoder *const decoder = makeDecoderOnThread();
    decoder->addOutput(1, output());
    decoder->dispose();
    ASSERT_TRUE(waitForDestruction());
    EXPECT_EQ(destroyedOn, &thread);
}

TEST_F(StreamDecoderThreadTest, DisposalDuringACycleEndsAnEndlessRunOfPassedOverBlocks)
{
    queue = new StampedQueue(8);
    inputQueue = ModkitPtr<IInputQueue>(queue);
    queue->isOpen = true;
    VideoStreamDecoder *const decoder = makeDecoderOnThread();
    EXPECT_TRUE(waitUntil([this] { return queue->blocks >= 1000; }));
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, BlockThatIsDecodedDuringDisposalIsTheLastOneRead)
{
    std::promise<void> decoding;
    std::promise<void> disposed;
    formats->duringVideoDecode = [&](const QByteArray & /*data*/, const auto * /*outputs*/, int /*outputCount*/) {
        decoding.set_value();
        EXPECT_EQ(disposed.get_future().wait_for(deadline), std::future_status::ready);
    };
    queue->isOpen = true;
    VideoStreamDecoder *const decoder = makeDecoderOnThread();
    ASSERT_EQ(decoding.get_future().wait_for(deadline), std::future_status::ready);
    QCoreApplication::postEvent(decoder, new QEvent(QEvent::User));
    decoder->dispose();
    disposed.set_value();
    EXPECT_TRUE(waitForDestruction());
    EXPECT_EQ(queue->calls, 1);
}

TEST_F(StreamDecoderThreadTest, AddOutputWaitsForTheBlockThatIsDecoded)
{
    VideoStreamDecoder *const decoder = makeDecoderThatDecodes();
    const MutexContention contention(decoder->_outputsMutex);
    auto adding = std::async(std::launch::async, [&] { decoder->addOutput(1, output()); });
    EXPECT_TRUE(contention.wait());
    EXPECT_TRUE(decoder->_outputs.isEmpty());
    EXPECT_TRUE(decoder->_outputIds.isEmpty());
    EXPECT_EQ(adding.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_EQ(adding.wait_for(deadline), std::future_status::ready);
    EXPECT_EQ(decoder->_outputs.size(), 1);
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, RemoveOutputWaitsForTheBlockThatIsDecoded)
{
    VideoStreamDecoder *const decoder = makeDecoderThatDecodes();
    const MutexContention contention(decoder->_outputsMutex);
    auto removing = std::async(std::launch::async, [&] { decoder->removeOutput(1); });
    EXPECT_TRUE(contention.wait());
    EXPECT_EQ(removing.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_EQ(removing.wait_for(deadline), std::future_status::ready);
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, FiguresAndModeDoNotWaitForTheBlockThatIsDecoded)
{
    VideoStreamDecoder *const decoder = makeDecoderThatDecodes();
    auto taking = std::async(std::launch::async, [&] {
        decoder->takeLossRatio();
        decoder->takeDecodedFlag();
        decoder->takeLatencyTotals();
        decoder->takeMaxLatency();
        decoder->takeDecodingTime();
        decoder->setPerformanceMode(true);
    });
    EXPECT_EQ(taking.wait_for(deadline), std::future_status::ready);
    goOn.set_value();
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}

TEST_F(StreamDecoderThreadTest, FiguresAddUpAndOutputsComeAndGoWhileFourThreadsMeddle)
{
    std::atomic<int> decodedKeyBlocks{0};
    std::atomic<int> disorder{0};
    quint32 nextStamp = 0;
    formats->duringVideoDecode = [&](const QByteArray &data, const ModkitPtr<IVideoOutputQueue> *outputs,
                                     int outputCount) {
        const quint32 stamp = data.mid(4).toUInt();
        disorder += stamp < nextStamp;
        nextStamp = stamp + 1;
        for (int index = 0; index < outputCount; ++index)
            outputs[index]->push(VideoFrameHandle(new VideoFrameBuffer), stamp, stamp);
        decodedKeyBlocks += stamp % 2 == 0;
    };
    queue->isOpen = true;
    VideoStreamDecoder *const decoder = makeDecoderOnThread();

    std::atomic<int> unexpectedResults{0};
    std::mutex removedMutex;
    std::vector<ModkitPtr<IVideoOutputQueue>> removed;
    std::atomic<qint64> latencySum{0};
    std::atomic<quint32> latencyCount{0};
    const auto take = [&] {
        const std::pair<qint64, quint32> totals = decoder->takeLatencyTotals();
        latencySum += totals.first;
        latencyCount += totals.second;
        const double lossRatio = decoder->takeLossRatio();
        const qint64 maxLatency = decoder->takeMaxLatency();
        const bool expected = totals.first == 3 * static_cast<qint64>(totals.second) &&
                              (lossRatio == 0.0 || lossRatio == 0.5) && (maxLatency == 0 || maxLatency == 3) &&
                              decoder->takeDecodedFlag() <= 1 && decoder->takeDecodingTime() >= 0;
        unexpectedResults += !expected;
    };
    const auto meddle = [&](quint32 firstId) {
        for (quint32 round = 0; round < 500; ++round) {
            take();
            decoder->setPerformanceMode(round % 3 == 0);
            auto *const removable = new RemovableOutput;
            const ModkitPtr<IVideoOutputQueue> held(removable);
            decoder->addOutput(firstId + round, held);
            std::this_thread::yield();
            const int remaining = decoder->removeOutput(firstId + round);
            removable->isRemoved = true;
            unexpectedResults += remaining < 0 || remaining > 3;
            const std::lock_guard<std::mutex> lock(removedMutex);
            removed.push_back(held);
        }
    };
    std::vector<std::thread> meddlers;
    for (const quint32 firstId : {10000, 20000, 30000, 40000})
        meddlers.emplace_back(meddle, firstId);
    for (std::thread &meddler : meddlers)
        meddler.join();
    EXPECT_TRUE(waitUntil([&] { return decodedKeyBlocks >= 200; }));

    queue->isOpen = false;
    runInThread([] {}); // the cycle in progress has ended
    take();
    EXPECT_EQ(static_cast<int>(latencyCount), queue->keyBlocks);
    EXPECT_EQ(decodedKeyBlocks, queue->keyBlocks);
    EXPECT_EQ(latencySum, 3 * static_cast<qint64>(latencyCount));
    EXPECT_EQ(unexpectedResults, 0);
    EXPECT_EQ(disorder, 0);
    for (const ModkitPtr<IVideoOutputQueue> &output : removed)
        EXPECT_EQ(static_cast<const RemovableOutput &>(*output).latePushes, 0);
    EXPECT_EQ(decoder->removeOutput(0), 0);
    decoder->dispose();
    EXPECT_TRUE(waitForDestruction());
}
