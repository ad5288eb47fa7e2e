#include <algorithm>
#include <atomic>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/session/ThreadRefusal.h"
#include "host/sinks/Records.h"
#include "session/ReaderSource.h"
#include <decoding/Error.h>
#include <decoding/FrameReader.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;
using decoding::AudioReader;
using decoding::VideoFrame;
using decoding::VideoReader;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

VideoFrameHandle picture(qint64 pts)
{
    return Records::picture(AV_PIX_FMT_GRAY8, 4, 4, QByteArray(16, 'x'), pts);
}

qint64 stampOf(const std::optional<VideoFrame> &frame)
{
    return frame ? frame->timestamp() : -1;
}

/// What a reader tells its session, and what it delivers, in order. Thread-safe.
class Story {
public:
    void add(const std::string &event)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _events.push_back(event);
    }
    std::vector<std::string> events() const
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _events;
    }
    /// @return whether @p event comes, sooner or later.
    bool tells(const std::string &event) const
    {
        return waitUntil([&] {
            const std::vector<std::string> now = events();
            return std::find(now.begin(), now.end(), event) != now.end();
        });
    }

private:
    mutable std::mutex _mutex;
    std::vector<std::string> _events;
};

class FrameReaderTest : public testing::Test {
protected:
    ~FrameReaderTest() override
    {
        buffer->close();
        threads->waitForAll();
    }

    VideoReader::Source::Hooks hooks() const
    {
        return {[told = story] { told->add("start"); }, [told = story] { told->add("leave"); },
                [told = story](const std::string &text) { told->add("fail: " + text); }};
    }
    std::unique_ptr<VideoReader> makeReader() const
    {
        return std::make_unique<VideoReader>(std::make_shared<VideoReader::Source>(buffer, hooks(), threads));
    }
    void push(qint64 first, qint64 last) const
    {
        for (qint64 stamp = first; stamp <= last; ++stamp)
            buffer->push(picture(stamp));
    }
    /// Delivers into the story.
    void deliver(VideoReader &from) const
    {
        from.deliver([told = story](const VideoFrame &frame) { told->add(std::to_string(frame.timestamp())); },
                     [told = story] { told->add("ended"); });
    }

    const std::shared_ptr<Story> story = std::make_shared<Story>();
    const std::shared_ptr<PictureBuffer> buffer =
        std::make_shared<PictureBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    const std::shared_ptr<DeliveryThreads> threads = std::make_shared<DeliveryThreads>();
    std::unique_ptr<VideoReader> reader = makeReader();
};

/// @return the text of the Error that @p call throws; empty when it throws none.
template <class Call>
std::string errorOf(const Call &call)
{
    try {
        call();
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST_F(FrameReaderTest, GivesFramesInTheirOrderAndNothingAtTheEnd)
{
    push(1, 3);
    buffer->end();
    EXPECT_EQ(stampOf(reader->next()), 1);
    EXPECT_EQ(stampOf(reader->next(0ms)), 2);
    EXPECT_FALSE(reader->hasEnded());
    EXPECT_EQ(stampOf(reader->next(std::chrono::milliseconds::max())), 3);
    EXPECT_TRUE(reader->hasEnded());
    EXPECT_FALSE(reader->next());
    EXPECT_FALSE(reader->next(1h));
}

TEST_F(FrameReaderTest, SharesTheDecodersMemoryAlsoBeyondItsOwnLife)
{
    const VideoFrameHandle record = picture(1);
    buffer->push(record);
    std::optional<VideoFrame> frame = reader->next();
    EXPECT_EQ(frame->plane(0).data, PictureHeader::of(*record)->plane(0));
    reader.reset();
    EXPECT_EQ(record->refCount, 2);
    frame.reset();
    EXPECT_EQ(record->refCount, 1);
}

TEST_F(FrameReaderTest, WaitsForAFrameAsLongAsItMay)
{
    std::future<qint64> taken = std::async(std::launch::async, [this] { return stampOf(reader->next()); });
    EXPECT_EQ(taken.wait_for(20ms), std::future_status::timeout);
    push(7, 7);
    EXPECT_EQ(taken.get(), 7);

    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(reader->next(20ms));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 20ms);
    EXPECT_FALSE(reader->next(-1h));
    EXPECT_FALSE(reader->next(std::chrono::milliseconds::min()));
    EXPECT_FALSE(reader->hasEnded());
    EXPECT_LT(std::chrono::steady_clock::now() - before, 30s);

    std::future<bool> found =
        std::async(std::launch::async, [this] { return reader->next(std::chrono::milliseconds::max()).has_value(); });
    EXPECT_EQ(found.wait_for(20ms), std::future_status::timeout);
    buffer->close();
    EXPECT_FALSE(found.get());
}

TEST_F(FrameReaderTest, BeginsToDecodeOnceWhenItIsFirstAsked)
{
    EXPECT_FALSE(reader->hasEnded());
    EXPECT_EQ(reader->frames(), 0);
    EXPECT_THAT(story->events(), IsEmpty());
    EXPECT_FALSE(reader->next(0ms));
    EXPECT_FALSE(reader->next(1ms));
    reader->descriptor();
    EXPECT_THAT(story->events(), ElementsAre("start"));

    const auto waited = makeReader();
    waited->descriptor();
    waited->descriptor();
    EXPECT_THAT(story->events(), ElementsAre("start", "start"));
    const auto delivered = makeReader();
    deliver(*delivered);
    EXPECT_THAT(story->events(), ElementsAre("start", "start", "start"));
}

TEST_F(FrameReaderTest, ItsDescriptorTellsWhetherAFrameIsThere)
{
    pollfd waiting = {reader->descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 0), 0);
    push(1, 1);
    EXPECT_EQ(::poll(&waiting, 1, 0), 1);
    reader->next();
    EXPECT_EQ(::poll(&waiting, 1, 0), 0);
    buffer->end();
    EXPECT_EQ(::poll(&waiting, 1, 0), 1);
}

