#include "session/LoadMeter.h"

#include <atomic>
#include <cmath>
#include <ctime>
#include <thread>
#include <unistd.h>

#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::DoubleNear;

namespace {

/// A thread that uses processor time when it is told to, by its own clock, and next to none otherwise.
class BusyThread final {
public:
    BusyThread()
    {
        EXPECT_TRUE(waitUntil([this] { return _id != 0; }));
    }
    ~BusyThread() { end(); }
    BusyThread(const BusyThread &) = delete;
    BusyThread &operator=(const BusyThread &) = delete;

    /// The system's.
    int id() const { return _id; }

    void use(std::chrono::nanoseconds time)
    {
        _wanted = time.count();
        EXPECT_TRUE(waitUntil([this] { return _wanted == 0; }));
    }

    void end()
    {
        _isEnding = true;
        if (_thread.joinable())
            _thread.join();
    }

private:
    static std::chrono::nanoseconds used()
    {
        timespec time = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }

    void run()
    {
        _id = static_cast<int>(gettid());
        while (!_isEnding) {
            const auto end = used() + std::chrono::nanoseconds(_wanted);
            while (used() < end) {
            }
            _wanted = 0;
            // So that little is used in the search for orders.
            do
                std::this_thread::sleep_for(5ms);
            while (_wanted == 0 && !_isEnding);
        }
    }

    std::atomic<int> _id = 0;
    std::atomic<std::chrono::nanoseconds::rep> _wanted = 0;
    std::atomic<bool> _isEnding = false;
    std::thread _thread{[this] { run(); }}; // last: it uses all the others
};

constexpr LoadMeter::Instant beginning(1h);
constexpr double nearly = 0.005; // what the search for orders takes, and more

} // namespace

TEST(LoadMeter, TellsTheShareOfTheCoresThatTheThreadsHaveUsed)
{
    BusyThread first;
    BusyThread second;
    BusyThread other;
    first.use(30ms); // before its beginning
    LoadMeter meter({first.id(), second.id()}, 2, beginning);
    first.use(40ms);
    second.use(200ms);
    other.use(20ms);
    EXPECT_THAT(meter.sample(beginning + 1s), DoubleNear(0.12, nearly));
    EXPECT_THAT(meter.sample(beginning + 2s), DoubleNear(0, nearly));
    second.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 3s), DoubleNear(0.05, nearly));
}

TEST(LoadMeter, IsRightWhereASampleComesLate)
{
    BusyThread thread;
    LoadMeter meter({thread.id()}, 1, beginning);
    thread.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 4s), DoubleNear(0.025, nearly));
    thread.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 4s + 250ms), DoubleNear(0.4, 4 * nearly));
}

TEST(LoadMeter, HasNoFigureOfNoTime)
{
    BusyThread thread;
    LoadMeter meter({thread.id()}, 1, beginning);
    thread.use(1ms);
    EXPECT_TRUE(std::isnan(meter.sample(beginning)));
}

TEST(LoadMeter, CountsAThreadThatHasEndedForNothing)
{
    BusyThread lasting;
    BusyThread ending;
    ending.use(100ms);
    LoadMeter meter({ending.id(), lasting.id()}, 1, beginning);
    ending.end();
    lasting.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 1s), DoubleNear(0.1, nearly));
}
