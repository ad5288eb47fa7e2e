#include "sinks/SinkWorkers.h"

#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "threads/HostThread.h"

namespace {

using Clock = std::chrono::steady_clock;

// A step that takes longer while others wait loses its place. Most take less than a millisecond.
constexpr std::chrono::milliseconds longStep(50);
constexpr std::chrono::milliseconds endInterval(10);

} // namespace

class SinkWorkers::Pool final : public std::enable_shared_from_this<Pool> {
public:
    explicit Pool(std::size_t places)
        : _places(places)
    {
    }
    Pool(const Pool &) = delete;
    Pool &operator=(const Pool &) = delete;

    /// @throws std::system_error without a thread.
    void begin()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        startThreadLocked();
    }

    bool schedule(std::shared_ptr<Work> work)
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            if (_ending)
                return false;
            _ready.push_back(std::move(work));
            // While all places are taken, one thread that looks after them is enough.
            if (_taken >= _places && _isWatched)
                return true;
        }
        _wakeUp.notify_one();
        return true;
    }

    void end();

    /// Of the calling thread, if it is a worker.
    static void leavePlace();
    static void takePlace();

private:
    struct Worker {
        std::thread thread;
        std::shared_ptr<Work> work; // its step is being done
        Clock::time_point since;    // when that began
        bool hasPlace = false;
        bool hasEnded = false;
    };
    struct Own {
        Pool *pool = nullptr;
        Worker *worker = nullptr;
    };

    void startThreadLocked();
    void run(Worker &worker);
    void doStep(Worker &worker, std::unique_lock<std::mutex> &lock);
    void wait(std::unique_lock<std::mutex> &lock);
    void leavePlaceLocked(Worker &worker);
    std::vector<std::shared_ptr<Work>> worksInProgressLocked() const;

    static thread_local Own _own;

    const std::size_t _places;

    std::mutex _mutex; // guards all that follows
    std::condition_variable _wakeUp;
    std::condition_variable _threadEnded;
    std::deque<std::shared_ptr<Work>> _ready;
    std::list<Worker> _workers; // stay where they are, for their threads
    std::size_t _taken = 0;     // places; more for a moment when those who waited go on
    std::size_t _idle = 0;      // threads, with those that have just been started
    bool _isWatched = false;    // an idle thread looks after those with places
    bool _ending = false;
};

thread_local SinkWorkers::Pool::Own SinkWorkers::Pool::_own;

void SinkWorkers::Pool::startThreadLocked()
{
    Worker &worker = _workers.emplace_back();
    try {
        // The thread keeps the pool alive, should it be left behind. Without signals, a pipe without a reader is an
        // error of its output, not the end of the program.
        worker.thread = HostThread::start("Writer", [pool = shared_from_this(), &worker] { pool->run(worker); });
    } catch (const std::system_error &) {
        _workers.pop_back();
        throw;
    }
    ++_idle;
}

void SinkWorkers::Pool::run(Worker &worker)
{
    _own = {this, &worker};
    std::unique_lock<std::mutex> lock(_mutex);
    --_idle;
    for (;;) {
        if (!_ready.empty() && _taken < _places)
            doStep(worker, lock);
        else if (_ending && _ready.empty())
            break;
        else
            wait(lock);
    }
    worker.hasEnded = true;
    _threadEnded.notify_all();
}

void SinkWorkers::Pool::doStep(Worker &worker, std::unique_lock<std::mutex> &lock)
{
    worker.work = std::move(_ready.front());
    _ready.pop_front();
    worker.since = Clock::now();
    worker.hasPlace = true;
    ++_taken;
    // There is always one to take over a place.
    if (_idle == 0) {
        try {
            startThreadLocked();
        } catch (const std::system_error &) { // NOLINT(bugprone-empty-catch): those that are there do it all, then
        }
    }
    Work &work = *worker.work;
    lock.unlock();
    const bool hasMore = work.step();
    lock.lock();
    leavePlaceLocked(worker);
    std::shared_ptr<Work> done = std::move(worker.work);
    if (hasMore) {
        _ready.push_back(std::move(done));
    } else {
        // Its end may take a while.
        lock.unlock();
        done.reset();
        lock.lock();
    }
}

/// Waits for work, or for a place while there is work; the one that waits for a place takes those away that are not
/// given back.
void SinkWorkers::Pool::wait(std::unique_lock<std::mutex> &lock)
{
    ++_idle;
    if (_ready.empty() || _isWatched) {
        _wakeUp.wait(lock);
    } else {
        _isWatched = true;
        _wakeUp.wait_for(lock, longStep);
        _isWatched = false;
        const Clock::time_point now = Clock::now();
        for (Worker &worker : _workers) {
            if (worker.hasPlace && now - worker.since >= longStep)
                leavePlaceLocked(worker);
        }
    }
    --_idle;
}

void SinkWorkers::Pool::leavePlaceLocked(Worker &worker)
{
    if (std::exchange(worker.hasPlace, false))
        --_taken;
}

void SinkWorkers::Pool::leavePlace()
{
    if (!_own.pool)
        return;
    const std::lock_guard<std::mutex> lock(_own.pool->_mutex);
    _own.pool->leavePlaceLocked(*_own.worker);
    if (!_own.pool->_ready.empty())
        _own.pool->_wakeUp.notify_one();
}

void SinkWorkers::Pool::takePlace()
{
    if (!_own.pool)
        return;
    const std::lock_guard<std::mutex> lock(_own.pool->_mutex);
    _own.worker->since = Clock::now();
    if (!std::exchange(_own.worker->hasPlace, true))
        ++_own.pool->_taken;
}

std::vector<std::shared_ptr<SinkWorkers::Work>> SinkWorkers::Pool::worksInProgressLocked() const
{
    std::vector<std::shared_ptr<Work>> works;
    for (const Worker &worker : _workers) {
        if (!worker.hasEnded)
            works.push_back(worker.work);
    }
    return works;
}

void SinkWorkers::Pool::end()
{
    std::unique_lock<std::mutex> lock(_mutex);
    _ending = true;
    for (;;) {
        _wakeUp.notify_all();
        const std::vector<std::shared_ptr<Work>> works = worksInProgressLocked();
        lock.unlock();
        bool isOver = true;
        for (const std::shared_ptr<Work> &work : works)
            isOver = isOver && work && work->isLeftBehind(Clock::now());
        lock.lock();
        if (isOver)
            break;
        _threadEnded.wait_for(lock, endInterval);
    }
    std::vector<std::thread> ended;
    for (Worker &worker : _workers) {
        if (worker.hasEnded)
            ended.push_back(std::move(worker.thread));
        else
            worker.thread.detach();
    }
    lock.unlock();
    for (std::thread &thread : ended)
        thread.join();
}

SinkWorkers::Waiting::Waiting()
{
    Pool::leavePlace();
}

SinkWorkers::Waiting::~Waiting()
{
    Pool::takePlace();
}

SinkWorkers::SinkWorkers(std::size_t places)
    : _pool(std::make_shared<Pool>(places))
{
    _pool->begin();
}

SinkWorkers::~SinkWorkers()
{
    _pool->end();
}

bool SinkWorkers::schedule(Pool &pool, std::shared_ptr<Work> work)
{
    return pool.schedule(std::move(work));
}
