#include "sinks/Sink.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/sinks/Records.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

namespace {

using Records::picture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

/// What a writer got, in order: time stamps, -1 for a break, -2 for the end.
struct WriterLog {
    std::vector<qint64> calls; // on the worker, or once the sink has ended
    qint64 failsAt = -100;
    std::optional<std::string> creationError;
    std::shared_future<void> gate;   // waited for before every write and the creation, if set
    std::atomic<bool> isGone{false}; // the writer is
};

class LoggingWriter final : public IRecordWriter<PictureHeader> {
public:
    LoggingWriter(std::shared_ptr<WriterLog> log, std::shared_ptr<WriteWatch> watch)
        : _log(std::move(log))
        , _watch(std::move(watch))
    {
    }
    ~LoggingWriter() override { _log->isGone = true; }

    std::string target() const override { return "x"; }
    std::optional<std::string> create() override
    {
        waitAtGate();
        return _log->creationError;
    }
    Result write(const PictureHeader &picture, qint64 /*blockTimeMs*/) override
    {
        waitAtGate();
        _log->calls.push_back(picture.pts);
        if (picture.pts == _log->failsAt)
            return "cannot write x: full";
        return quint64(10);
    }
    void noteBreak() override { _log->calls.push_back(-1); }
    std::optional<std::string> finish() override
    {
        _log->calls.push_back(-2);
        return std::nullopt;
    }

private:
    void waitAtGate()
    {
        if (!_log->gate.valid())
            return;
        const WriteWatch::Call watched(*_watch);
        _log->gate.wait();
    }

    const std::shared_ptr<WriterLog> _log;
    const std::shared_ptr<WriteWatch> _watch;
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
    ModkitPtr<VideoSink> sink(const std::shared_ptr<WriterLog> &log, SinkLimits limits)
    {
        const auto watch = std::make_shared<WriteWatch>();
        return ModkitPtr<VideoSink>(new VideoSink(
            "clip video", std::make_shared<Backlog<VideoFrameHandle, PictureHeader>>(
                              std::make_unique<LoggingWriter>(log, watch), limits, watch, _workers->pool())));
    }
    /// One that has a gate, which nobody looks at.
    ModkitPtr<VideoSink> sink(const std::shared_ptr<WriterLog> &log) { return sink(log, {8, 1 << 20, _gate}); }
    ModkitPtr<VideoSink> sink() { return sink(_log); }

    /// Holds up the writer from now on, until open().
    void hold() { _log->gate = _held.get_future().share(); }
    void open() { _held.set_value(); }

    std::unique_ptr<SinkWorkers> _workers = std::make_unique<SinkWorkers>(1);
    const std::shared_ptr<WriterLog> _log = std::make_shared<WriterLog>();
    const std::shared_ptr<Gate> _gate = std::make_shared<Gate>();

private:
    std::promise<void> _held;
};

} // namespace

TEST_F(SinkTest, WritesInOrderAndEndsWithTheLastRecord)
{
    const auto tested = sink();
    tested->push(picture(1), 0, 0);
    tested->push(VideoFrameHandle(), 0, 0);
    tested->push(picture(2), 0, 0);
    tested->finish();
    tested->finish();
    EXPECT_THAT(_log->calls, ElementsAre(1, -1, 2, -2));
}

TEST_F(SinkTest, CountsWhatItTakesAndWrites)
{
    const auto tested = sink();
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
    const auto tested = sink();
    const VideoFrameHandle record = picture(1);
    tested->push(record, 0, 0);
    tested->finish();
    EXPECT_TRUE(waitFor([&] { return record->refCount == 1; }));
}

TEST_F(SinkTest, ClosesTheGateWhileItHasNoRoomAndNeverWaits)
{
    hold();
    const auto tested = sink(_log, {2, 1 << 20, _gate});
    tested->push(picture(0), 0, 0);
    EXPECT_TRUE(_gate->isOpen());
    tested->push(picture(1), 0, 0);
    EXPECT_FALSE(_gate->isOpen());
    // Of one block that yields several records.
    tested->push(picture(2), 0, 0);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(waitFor([&] { return std::chrono::steady_clock::now() - before > std::chrono::milliseconds(5); }));
    EXPECT_GE(tested->status().waitedMs, 4.0);
    open();
    EXPECT_TRUE(waitFor([&] { return _gate->isOpen(); }));
    tested->finish();
    EXPECT_THAT(_log->calls, ElementsAre(0, 1, 2, -2));
    EXPECT_EQ(tested->status().waits, 1U);
    EXPECT_EQ(tested->status().dropped, 0U);
}

