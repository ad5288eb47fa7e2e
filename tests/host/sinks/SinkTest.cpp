#include "sinks/Sink.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "host/sinks/Records.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

namespace {

using Records::picture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

/// What a writer was told, in order: time stamps, -1 for a break, -2 for the end.
struct WriterLog {
    std::vector<qint64> calls; // on the worker, or once the sink has ended
    qint64 failsAt = -100;
    std::shared_future<void> gate; // waited for in every write, if set
};

class LoggingWriter final : public IRecordWriter<PictureHeader> {
public:
    explicit LoggingWriter(WriterLog &log)
        : _log(log)
    {
    }

    Result write(const PictureHeader &picture, qint64 /*blockTimeMs*/) override
    {
        if (_log.gate.valid())
            _log.gate.wait();
        _log.calls.push_back(picture.pts);
        if (picture.pts == _log.failsAt)
            return "cannot write x: full";
        return quint64(10);
    }
    void noteBreak() override { _log.calls.push_back(-1); }
    std::optional<std::string> finish() override
    {
        _log.calls.push_back(-2);
        return std::nullopt;
    }

private:
    WriterLog &_log;
};

template <class Condition>
bool waitFor(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

class SinkTest : public testing::Test {
protected:
    ModkitPtr<VideoSink> sink(WriterLog &log, SinkLimits limits = SinkLimits())
    {
        return ModkitPtr<VideoSink>(
            new VideoSink("clip video", std::make_unique<LoggingWriter>(log), _workers->next(), limits));
    }

    std::unique_ptr<SinkWorkers> _workers = std::make_unique<SinkWorkers>(1);
    WriterLog _log;
};

} // namespace

TEST_F(SinkTest, WritesInOrderAndEndsWithTheLastRecord)
{
    const auto tested = sink(_log);
    tested->push(picture(1), 0, 0);
    tested->push(VideoFrameHandle(), 0, 0);
    tested->push(picture(2), 0, 0);
    tested->finish();
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(1, -1, 2, -2));
}

TEST_F(SinkTest, CountsWhatItTakesAndWrites)
{
    const auto tested = sink(_log);
    const VideoFrameHandle damaged = picture(1);
    Records::headerOf(damaged).flags = PictureHeader::Damaged;
    tested->push(damaged, 0, 0);
    tested->push(VideoFrameHandle(), 0, 0);
    tested->push(picture(2), 0, 0);
    tested->finish();
    const ISink::Status status = tested->status();
    EXPECT_EQ(status.records, 2U);
    EXPECT_EQ(status.damaged, 1U);
    EXPECT_EQ(status.nullBlocks, 1U);
    EXPECT_EQ(status.bytes, 2 * damaged->size);
    EXPECT_EQ(status.bytesWritten, 20U);
    EXPECT_EQ(status.error, std::nullopt);
}

TEST_F(SinkTest, SharesRecordsAndLetsGoOfThemOnceTheyAreWritten)
{
    const auto tested = sink(_log);
    const VideoFrameHandle record = picture(1);
    tested->push(record, 0, 0);
    tested->finish();
    EXPECT_TRUE(waitFor([&] { return record->refCount == 1; }));
}

TEST_F(SinkTest, WaitsWhileAsManyRecordsAsItMayHoldAreUnwritten)
{
    std::promise<void> gate;
    _log.gate = gate.get_future().share();
    const auto tested = sink(_log, {2, 1 << 20});
    std::thread pusher([&] {
        for (int number = 0; number < 5; ++number)
            tested->push(picture(number), 0, 0);
    });
    // The third is counted, and waits.
    EXPECT_TRUE(waitFor([&] { return tested->status().records == 3; }));
    EXPECT_EQ(tested->status().waits, 0U);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(waitFor([&] { return std::chrono::steady_clock::now() - before > std::chrono::milliseconds(5); }));
    gate.set_value();
    pusher.join();
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(0, 1, 2, 3, 4, -2));
    EXPECT_GE(tested->status().waits, 1U);
    EXPECT_GE(tested->status().waitedMs, 4.0);
}

TEST_F(SinkTest, WaitsWhileAsManyBytesAsItMayHoldAreUnwritten)
{
    std::promise<void> gate;
    _log.gate = gate.get_future().share();
    const auto tested = sink(_log, {100, picture(0)->size * 2});
    std::thread pusher([&] {
        for (int number = 0; number < 4; ++number)
            tested->push(picture(number), 0, 0);
    });
    EXPECT_TRUE(waitFor([&] { return tested->status().records == 3; }));
    gate.set_value();
    pusher.join();
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(0, 1, 2, 3, -2));
    EXPECT_GE(tested->status().waits, 1U);
}

