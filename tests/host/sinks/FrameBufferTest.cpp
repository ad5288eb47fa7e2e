#include "sinks/FrameBuffer.h"

#include <atomic>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <set>
#include <thread>
#include <vector>

#include "fakes/WaitUntil.h"
#include "host/sinks/Records.h"
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

using Records::picture;
using testing::ElementsAre;
using testing::IsEmpty;

qint64 stampOf(const std::optional<VideoFrameHandle> &frame)
{
    return frame ? PictureHeader::of(**frame)->pts : -1;
}

std::vector<qint64> takeAll(PictureBuffer &buffer)
{
    std::vector<qint64> stamps;
    while (const auto frame = buffer.tryTake())
        stamps.push_back(stampOf(frame));
    return stamps;
}

bool isReadable(int descriptor)
{
    pollfd waiting = {descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 1 && waiting.revents == POLLIN;
}

class FrameBufferTest : public testing::Test {
protected:
    void push(qint64 first, qint64 last, PictureBuffer &buffer)
    {
        for (qint64 stamp = first; stamp <= last; ++stamp)
            buffer.push(picture(stamp));
    }

    const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    PictureBuffer waits{3, Overflow::CloseGate, gate};
    PictureBuffer drops{3, Overflow::DropOldest, nullptr};
};

/// A take on a thread of its own, which is expected to wait.
std::future<qint64> takenLater(PictureBuffer &buffer)
{
    return std::async(std::launch::async, [&buffer] { return stampOf(buffer.take()); });
}

bool isWaiting(const std::future<qint64> &taken)
{
    return taken.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout;
}

} // namespace

TEST_F(FrameBufferTest, GivesFramesOutInTheirOrderAndEachOnce)
{
    push(1, 2, waits);
    EXPECT_EQ(stampOf(waits.take()), 1);
    push(3, 3, waits);
    EXPECT_EQ(stampOf(waits.tryTake()), 2);
    EXPECT_EQ(stampOf(waits.take(PictureBuffer::Instant::max())), 3);
    EXPECT_FALSE(waits.tryTake());
    EXPECT_EQ(waits.frames(), 3);
    EXPECT_EQ(waits.dropped(), 0);
}

TEST_F(FrameBufferTest, TellsTheGateHowManyFramesItHasRoomFor)
{
    EXPECT_EQ(gate->room(), 3);
    push(1, 1, waits);
    EXPECT_EQ(gate->room(), 2);
    push(2, 5, waits);
    EXPECT_EQ(gate->room(), 0);
    waits.take();
    waits.take();
    EXPECT_EQ(gate->room(), 0);
    waits.take();
    EXPECT_EQ(gate->room(), 1);
    waits.close();
    EXPECT_EQ(gate->room(), 3) << "it takes none, and holds up none";
    push(1, 9, drops);
    EXPECT_EQ(gate->room(), 3);
}

TEST_F(FrameBufferTest, SharesFramesAndLetsGoOfThem)
{
    const VideoFrameHandle frame = picture(1);
    waits.push(frame);
    EXPECT_EQ(frame->refCount, 2);
    EXPECT_EQ(waits.take()->data(), frame.data());
    EXPECT_EQ(frame->refCount, 1);

    drops.push(frame);
    push(2, 4, drops);
    EXPECT_EQ(frame->refCount, 1);

    waits.push(frame);
    waits.close();
    EXPECT_EQ(frame->refCount, 1);
}

TEST_F(FrameBufferTest, ClosesTheGateWhileItIsFull)
{
    push(1, 2, waits);
    EXPECT_TRUE(gate->isOpen());
    push(3, 3, waits);
    EXPECT_FALSE(gate->isOpen());
    EXPECT_EQ(stampOf(waits.take()), 1);
    EXPECT_TRUE(gate->isOpen());
    EXPECT_EQ(stampOf(waits.take()), 2);
    EXPECT_TRUE(gate->isOpen());
}

TEST_F(FrameBufferTest, TakesMoreThanItsCapacityFromABlockOfManyFramesAndHoldsTheGateUntilThereIsRoom)
{
    push(1, 5, waits);
    EXPECT_EQ(waits.dropped(), 0);
    for (const qint64 stamp : {1, 2}) {
        EXPECT_FALSE(gate->isOpen());
        EXPECT_EQ(stampOf(waits.take()), stamp);
    }
    EXPECT_FALSE(gate->isOpen());
    EXPECT_EQ(stampOf(waits.tryTake()), 3);
    EXPECT_TRUE(gate->isOpen());
    EXPECT_THAT(takeAll(waits), ElementsAre(4, 5));
}