TEST_F(FrameReaderTest, SaysThatThereIsNoDescriptor)
{
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    std::exception_ptr thrown; // looked at later: a sanitizer needs descriptors for that
    try {
        reader->descriptor();
    } catch (...) {
        thrown = std::current_exception();
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(thrown);
    EXPECT_EQ(errorOf([&thrown] { std::rethrow_exception(thrown); }),
              "a reader has no descriptor to wait for: Too many open files");
}

TEST_F(FrameReaderTest, CountsFramesAndThoseThatWereDropped)
{
    push(1, 6);
    EXPECT_EQ(reader->frames(), 6);
    EXPECT_EQ(reader->dropped(), 2);
    EXPECT_EQ(stampOf(reader->next()), 3);
}

TEST_F(FrameReaderTest, LeavesTheStreamWhenItIsDestroyed)
{
    push(1, 2);
    reader.reset();
    EXPECT_THAT(story->events(), ElementsAre("leave"));
    EXPECT_TRUE(buffer->hasEnded());
}

TEST_F(FrameReaderTest, WorksWithoutAnyHook)
{
    auto alone = std::make_unique<VideoReader>(
        std::make_shared<VideoReader::Source>(buffer, VideoReader::Source::Hooks(), threads));
    push(1, 2);
    EXPECT_EQ(stampOf(alone->next()), 1);
    alone->deliver([](const VideoFrame &) { throw std::runtime_error("thrown"); });
    EXPECT_TRUE(waitUntil([this] { return buffer->hasEnded(); }));
    alone.reset();
}

TEST_F(FrameReaderTest, GivesSamplesToo)
{
    const auto samples = std::make_shared<SamplesBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    AudioReader audio(std::make_shared<AudioReader::Source>(samples, AudioReader::Source::Hooks(), threads));
    samples->push(Records::samples({1, 2}, 8000, 1, 5));
    samples->end();
    EXPECT_EQ(audio.next()->timestamp(), 5);
    EXPECT_FALSE(audio.next());
}

TEST_F(FrameReaderTest, DeliversEveryFrameAndThenTheEndOnAnotherThread)
{
    push(1, 2);
    deliver(*reader);
    push(3, 4);
    buffer->end();
    threads->waitForAll();
    EXPECT_EQ(story->events().back(), "ended");
    std::vector<std::string> frames = story->events();
    frames.erase(std::remove(frames.begin(), frames.end(), "start"), frames.end());
    EXPECT_THAT(frames, ElementsAre("1", "2", "3", "4", "ended"));
}

TEST_F(FrameReaderTest, ACallbackDelaysNobodyElse)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    reader->deliver([told = story, gate](const VideoFrame &frame) {
        told->add(std::to_string(frame.timestamp()));
        gate.wait();
    });
    push(1, 1);
    EXPECT_TRUE(story->tells("1"));
    push(2, 6); // returns, and the oldest of them goes
    EXPECT_EQ(reader->dropped(), 1);
    open.set_value();
    EXPECT_TRUE(story->tells("6"));
}