TEST_F(SinkTest, TellsTheGateHowManyRecordsItHasRoomFor)
{
    hold();
    const quint64 size = picture(0)->size;
    const auto few = sink(_log, {5, 1 << 20, _gate});
    EXPECT_EQ(_gate->room(), 5);
    few->push(picture(0), 0, 0);
    few->push(picture(1), 0, 0);
    EXPECT_EQ(_gate->room(), 3);

    const auto otherLog = std::make_shared<WriterLog>();
    otherLog->gate = _log->gate;
    const auto small = sink(otherLog, {100, size * 3 + 1, _gate});
    small->push(picture(0), 0, 0);
    EXPECT_EQ(_gate->room(), 2) << "its bytes are for two more";
    small->push(picture(1), 0, 0);
    small->push(picture(2), 0, 0);
    EXPECT_EQ(_gate->room(), 1) << "however small it is";
    small->push(VideoFrameHandle(), 0, 0);
    EXPECT_EQ(_gate->room(), 1);
    open();
    few->finish();
    small->finish();
    EXPECT_EQ(_gate->room(), 3);
}

TEST_F(SinkTest, ClosesTheGateForBytesToo)
{
    hold();
    const auto tested = sink(_log, {100, picture(0)->size * 2, _gate});
    tested->push(picture(0), 0, 0);
    EXPECT_TRUE(_gate->isOpen());
    tested->push(picture(1), 0, 0);
    EXPECT_FALSE(_gate->isOpen());
    open();
    tested->finish();
    EXPECT_TRUE(_gate->isOpen());
}

TEST_F(SinkTest, WithoutAGateDropsWhatFindsNoRoomButNoBreak)
{
    hold();
    const auto tested = sink(_log, {2, 1 << 20, nullptr});
    for (int number = 0; number < 5; ++number)
        tested->push(picture(number), 0, 0);
    tested->push(VideoFrameHandle(), 0, 0);
    EXPECT_EQ(tested->status().records, 5U);
    EXPECT_EQ(tested->status().dropped, 3U);
    open();
    tested->finish();
    EXPECT_THAT(_log->calls, ElementsAre(0, 1, -1, -2));
    EXPECT_EQ(tested->status().bytesWritten, 20U);
    EXPECT_EQ(tested->status().error, std::nullopt);
}

TEST_F(SinkTest, TakesARecordLargerThanItsLimitAlone)
{
    hold();
    const auto tested = sink(_log, {2, 1, nullptr});
    tested->push(picture(0), 0, 0);
    tested->push(picture(1), 0, 0);
    open();
    tested->finish();
    EXPECT_THAT(_log->calls, ElementsAre(0, -2));
}

TEST_F(SinkTest, ADiskThatHangsIsLeftBehindOnceSomebodyWaitsForTheEnd)
{
    hold();
    auto tested = sink(_log, {2, 1 << 20, _gate});
    const VideoFrameHandle record = picture(1);
    tested->push(record, 0, 0);
    tested->push(picture(2), 0, 0);
    tested->end();
    const auto later = std::chrono::steady_clock::now() + std::chrono::hours(1);
    EXPECT_FALSE(tested->isComplete(later)) << "nobody waits for it yet";
    tested->hurry();
    EXPECT_FALSE(tested->isComplete(std::chrono::steady_clock::now()));
    EXPECT_TRUE(waitFor([&] { return tested->isComplete(later); }));
    EXPECT_THAT(tested->status().error, Optional(std::string("x did not take its last 2 frames")));
    EXPECT_EQ(tested->status().dropped, 2U);
    EXPECT_TRUE(_gate->isOpen());
    EXPECT_EQ(record->refCount, 1) << "what was not written is held on to";

    // Its thread owns the rest.
    tested = ModkitPtr<VideoSink>();
    _workers.reset();
    EXPECT_FALSE(_log->isGone);
    open();
    EXPECT_TRUE(waitFor([&] { return _log->isGone.load(); }));
    EXPECT_THAT(_log->calls, testing::IsEmpty());
}