TEST_F(FrameBufferTest, HoldsTheGateForItselfOnly)
{
    {
        PictureBuffer other(1, Overflow::CloseGate, gate);
        other.push(picture(1));
        push(1, 3, waits);
        waits.close();
        EXPECT_FALSE(gate->isOpen());
    }
    EXPECT_TRUE(gate->isOpen()) << "a buffer that is gone holds it";
}

TEST_F(FrameBufferTest, DropsTheOldestFrameForANewOneAndCountsIt)
{
    push(1, 5, drops);
    EXPECT_EQ(drops.frames(), 5);
    EXPECT_EQ(drops.dropped(), 2);
    EXPECT_THAT(takeAll(drops), ElementsAre(3, 4, 5));
    push(6, 6, drops);
    EXPECT_EQ(drops.dropped(), 2);
}

TEST_F(FrameBufferTest, DroppingLeavesTheGateAlone)
{
    PictureBuffer buffer(1, Overflow::DropOldest, gate);
    push(1, 3, buffer);
    EXPECT_TRUE(gate->isOpen());
    buffer.close();
    EXPECT_TRUE(gate->isOpen());
}

TEST_F(FrameBufferTest, TakeWaitsForAFrame)
{
    std::future<qint64> taken = takenLater(waits);
    EXPECT_TRUE(isWaiting(taken));
    waits.push(picture(7));
    EXPECT_EQ(taken.get(), 7);
}

TEST_F(FrameBufferTest, TakeWaitsNoLongerThanItsDeadline)
{
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(waits.take(before + std::chrono::milliseconds(20)));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
    EXPECT_FALSE(waits.hasEnded());
    EXPECT_FALSE(waits.take(before));
}

TEST_F(FrameBufferTest, WhatIsThereAtTheEndCanStillBeRead)
{
    push(1, 3, waits);
    waits.end();
    waits.push(picture(4));
    EXPECT_FALSE(waits.hasEnded());
    EXPECT_EQ(stampOf(waits.take()), 1);
    EXPECT_TRUE(gate->isOpen());
    EXPECT_THAT(takeAll(waits), ElementsAre(2, 3));
    EXPECT_TRUE(waits.hasEnded());
    EXPECT_FALSE(waits.take());
    EXPECT_EQ(waits.frames(), 3);
}

TEST_F(FrameBufferTest, TheEndWakesAllThatWait)
{
    for (const bool closes : {false, true}) {
        PictureBuffer buffer(3, Overflow::CloseGate, gate);
        std::future<qint64> one = takenLater(buffer);
        std::future<qint64> other = takenLater(buffer);
        EXPECT_TRUE(isWaiting(one));
        EXPECT_TRUE(isWaiting(other));
        if (closes)
            buffer.close();
        else
            buffer.end();
        EXPECT_EQ(one.get(), -1);
        EXPECT_EQ(other.get(), -1);
    }
}

TEST_F(FrameBufferTest, ClosingDropsWhatIsThereOpensTheGateAndTakesNoMore)
{
    push(1, 4, waits);
    EXPECT_FALSE(gate->isOpen());
    waits.close();
    EXPECT_TRUE(gate->isOpen());
    EXPECT_TRUE(waits.hasEnded());
    push(5, 9, waits);
    EXPECT_TRUE(gate->isOpen());
    EXPECT_THAT(takeAll(waits), IsEmpty());
    EXPECT_EQ(waits.frames(), 4);
    EXPECT_EQ(waits.dropped(), 0);
    waits.close();
    EXPECT_TRUE(gate->isOpen());
}

