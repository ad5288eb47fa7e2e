#include "sinks/SinkWorkers.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

namespace {

/// Steps that the test chooses.
class Steps final : public SinkWorkers::Work {
public:
    explicit Steps(std::function<bool()> each)
        : _each(std::move(each))
    {
    }

    bool step() override { return _each(); }
    bool isLeftBehind(std::chrono::steady_clock::time_point /*now*/) override { return leftBehind; }

    std::atomic<bool> leftBehind{false};

private:
    const std::function<bool()> _each;
};

bool begin(const SinkWorkers &workers, const std::shared_ptr<Steps> &work)
{
    return SinkWorkers::schedule(*workers.pool(), work);
}

/// Work that waits in its only step until it is let go.
struct Stuck {
    explicit Stuck(std::function<void()> beforehand = [] {})
        : work(std::make_shared<Steps>([this, gate = _gate.get_future().share(), beforehand] {
            beforehand();
            isIn = true;
            gate.wait();
            return false;
        }))
    {
    }
    void letGo() { _gate.set_value(); }

    std::atomic<bool> isIn{false};

private:
    std::promise<void> _gate;

public:
    const std::shared_ptr<Steps> work;
};

std::shared_ptr<Steps> once(std::atomic<int> &count)
{
    return std::make_shared<Steps>([&count] {
        ++count;
        return false;
    });
}

} // namespace

TEST(SinkWorkers, DoAllStepsOfAWorkOneAfterTheOtherOnOtherThreads)
{
    std::atomic<bool> isIn{false};
    int steps = 0;
    {
        const SinkWorkers workers(4);
        const auto caller = std::this_thread::get_id();
        EXPECT_TRUE(begin(workers, std::make_shared<Steps>([&, caller] {
                              EXPECT_FALSE(isIn.exchange(true));
                              EXPECT_NE(std::this_thread::get_id(), caller);
                              isIn = false;
                              return ++steps < 1000;
                          })));
    }
    EXPECT_EQ(steps, 1000);
}

TEST(SinkWorkers, DoNoMoreAtATimeThanThereArePlaces)
{
    std::atomic<int> atWork{0};
    std::atomic<int> most{0};
    {
        const SinkWorkers workers(2);
        for (int number = 0; number < 20; ++number)
            EXPECT_TRUE(begin(workers, std::make_shared<Steps>([&] {
                                  const int now = ++atWork;
                                  int before = most;
                                  while (before < now && !most.compare_exchange_weak(before, now)) {
                                  }
                                  std::this_thread::yield();
                                  --atWork;
                                  return false;
                              })));
    }
    EXPECT_LE(most, 2);
}

TEST(SinkWorkers, DoOtherWorkBesideStepsThatDoNotEnd)
{
    Stuck stuck[3];
    std::atomic<int> done{0};
    const SinkWorkers workers(1);
    for (const Stuck &each : stuck)
        EXPECT_TRUE(begin(workers, each.work));
    EXPECT_TRUE(begin(workers, once(done)));
    EXPECT_TRUE(waitUntil([&] { return done == 1; }));
    for (Stuck &each : stuck) {
        EXPECT_TRUE(each.isIn);
        each.letGo();
    }
}

TEST(SinkWorkers, GiveThePlaceOfOneThatSaysItWaitsToAnotherAtOnce)
{
    std::atomic<int> done{0};
    const SinkWorkers workers(1);
    const auto before = std::chrono::steady_clock::now();
    for (int number = 1; number <= 100; ++number) {
        std::promise<void> gate;
        EXPECT_TRUE(begin(workers, std::make_shared<Steps>([opened = gate.get_future().share()] {
                              const SinkWorkers::Waiting waiting;
                              opened.wait();
                              return false;
                          })));
        EXPECT_TRUE(begin(workers, once(done)));
        EXPECT_TRUE(waitUntil([&] { return done == number; }));
        gate.set_value();
    }
    // One that keeps its place loses it after 50 ms.
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4));
}

TEST(SinkWorkers, DoWhatWaitsBeforeTheyEndAndTakeNothingAfterwards)
{
    std::atomic<int> done{0};
    std::shared_ptr<SinkWorkers::Pool> pool;
    {
        const SinkWorkers workers(1);
        pool = workers.pool();
        for (int number = 0; number < 100; ++number)
            EXPECT_TRUE(begin(workers, once(done)));
    }
    EXPECT_EQ(done, 100);
    EXPECT_FALSE(SinkWorkers::schedule(*pool, once(done)));
}

TEST(SinkWorkers, LeaveBehindWhatNobodyWaitsFor)
{
    Stuck stuck;
    std::atomic<int> done{0};
    std::weak_ptr<SinkWorkers::Pool> pool;
    {
        const SinkWorkers workers(1);
        pool = workers.pool();
        EXPECT_TRUE(begin(workers, stuck.work));
        EXPECT_TRUE(waitUntil([&] { return stuck.isIn.load(); }));
        EXPECT_TRUE(begin(workers, once(done)));
        stuck.work->leftBehind = true;
    }
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(pool.expired());
    stuck.letGo();
    EXPECT_TRUE(waitUntil([&] { return pool.expired(); }));
}
