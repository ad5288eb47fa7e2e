#include <functional>
#include <future>
#include <limits>

#include "DecodingManagerFixture.h"
#include "fakes/ContendedMutex.h"
#include "fakes/RecordedMessages.h"

class DecodingManagerFiguresTest : public DecodingManagerTest {
protected:
    void SetUp() override { ASSERT_TRUE(init()); }

    void setLatencies(BaseSingleStreamDecoder *decoder, qint64 sumMs, quint32 count)
    {
        decoder->_latencySum = sumMs;
        decoder->_latencyCount = count;
    }

    void setLosses(BaseSingleStreamDecoder *decoder, quint32 lost, quint32 expected)
    {
        decoder->_lostBlocks = lost;
        decoder->_expectedBlocks = expected;
    }
};

TEST_F(DecodingManagerFiguresTest, WithoutDecodersEveryFigureIsZero)
{
    EXPECT_EQ(manager().totalDecodingTime(), 0U);
    EXPECT_EQ(manager().maxLatency(), 0);
    EXPECT_EQ(manager().anyBlockDecoded(), 0U);
    EXPECT_EQ(manager().maxLossRatio(), 0.0);
    EXPECT_EQ(manager().averageLatency(), 0);
}

TEST_F(DecodingManagerFiguresTest, TotalDecodingTimeAddsUpAllDecodersTunedOrNotAndTakesTheirTime)
{
    placeVideoDecoder()->_decodingTime = 1;
    placeVideoDecoder(CreationFlags::ExcludeFromTuning)->_decodingTime = 20;
    placeAudioDecoder()->_decodingTime = 300;
    placeAudioDecoder(CreationFlags::ExcludeFromTuning)->_decodingTime = 4000;
    EXPECT_EQ(manager().totalDecodingTime(), 4321U);
    EXPECT_EQ(manager().totalDecodingTime(), 0U);
}

TEST_F(DecodingManagerFiguresTest, TotalDecodingTimeWrapsAt32Bits)
{
    VideoStreamDecoder *const first = placeVideoDecoder();
    VideoStreamDecoder *const second = placeVideoDecoder();
    AudioStreamDecoder *const third = placeAudioDecoder();
    first->_decodingTime = std::numeric_limits<qint32>::max();
    second->_decodingTime = std::numeric_limits<qint32>::max();
    EXPECT_EQ(manager().totalDecodingTime(), 0xfffffffeU);
    first->_decodingTime = std::numeric_limits<qint32>::max();
    second->_decodingTime = std::numeric_limits<qint32>::max();
    third->_decodingTime = 5;
    EXPECT_EQ(manager().totalDecodingTime(), 3U);
    first->_decodingTime = -1;
    EXPECT_EQ(manager().totalDecodingTime(), 0xffffffffU);
}

TEST_F(DecodingManagerFiguresTest, MaxLatencyIsTheLargestOfTheTunedDecodersAndIsTaken)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder(CreationFlags::Paced);
    VideoStreamDecoder *const excluded = placeVideoDecoder(CreationFlags::ExcludeFromTuning);
    excluded->_maxLatency = 1000;
    video->_maxLatency = 7;
    audio->_maxLatency = 5;
    EXPECT_EQ(manager().maxLatency(), 7);
    EXPECT_EQ(manager().maxLatency(), 0);
    video->_maxLatency = 5;
    audio->_maxLatency = 5000000000;
    EXPECT_EQ(manager().maxLatency(), 5000000000);
    EXPECT_EQ(excluded->_maxLatency, 1000) << "not taken";
}

TEST_F(DecodingManagerFiguresTest, MaxLatencyIsZeroWhenNoneIsPositive)
{
    VideoStreamDecoder *const decoder = placeVideoDecoder();
    decoder->_maxLatency = -1;
    EXPECT_EQ(manager().maxLatency(), 0);
    EXPECT_EQ(decoder->_maxLatency, 0) << "taken all the same";
}

TEST_F(DecodingManagerFiguresTest, AnyBlockDecodedIsOneWhenATunedDecoderDecodedSinceTheLastCall)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    AudioStreamDecoder *const excluded = placeAudioDecoder(CreationFlags::ExcludeFromTuning);
    excluded->_decodedFlag = 1;
    EXPECT_EQ(manager().anyBlockDecoded(), 0U);
    EXPECT_EQ(excluded->_decodedFlag, 1U) << "not taken";
    video->_decodedFlag = 1;
    EXPECT_EQ(manager().anyBlockDecoded(), 1U);
    EXPECT_EQ(manager().anyBlockDecoded(), 0U);
    audio->_decodedFlag = 1;
    EXPECT_EQ(manager().anyBlockDecoded(), 1U);
    video->_decodedFlag = 1;
    audio->_decodedFlag = 1;
    EXPECT_EQ(manager().anyBlockDecoded(), 1U) << "no sum";
    video->_decodedFlag = 0x80000000;
    audio->_decodedFlag = 1;
    EXPECT_EQ(manager().anyBlockDecoded(), 0x80000000U) << "compared as unsigned";
}