TEST_F(FrameReaderTest, DeliversOnceAndInsteadOfBeingAsked)
{
    deliver(*reader);
    const std::string isDelivered = "the frames of this reader are delivered to a callback";
    EXPECT_EQ(errorOf([this] { reader->next(); }), isDelivered);
    EXPECT_EQ(errorOf([this] { reader->next(1ms); }), isDelivered);
    EXPECT_EQ(errorOf([this] { reader->descriptor(); }), isDelivered);
    EXPECT_EQ(errorOf([this] { deliver(*reader); }), isDelivered + " already");
    push(1, 1);
    EXPECT_TRUE(story->tells("1"));
}

TEST_F(FrameReaderTest, RefusesToDeliverToNobody)
{
    EXPECT_EQ(errorOf([this] { reader->deliver({}); }), "frames cannot be delivered without a callback");
    EXPECT_THAT(story->events(), IsEmpty());
    deliver(*reader);
}

TEST_F(FrameReaderTest, SaysThatTheSystemHasNoThreadLeftAndCanBeAskedAgain)
{
    std::string error;
    {
        const ThreadRefusal refusal;
        error = errorOf([this] { deliver(*reader); });
    }
    EXPECT_EQ(error, "frames cannot be delivered: the system has no thread left");
    EXPECT_THAT(story->events(), IsEmpty());

    push(1, 1);
    EXPECT_EQ(stampOf(reader->next()), 1);
    deliver(*reader);
    buffer->end();
    EXPECT_TRUE(story->tells("ended"));
}

TEST_F(FrameReaderTest, WhatACallbackThrowsEndsTheInput)
{
    reader->deliver(
        [told = story](const VideoFrame &frame) {
            told->add(std::to_string(frame.timestamp()));
            if (frame.timestamp() == 2)
                throw std::runtime_error("the disk is full");
        },
        [told = story] { told->add("ended"); });
    push(1, 4);
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "1", "2", "fail: the disk is full", "ended"));
    EXPECT_TRUE(reader->hasEnded());
    push(5, 5);
    threads->waitForAll();
    EXPECT_EQ(story->events().size(), 5U);
}

TEST_F(FrameReaderTest, WhatIsNoExceptionIsCaughtToo)
{
    reader->deliver([](const VideoFrame &) { throw 7; }, [told = story] { told->add("ended"); });
    push(1, 1);
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "fail: something that is no std::exception", "ended"));
}

TEST_F(FrameReaderTest, AnEndThatThrowsFailsLikeACallback)
{
    reader->deliver([](const VideoFrame &) {},
                    [told = story] {
                        told->add("ended");
                        throw std::runtime_error("no end");
                    });
    buffer->end();
    EXPECT_TRUE(story->tells("fail: no end"));
    threads->waitForAll();
    EXPECT_THAT(story->events(), ElementsAre("start", "ended", "fail: no end"));
}

TEST_F(FrameReaderTest, NoCallbackBeginsOnceItIsClosedButTheEndIsTold)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    reader->deliver(
        [told = story, gate](const VideoFrame &frame) {
            told->add(std::to_string(frame.timestamp()));
            gate.wait();
        },
        [told = story] { told->add("ended"); });
    push(1, 4);
    EXPECT_TRUE(story->tells("1"));
    buffer->close();
    open.set_value();
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "1", "ended"));
}

TEST_F(FrameReaderTest, TellsTheEndAlsoWhereItWasThereBefore)
{
    buffer->close();
    deliver(*reader);
    threads->waitForAll();
    EXPECT_THAT(story->events(), UnorderedElementsAre("start", "ended"));
}