TEST_F(FrameBufferTest, ItsDescriptorIsReadableWhileTakeWouldNotWait)
{
    push(1, 2, waits);
    const int descriptor = std::get<int>(waits.descriptor());
    EXPECT_EQ(std::get<int>(waits.descriptor()), descriptor);
    EXPECT_EQ(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_TRUE(isReadable(descriptor));
    waits.take();
    EXPECT_TRUE(isReadable(descriptor));
    waits.tryTake();
    EXPECT_FALSE(isReadable(descriptor));
    push(3, 3, waits);
    EXPECT_TRUE(isReadable(descriptor));
    waits.tryTake();
    EXPECT_FALSE(isReadable(descriptor));
    waits.end();
    EXPECT_TRUE(isReadable(descriptor));
    waits.take();
    waits.close();
    EXPECT_TRUE(isReadable(descriptor));
}

TEST_F(FrameBufferTest, ADescriptorThatIsAskedForLateShowsTheEnd)
{
    drops.close();
    EXPECT_TRUE(isReadable(std::get<int>(drops.descriptor())));
    EXPECT_FALSE(isReadable(std::get<int>(waits.descriptor())));
    waits.close();
    EXPECT_TRUE(isReadable(std::get<int>(waits.descriptor())));
}

TEST_F(FrameBufferTest, CallsWhenItBecomesReadableAndNotBefore)
{
    int calls = 0;
    waits.callWhenReadable([&] {
        ++calls;
        EXPECT_TRUE(waits.isReadable()) << "which takes the lock";
    });
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(waits.isReadable());
    push(1, 2, waits);
    EXPECT_EQ(calls, 1);
    waits.take();
    waits.take();
    EXPECT_FALSE(waits.isReadable());
    EXPECT_EQ(calls, 1);
    push(3, 3, waits);
    EXPECT_EQ(calls, 2);
    waits.end();
    waits.take();
    waits.close();
    EXPECT_TRUE(waits.isReadable());
    EXPECT_EQ(calls, 2) << "it was readable all the time";
}

TEST_F(FrameBufferTest, CallsForAnEndAndForWhatIsThereAlready)
{
    int calls = 0;
    waits.callWhenReadable([&] { ++calls; });
    waits.end();
    EXPECT_EQ(calls, 1);
    drops.callWhenReadable([&] { ++calls; });
    drops.close();
    EXPECT_EQ(calls, 2);
    PictureBuffer late(3, Overflow::DropOldest, nullptr);
    push(1, 1, late);
    late.callWhenReadable([&] { ++calls; });
    EXPECT_EQ(calls, 3);
}

TEST_F(FrameBufferTest, ItsDescriptorGoesWithIt)
{
    int descriptor = -1;
    {
        PictureBuffer buffer(1, Overflow::DropOldest, nullptr);
        descriptor = std::get<int>(buffer.descriptor());
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST_F(FrameBufferTest, SaysThatTheSystemHasNoDescriptorLeftAndWorksWithoutOne)
{
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto refused = waits.descriptor();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(std::holds_alternative<std::string>(refused));
    EXPECT_EQ(std::get<std::string>(refused), "no descriptor to wait for: Too many open files");
    push(1, 1, waits);
    EXPECT_TRUE(isReadable(std::get<int>(waits.descriptor())));
    EXPECT_EQ(stampOf(waits.take()), 1);
}

TEST_F(FrameBufferTest, HoldsSamplesToo)
{
    SamplesBuffer buffer(1, Overflow::CloseGate, gate);
    buffer.push(Records::samples({1, 2}, 8000, 1, 5));
    EXPECT_FALSE(gate->isOpen());
    EXPECT_EQ(SamplesHeader::of(**buffer.take())->pts, 5);
    EXPECT_TRUE(gate->isOpen());
}

TEST_F(FrameBufferTest, ReachesManyReadersFromManyThreadsWithoutLossOrRepetition)
{
    constexpr int writers = 3;
    constexpr qint64 each = 400;
    PictureBuffer buffer(4, Overflow::CloseGate, gate);
    std::mutex mutex;
    std::multiset<qint64> taken; // guarded by mutex
    std::vector<std::thread> readers;
    std::atomic<int> endings{0};
    for (int reader = 0; reader < 3; ++reader)
        readers.emplace_back([&, reader] {
            // One waits for the descriptor, as an event loop does; another one reads it to its end.
            const int descriptor = reader == 0 ? std::get<int>(buffer.descriptor()) : -1;
            while (!buffer.hasEnded()) {
                pollfd waiting = {descriptor, POLLIN, 0};
                if (descriptor >= 0)
                    ::poll(&waiting, 1, 30'000);
                const auto frame = descriptor >= 0 ? buffer.tryTake() : buffer.take();
                const std::lock_guard<std::mutex> lock(mutex);
                if (frame)
                    taken.insert(stampOf(frame));
            }
            ++endings;
        });
    std::vector<std::thread> pushers;
    for (int writer = 0; writer < writers; ++writer)
        pushers.emplace_back([&, writer] { push(writer * each, (writer + 1) * each - 1, buffer); });
    for (std::thread &pusher : pushers)
        pusher.join();
    buffer.end();
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(endings, 3);
    EXPECT_EQ(taken.size(), std::size_t(writers * each));
    EXPECT_EQ(std::set<qint64>(taken.begin(), taken.end()).size(), std::size_t(writers * each));
    EXPECT_TRUE(gate->isOpen());
}