TEST_F(SinkTest, OneThatIsSlowIsWaitedForUnlessSomebodyIsInAHurry)
{
    hold();
    const auto tested = sink();
    tested->push(picture(1), 0, 0);
    std::future<void> finished = std::async(std::launch::async, [&] { tested->finish(); });
    EXPECT_EQ(finished.wait_for(WriteWatch::patience + std::chrono::milliseconds(100)), std::future_status::timeout);
    open();
    EXPECT_EQ(finished.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_THAT(_log->calls, ElementsAre(1, -2));
    EXPECT_EQ(tested->status().error, std::nullopt);
}

TEST_F(SinkTest, TellsThatItsFileCouldNotBeCreatedAndWritesNothing)
{
    _log->creationError = "cannot create x: no";
    const auto tested = sink();
    EXPECT_TRUE(waitFor([&] { return tested->hasBegun(); }));
    tested->push(picture(1), 0, 0);
    tested->finish();
    EXPECT_THAT(tested->status().error, Optional(std::string("cannot create x: no")));
    EXPECT_THAT(_log->calls, ElementsAre(-2));
}

TEST_F(SinkTest, OneWhoseWriterHangsHoldsUpNoOther)
{
    hold();
    const auto hanging = sink();
    const auto otherLog = std::make_shared<WriterLog>();
    const auto other = sink(otherLog);
    other->push(picture(1), 0, 0);
    other->finish();
    EXPECT_THAT(otherLog->calls, ElementsAre(1, -2));
    open();
}

TEST_F(SinkTest, GoesOnCountingOnceWritingHasFailedAndLeavesOthersAlone)
{
    _log->failsAt = 1;
    const auto otherLog = std::make_shared<WriterLog>();
    const auto tested = sink();
    const auto other = sink(otherLog);
    for (int number = 0; number < 4; ++number) {
        tested->push(picture(number), 0, 0);
        other->push(picture(number), 0, 0);
    }
    tested->finish();
    other->finish();
    EXPECT_THAT(_log->calls, ElementsAre(0, 1, -2));
    EXPECT_EQ(tested->status().records, 4U);
    EXPECT_EQ(tested->status().failed, 3U);
    EXPECT_EQ(tested->status().dropped, 0U) << "counted twice";
    EXPECT_EQ(tested->status().bytesWritten, 10U);
    EXPECT_THAT(tested->status().error, Optional(std::string("cannot write x: full")));
    EXPECT_THAT(otherLog->calls, ElementsAre(0, 1, 2, 3, -2));
    EXPECT_EQ(other->status().error, std::nullopt);
}

TEST_F(SinkTest, CountsForeignRecordsReportsThemAndWritesTheOthers)
{
    const auto tested = sink();
    tested->push(Records::foreignPicture(), 0, 0);
    tested->push(VideoFrameHandle(new VideoFrameBuffer), 0, 0);
    tested->push(picture(7), 0, 0);
    tested->finish();
    EXPECT_EQ(tested->status().records, 3U);
    EXPECT_EQ(tested->status().foreign, 2U);
    EXPECT_THAT(tested->status().error, Optional(HasSubstr("clip video: a record is not of this host")));
    EXPECT_THAT(_log->calls, ElementsAre(7, -2));
}

TEST_F(SinkTest, OnlyCountsWithoutAWriter)
{
    AudioSink tested("clip audio", nullptr);
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
    const auto tested = sink();
    tested->finish();
    tested->push(picture(1), 0, 0);
    _workers.reset();
    tested->push(picture(2), 0, 0);
    EXPECT_THAT(_log->calls, ElementsAre(-2));
    EXPECT_EQ(tested->status().records, 2U);
    EXPECT_THAT(tested->status().error, Optional(HasSubstr("after the end")));
}

TEST_F(SinkTest, EndsItsFilesWithoutAWorkerToo)
{
    const auto tested = sink();
    tested->push(picture(1), 0, 0);
    _workers.reset();
    tested->finish();
    EXPECT_THAT(_log->calls, ElementsAre(1, -2));
}

TEST_F(SinkTest, EndsItsFilesWhenTheLastReferenceGoesOnAnotherThread)
{
    ModkitPtr<IVideoOutputQueue> component(sink());
    std::thread decoder([&component] {
        component->push(picture(1), 0, 0);
        component = ModkitPtr<IVideoOutputQueue>();
    });
    decoder.join();
    _workers.reset();
    EXPECT_THAT(_log->calls, ElementsAre(1, -2));
}

TEST_F(SinkTest, ShowsItsStatusWhileItIsUsed)
{
    const auto tested = sink();
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