TEST_F(FrameReaderTest, MayBeDestroyedByItsEndBeforeDeliverHasReturned)
{
    std::weak_ptr<VideoReader::Source> observed;
    bool isAlive = false;
    VideoReader::Source::Hooks slow;
    slow.start = [&] {
        threads->waitForAll();
        isAlive = !observed.expired();
    };
    auto source = std::make_shared<VideoReader::Source>(buffer, slow, threads);
    observed = source;
    auto *const own = new VideoReader(std::move(source));
    buffer->close();
    own->deliver([](const VideoFrame &) {}, [own] { delete own; });
    EXPECT_TRUE(isAlive);
    EXPECT_TRUE(observed.expired());
}

TEST_F(FrameReaderTest, MayBeDestroyedFromWithinItsCallback)
{
    std::promise<void> isSet;
    const std::shared_future<void> ready = isSet.get_future().share();
    VideoReader &delivered = *reader;
    // Owned by its own callback alone: what it holds goes with it.
    const auto owner = std::make_shared<std::unique_ptr<VideoReader>>(std::move(reader));
    delivered.deliver(
        [owner, ready, told = story](const VideoFrame &frame) {
            ready.wait();
            owner->reset();
            told->add(std::to_string(frame.timestamp()));
        },
        [told = story] { told->add("ended"); });
    push(1, 3);
    isSet.set_value();
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "leave", "1", "ended"));
    EXPECT_TRUE(buffer->hasEnded());
}

TEST_F(FrameReaderTest, ItsCallbackMayWaitForAllOtherDeliveries)
{
    const auto otherBuffer = std::make_shared<PictureBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    VideoReader other(std::make_shared<VideoReader::Source>(otherBuffer, hooks(), threads));
    other.deliver([](const VideoFrame &) {}, [told = story] { told->add("other ended"); });
    // As the destructor of a session does.
    reader->deliver([this, otherBuffer](const VideoFrame &) {
        otherBuffer->close();
        buffer->close();
        threads->waitForAll();
        story->add("waited");
    });
    push(1, 1);
    EXPECT_TRUE(story->tells("waited"));
    EXPECT_THAT(story->events(), ElementsAre("start", "start", "other ended", "waited"));
}

TEST_F(FrameReaderTest, LetsGoOfItsCallbacksOnTheirThread)
{
    std::promise<std::thread::id> destroyed;
    {
        const std::shared_ptr<int> held(new int, [&destroyed](const int *number) {
            delete number;
            destroyed.set_value(std::this_thread::get_id());
        });
        reader->deliver([held](const VideoFrame &) {}, [held] {});
    }
    buffer->end();
    EXPECT_NE(destroyed.get_future().get(), std::this_thread::get_id());
}

TEST_F(FrameReaderTest, ServesManyThreadsEachFrameToOne)
{
    constexpr qint64 count = 600;
    const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    const auto many = std::make_shared<PictureBuffer>(4, Overflow::CloseGate, gate);
    VideoReader shared(std::make_shared<VideoReader::Source>(many, hooks(), threads));
    std::atomic<qint64> sum{0};
    std::atomic<int> taken{0};
    std::vector<std::thread> takers;
    for (int index = 0; index < 3; ++index)
        takers.emplace_back([&] {
            while (const auto frame = shared.next()) {
                sum += frame->timestamp();
                ++taken;
            }
        });
    for (qint64 stamp = 1; stamp <= count; ++stamp)
        many->push(picture(stamp));
    many->end();
    for (std::thread &taker : takers)
        taker.join();
    EXPECT_EQ(taken, count);
    EXPECT_EQ(sum, count * (count + 1) / 2);
    EXPECT_THAT(story->events(), ElementsAre("start"));
}

TEST_F(FrameReaderTest, KeepsWhatACallUsesUntilItReturns)
{
    for (const bool isForever : {true, false}) {
        auto source = std::make_shared<VideoReader::Source>(
            std::make_shared<PictureBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>()), hooks(), threads);
        const std::weak_ptr<VideoReader::Source> shared = source;
        auto lonely = std::make_unique<VideoReader>(std::move(source));
        auto call = std::async(std::launch::async,
                               [raw = lonely.get(), isForever] { return isForever ? raw->next() : raw->next(60s); });
        EXPECT_TRUE(waitUntil([&] { return shared.use_count() == 2; })) << "the reader's and the call's";
        lonely.reset();
        EXPECT_EQ(call.get(), std::nullopt);
        EXPECT_TRUE(shared.expired());
    }
}
