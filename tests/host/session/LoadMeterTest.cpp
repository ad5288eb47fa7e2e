#include "session/LoadMeter.h"

#include <atomic>
#include <cmath>
#include <ctime>
#include <pthread.h>
#include <thread>
#include <unistd.h>

#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::DoubleNear;

namespace {

/// A thread that uses processor time when it is told to, and next to none otherwise.
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

    /// @return what it has used by the system's account: where a machine is shared, that may be more than it was told.
    std::chrono::duration<double> total()
    {
        clockid_t clock = 0;
        EXPECT_EQ(pthread_getcpuclockid(_thread.native_handle(), &clock), 0);
        return timeOf(clock);
    }

    void end()
    {
        _isEnding = true;
        if (_thread.joinable())
            _thread.join();
    }

private:
    static std::chrono::nanoseconds timeOf(clockid_t clock)
    {
        timespec time = {};
        clock_gettime(clock, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
    static std::chrono::nanoseconds used() { return timeOf(CLOCK_THREAD_CPUTIME_ID); }

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
constexpr double nearly = 0.005; // what the search for orders takes between two readings, and more

} // namespace

TEST(LoadMeter, TellsTheShareOfTheCoresThatTheThreadsHaveUsed)
{
    BusyThread first;
    BusyThread second;
    BusyThread other;
    const auto total = [&] { return first.total() + second.total(); };
    first.use(30ms); // before its beginning
    const auto before = total();
    LoadMeter meter({first.id(), second.id()}, 2, beginning);
    first.use(40ms);
    second.use(200ms);
    other.use(20ms);
    const auto atFirst = total();
    EXPECT_GT((atFirst - before).count(), 0.24);
    EXPECT_THAT(meter.sample(beginning + 1s), DoubleNear((atFirst - before).count() / 2, nearly));
    EXPECT_THAT(meter.sample(beginning + 2s), DoubleNear(0, nearly));
    const auto atSecond = total();
    second.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 3s), DoubleNear((total() - atSecond).count() / 2, nearly));
}

TEST(LoadMeter, IsRightWhereASampleComesLate)
{
    BusyThread thread;
    const auto before = thread.total();
    LoadMeter meter({thread.id()}, 1, beginning);
    thread.use(100ms);
    const auto atFirst = thread.total();
    EXPECT_THAT(meter.sample(beginning + 4s), DoubleNear((atFirst - before).count() / 4, nearly));
    thread.use(100ms);
    const auto atSecond = thread.total();
    EXPECT_GT((atSecond - atFirst).count(), 0.1);
    EXPECT_THAT(meter.sample(beginning + 4s + 250ms), DoubleNear((atSecond - atFirst).count() * 4, 4 * nearly));
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
    const auto before = lasting.total();
    LoadMeter meter({ending.id(), lasting.id()}, 1, beginning);
    ending.end();
    lasting.use(100ms);
    EXPECT_THAT(meter.sample(beginning + 1s), DoubleNear((lasting.total() - before).count(), nearly));
}
