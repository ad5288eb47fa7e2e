#include <algorithm>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/session/ErrorOf.h"
#include "host/session/FrameReaderFixture.h"
#include "host/session/ThreadRefusal.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// A reader whose frames go to a callback.
class FrameDeliveryTest : public FrameReaderFixture {};

} // namespace

TEST_F(FrameDeliveryTest, DeliversEveryFrameAndThenTheEndOnAnotherThread)
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

TEST_F(FrameDeliveryTest, ACallbackDelaysNobodyElse)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    reader->deliver([into = story, gate](const VideoFrame &frame) {
        into->add(std::to_string(frame.timestamp()));
        gate.wait();
    });
    push(1, 1);
    EXPECT_TRUE(story->tells("1"));
    push(2, 6); // returns, and the oldest of them goes
    EXPECT_EQ(reader->dropped(), 1);
    open.set_value();
    EXPECT_TRUE(story->tells("6"));
}

TEST_F(FrameDeliveryTest, DeliversOnceAndInsteadOfBeingAsked)
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

TEST_F(FrameDeliveryTest, RefusesToDeliverToNobody)
{
    EXPECT_EQ(errorOf([this] { reader->deliver({}); }), "frames cannot be delivered without a callback");
    EXPECT_THAT(story->events(), IsEmpty());
    deliver(*reader);
}

TEST_F(FrameDeliveryTest, SaysThatTheSystemHasNoThreadLeftAndCanBeAskedAgain)
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

TEST_F(FrameDeliveryTest, WhatACallbackThrowsEndsTheInput)
{
    reader->deliver(
        [into = story](const VideoFrame &frame) {
            into->add(std::to_string(frame.timestamp()));
            if (frame.timestamp() == 2)
                throw std::runtime_error("the disk is full");
        },
        [into = story] { into->add("ended"); });
    push(1, 4);
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "1", "2", "fail: the disk is full", "ended"));
    EXPECT_TRUE(reader->hasEnded());
    push(5, 5);
    threads->waitForAll();
    EXPECT_EQ(story->events().size(), 5U);
}

TEST_F(FrameDeliveryTest, WhatIsNoExceptionIsCaughtToo)
{
    reader->deliver([](const VideoFrame &) { throw 7; }, [into = story] { into->add("ended"); });
    push(1, 1);
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "fail: something that is no std::exception", "ended"));
}

TEST_F(FrameDeliveryTest, AnEndThatThrowsFailsLikeACallback)
{
    reader->deliver([](const VideoFrame &) {},
                    [into = story] {
                        into->add("ended");
                        throw std::runtime_error("no end");
                    });
    buffer->end();
    EXPECT_TRUE(story->tells("fail: no end"));
    threads->waitForAll();
    EXPECT_THAT(story->events(), ElementsAre("start", "ended", "fail: no end"));
}

TEST_F(FrameDeliveryTest, NoCallbackBeginsOnceItIsClosedButThatOfTheEnd)
{
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    reader->deliver(
        [into = story, gate](const VideoFrame &frame) {
            into->add(std::to_string(frame.timestamp()));
            gate.wait();
        },
        [into = story] { into->add("ended"); });
    push(1, 4);
    EXPECT_TRUE(story->tells("1"));
    buffer->close();
    open.set_value();
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "1", "ended"));
}

TEST_F(FrameDeliveryTest, TellsTheEndAlsoWhereItWasThereBefore)
{
    buffer->close();
    deliver(*reader);
    threads->waitForAll();
    EXPECT_THAT(story->events(), UnorderedElementsAre("start", "ended"));
}

TEST_F(FrameDeliveryTest, MayBeDestroyedByItsEndBeforeDeliverHasReturned)
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

TEST_F(FrameDeliveryTest, MayBeDestroyedFromWithinItsCallback)
{
    std::promise<void> isSet;
    const std::shared_future<void> ready = isSet.get_future().share();
    VideoReader &delivered = *reader;
    // Owned by its own callback alone: what it holds goes with it.
    const auto owner = std::make_shared<std::unique_ptr<VideoReader>>(std::move(reader));
    delivered.deliver(
        [owner, ready, into = story](const VideoFrame &frame) {
            ready.wait();
            owner->reset();
            into->add(std::to_string(frame.timestamp()));
        },
        [into = story] { into->add("ended"); });
    push(1, 3);
    isSet.set_value();
    EXPECT_TRUE(story->tells("ended"));
    EXPECT_THAT(story->events(), ElementsAre("start", "leave", "1", "ended"));
    EXPECT_TRUE(buffer->hasEnded());
}

TEST_F(FrameDeliveryTest, ItsCallbackMayWaitForAllOtherDeliveries)
{
    const auto otherBuffer = std::make_shared<PictureBuffer>(4, Overflow::DropOldest, std::shared_ptr<Gate>());
    VideoReader other(std::make_shared<VideoReader::Source>(otherBuffer, hooks(), threads));
    other.deliver([](const VideoFrame &) {}, [into = story] { into->add("other ended"); });
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

TEST_F(FrameDeliveryTest, LetsGoOfItsCallbacksOnTheirThread)
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