TEST_F(SinkTest, TakesWhatComesOnceItIsToldToWaitNoMore)
{
    std::promise<void> open;
    _log.gate = open.get_future().share();
    SinkLimits limits;
    limits.records = 1;
    const auto tested = sink(_log, limits);
    tested->push(picture(1), 0, 0);
    std::future<void> pushed = std::async(std::launch::async, [&] { tested->push(picture(2), 0, 0); });
    EXPECT_TRUE(waitFor([&] { return tested->status().records == 2; }));
    EXPECT_EQ(pushed.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);

    tested->waitNoMore();
    EXPECT_EQ(pushed.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    open.set_value();
    tested->push(picture(3), 0, 0);
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(1, 2, 3, -2));
}

TEST_F(SinkTest, TakesARecordLargerThanItsLimitAlone)
{
    const auto tested = sink(_log, {1, 1});
    for (int number = 0; number < 3; ++number)
        tested->push(picture(number), 0, 0);
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(0, 1, 2, -2));
}

TEST_F(SinkTest, GoesOnCountingOnceWritingHasFailedAndLeavesOthersAlone)
{
    _log.failsAt = 1;
    WriterLog otherLog;
    const auto tested = sink(_log);
    const auto other = sink(otherLog);
    for (int number = 0; number < 4; ++number) {
        tested->push(picture(number), 0, 0);
        other->push(picture(number), 0, 0);
    }
    tested->finish();
    other->finish();
    EXPECT_THAT(_log.calls, ElementsAre(0, 1, -2));
    EXPECT_EQ(tested->status().records, 4U);
    EXPECT_EQ(tested->status().bytesWritten, 10U);
    EXPECT_THAT(tested->status().error, Optional(std::string("cannot write x: full")));
    EXPECT_THAT(otherLog.calls, ElementsAre(0, 1, 2, 3, -2));
    EXPECT_EQ(other->status().error, std::nullopt);
}

TEST_F(SinkTest, CountsForeignRecordsReportsThemAndWritesTheOthers)
{
    const auto tested = sink(_log);
    tested->push(Records::foreignPicture(), 0, 0);
    tested->push(VideoFrameHandle(new VideoFrameBuffer), 0, 0);
    tested->push(picture(7), 0, 0);
    tested->finish();
    EXPECT_EQ(tested->status().records, 3U);
    EXPECT_EQ(tested->status().foreign, 2U);
    EXPECT_THAT(tested->status().error, Optional(HasSubstr("clip video: a record is not of this host")));
    EXPECT_THAT(_log.calls, ElementsAre(7, -2));
}

TEST_F(SinkTest, OnlyCountsWithoutAWriter)
{
    AudioSink tested("clip audio", nullptr, nullptr);
    tested.push(Records::samples({1, 2, 3, 4}, 8000, 2, 0), 0, 0);
    tested.push(Records::foreignSamples(), 0, 0);
    tested.push(AudioSampleHandle(), 0, 0);
    tested.finish();
    EXPECT_EQ(tested.status().records, 2U);
    EXPECT_EQ(tested.status().foreign, 1U);
    EXPECT_EQ(tested.status().nullBlocks, 1U);
    EXPECT_EQ(tested.status().bytes, sizeof(SamplesHeader) + 8);
    EXPECT_EQ(tested.status().bytesWritten, 0U);
}

TEST_F(SinkTest, ReportsARecordThatComesAfterTheEnd)
{
    const auto tested = sink(_log);
    tested->finish();
    tested->push(picture(1), 0, 0);
    _workers.reset();
    tested->push(picture(2), 0, 0);
    EXPECT_THAT(_log.calls, ElementsAre(-2));
    EXPECT_EQ(tested->status().records, 2U);
    EXPECT_THAT(tested->status().error, Optional(HasSubstr("after the end")));
}

TEST_F(SinkTest, EndsItsFilesWithoutAWorkerToo)
{
    const auto tested = sink(_log);
    tested->push(picture(1), 0, 0);
    _workers.reset();
    tested->finish();
    EXPECT_THAT(_log.calls, ElementsAre(1, -2));
}

TEST_F(SinkTest, EndsItsFilesWhenTheLastReferenceGoesOnAnotherThread)
{
    ModkitPtr<IVideoOutputQueue> component(sink(_log));
    std::thread decoder([&component] {
        component->push(picture(1), 0, 0);
        component = ModkitPtr<IVideoOutputQueue>();
    });
    decoder.join();
    EXPECT_THAT(_log.calls, ElementsAre(1, -2));
}

TEST_F(SinkTest, ShowsItsStatusWhileItIsUsed)
{
    const auto tested = sink(_log);
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        quint64 records = 0;
        while (!done) {
            const quint64 now = tested->status().records;
            EXPECT_GE(now, records);
            records = now;
        }
    });
    for (int number = 0; number < 200; ++number)
        tested->push(picture(number), 0, 0);
    tested->finish();
    done = true;
    watcher.join();
    EXPECT_EQ(tested->status().bytesWritten, 2000U);
}
