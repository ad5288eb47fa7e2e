#include <atomic>
#include <exception>
#include <future>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/session/ErrorOf.h"
#include "host/session/FrameReaderFixture.h"
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;
using decoding::AudioReader;
using testing::ElementsAre;
using testing::IsEmpty;

class FrameReaderTest : public FrameReaderFixture {};

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