TEST_F(DecodingManagerFiguresTest, MaxLossRatioIsTheLargestOfTheTunedDecodersAndIsTaken)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    VideoStreamDecoder *const excluded = placeVideoDecoder(CreationFlags::ExcludeFromTuning);
    setLosses(excluded, 1, 1);
    setLosses(video, 3, 4);
    setLosses(audio, 1, 2);
    EXPECT_EQ(manager().maxLossRatio(), 0.75);
    EXPECT_EQ(manager().maxLossRatio(), 0.0);
    EXPECT_EQ(excluded->_lostBlocks, 1U) << "not taken";
    setLosses(video, 1, 2);
    setLosses(audio, 7, 8);
    EXPECT_EQ(manager().maxLossRatio(), 0.875);
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyIsTheSumOfAllTunedDecodersOverTheirCount)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    VideoStreamDecoder *const excluded = placeVideoDecoder(CreationFlags::ExcludeFromTuning);
    setLatencies(excluded, 1000000, 1);
    setLatencies(video, 300, 2);
    setLatencies(audio, 0, 1);
    EXPECT_EQ(manager().averageLatency(), 100);
    EXPECT_EQ(manager().averageLatency(), 0) << "taken";
    EXPECT_EQ(excluded->_latencySum, 1000000) << "not taken";
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyIsZeroWithoutASumOrACount)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    setLatencies(video, 0, 5);
    EXPECT_EQ(manager().averageLatency(), 0);
    setLatencies(video, 5, 0);
    EXPECT_EQ(manager().averageLatency(), 0);
    setLatencies(video, 5, 1);
    setLatencies(audio, -5, 1);
    EXPECT_EQ(manager().averageLatency(), 0);
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyIsTruncatedTowardZero)
{
    VideoStreamDecoder *const decoder = placeVideoDecoder();
    setLatencies(decoder, 11, 4);
    EXPECT_EQ(manager().averageLatency(), 2);
    setLatencies(decoder, -11, 4);
    EXPECT_EQ(manager().averageLatency(), -2);
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyCountsIn32BitsWithoutASign)
{
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    setLatencies(video, 3 * 0x80000001LL, 0x80000001);
    EXPECT_EQ(manager().averageLatency(), 3) << "no negative count";
    setLatencies(video, 10, 0xffffffff);
    setLatencies(audio, 10, 3);
    EXPECT_EQ(manager().averageLatency(), 10) << "the count wraps to 2";
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyAddsUpIn64Bits)
{
    setLatencies(placeVideoDecoder(), 5000000000, 1);
    setLatencies(placeAudioDecoder(), 5000000000, 1);
    EXPECT_EQ(manager().averageLatency(), 5000000000);
}

TEST_F(DecodingManagerFiguresTest, AverageLatencyOfASumBeyond64BitsWrapsAround)
{
    const qint64 largest = std::numeric_limits<qint64>::max();
    const qint64 smallest = std::numeric_limits<qint64>::min();
    VideoStreamDecoder *const video = placeVideoDecoder();
    AudioStreamDecoder *const audio = placeAudioDecoder();
    setLatencies(video, largest, 1);
    setLatencies(audio, 1, 0);
    EXPECT_EQ(manager().averageLatency(), smallest);
    setLatencies(video, smallest, 1);
    setLatencies(audio, -1, 0);
    EXPECT_EQ(manager().averageLatency(), largest);
    setLatencies(video, largest, 1);
    setLatencies(audio, largest, 1);
    EXPECT_EQ(manager().averageLatency(), -1);
}

TEST_F(DecodingManagerFiguresTest, WhatTakesTheLockWaitsForIt)
{
    const RecordedMessages messages;
    const std::function<void()> operations[] = {
        [this] { manager().totalDecodingTime(); },  [this] { manager().anyBlockDecoded(); },
        [this] { manager().maxLossRatio(); },       [this] { manager().decoderCount(); },
        [this] { manager().usePerformanceMode(); }, [this] { manager().useTimeSavingMode(); },
        [this] { manager().cpuLoad(nullptr); },     [this] { manager().removeCpuLoadListener(nullptr); },
    };
    for (const auto &operation : operations) {
        std::future<void> done;
        {
            const ContendedMutex lock(manager()._mutex);
            done = std::async(std::launch::async, operation);
            EXPECT_TRUE(lock.waitForContention()) << "operation " << &operation - operations;
        }
        EXPECT_EQ(done.wait_for(deadline), std::future_status::ready);
    }
}

TEST_F(DecodingManagerFiguresTest, FiguresThatAreTakenUnderTheLockHoldItForTheirWholeRun)
{
    VideoStreamDecoder *const decoder = placeVideoDecoder();
    const struct {
        QMutex &figures;
        std::function<void()> operation;
    } cases[] = {{decoder->_decodingTimeMutex, [this] { manager().totalDecodingTime(); }},
                 {decoder->_decodedMutex, [this] { manager().anyBlockDecoded(); }},
                 {decoder->_lossMutex, [this] { manager().maxLossRatio(); }}};
    for (const auto &each : cases) {
        std::future<void> done;
        {
            const ContendedMutex figuresLock(each.figures);
            done = std::async(std::launch::async, each.operation);
            EXPECT_TRUE(figuresLock.waitForContention());
            EXPECT_EQ(lockState(), "locked");
        }
        EXPECT_EQ(done.wait_for(deadline), std::future_status::ready);
    }
}

TEST_F(DecodingManagerFiguresTest, LatenciesAreTakenWithoutTheLock)
{
    VideoStreamDecoder *const decoder = placeVideoDecoder();
    decoder->_maxLatency = 7;
    setLatencies(decoder, 10, 2);
    std::future<qint64> largest;
    std::future<qint64> average;
    {
        const ContendedMutex lock(manager()._mutex);
        largest = std::async(std::launch::async, [this] { return manager().maxLatency(); });
        average = std::async(std::launch::async, [this] { return manager().averageLatency(); });
        EXPECT_EQ(largest.wait_for(deadline), std::future_status::ready);
        EXPECT_EQ(average.wait_for(deadline), std::future_status::ready);
    }
    EXPECT_EQ(largest.get(), 7);
    EXPECT_EQ(average.get(), 5);
}
