#include <QByteArray>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include "fakes/FakeFormatManager.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/WaitUntil.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "media/StreamKind.h"
#include "modkit/Settings.h"
#include "session/ComponentHost.h"
#include "session/LoadMeter.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

/// By the calling thread.
nanoseconds processorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

/// Gives one block in each period, and none while it is not due.
class PeriodicQueue final : public IInputQueue {
public:
    explicit PeriodicQueue(Clock::duration period)
        : _period(period)
    {
    }

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor * /*cursor*/, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        const Clock::time_point now = Clock::now();
        if (now < _due)
            return false;
        _due = std::max(_due + _period, now);
        *data = QByteArrayLiteral("TESTblock");
        *streamId = streamIdOf(StreamKind::Audio);
        *keyBlock = true;
        *timestamp = ++_number;
        *blockTime = _number;
        *lost = 0;
        *latency = 0;
        return true;
    }

private:
    const Clock::duration _period;
    Clock::time_point _due = Clock::now(); // decoder thread only, as is the next one
    qint64 _number = 0;
};

/// The loaded component, with codec decoders that use a known processor time for each block.
class MeasuredLoad : public testing::Test {
protected:
    static constexpr int threads = 2;
    static constexpr int streams = 8; // each of which uses a tenth of a thread

    void SetUp() override
    {
        auto *const formats = new FakeFormatManager;
        formats->duringAudioDecode = [this](const auto & /*data*/, const auto * /*outputs*/, int /*count*/) {
            const nanoseconds begin = processorTime();
            nanoseconds now = begin;
            while (now - begin < nanoseconds(_timeOfABlock))
                now = processorTime();
            const std::lock_guard<std::mutex> lock(_mutex);
            _used.byCodecs += now - begin;
            _used.byThread[std::this_thread::get_id()] = now;
        };
        _registry.setObject(InterfaceIdentifiers::avFormatManager,
                            ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(formats)));
        auto *const settings = new Settings;
        settings->addMap({{"THREADS", std::to_string(threads)}}, "the test");
        _host = std::make_unique<ComponentHost>(ModkitPtr<ISettings>(settings), _registry);
        const auto error = _host->start(ComponentHost::libraryFile(ComponentOptions()));
        ASSERT_FALSE(error) << *error;
        ASSERT_EQ(_host->threads().size(), static_cast<std::size_t>(threads));
    }

    void TearDown() override { _host.reset(); }

    void expectTheTruthOfBlocksOf(microseconds timeOfABlock)
    {
        _timeOfABlock = nanoseconds(timeOfABlock).count();
        const ModkitPtr<IDecodingManager> manager(_registry.getObject(InterfaceIdentifiers::decodingManager));
        std::vector<ModkitPtr<IDecoder>> decoders;
        for (int stream = 0; stream < streams; ++stream)
            decoders.push_back(manager->createAudioDecoder(
                ModkitPtr<IInputQueue>(new PeriodicQueue(timeOfABlock * 10)),
                ModkitPtr<IAudioOutputQueue>(new FakeAudioOutputQueue("out")), 0, QStringLiteral("busy")));
        EXPECT_TRUE(waitUntil([this] { return used().byThread.size() == threads; }));

        // The truth lies between two readings: others may have the processor between any two lines.
        const Clock::time_point begin = Clock::now();
        const Used before = used();
        LoadMeter meter(_host->threads(), threads, begin);
        const Used afterwards = used();
        std::this_thread::sleep_for(milliseconds(2000));
        const Used until = used();
        const Clock::time_point end = Clock::now();
        const double measured = meter.sample(end);
        const Used after = used();
        const std::chrono::duration<double> capacity = (end - begin) * threads;
        const double byCodecs = (until.byCodecs - afterwards.byCodecs) / capacity;
        const double atLeast = (until.byThreads() - afterwards.byThreads()) / capacity;
        const double atMost = (after.byThreads() - before.byThreads()) / capacity;
        std::printf("blocks of %lld us: %.1f %% of the threads' time used by codecs, %.1f to %.1f %% in all, measured "
                    "as %.1f %%\n",
                    static_cast<long long>(timeOfABlock.count()), byCodecs * 100, atLeast * 100, atMost * 100,
                    measured * 100);
        EXPECT_GT(byCodecs, 0);
        EXPECT_GT(measured, 0.95 * byCodecs);
        EXPECT_GT(measured, 0.9 * atLeast);
        EXPECT_LT(measured, 1.1 * atMost);
    }

private:
    struct Used {
        nanoseconds byCodecs = nanoseconds(0);
        std::map<std::thread::id, nanoseconds> byThread; // by its own clock, since its beginning

        nanoseconds byThreads() const
        {
            return std::accumulate(byThread.begin(), byThread.end(), nanoseconds(0),
                                   [](nanoseconds sum, const auto &thread) { return sum + thread.second; });
        }
    };

    Used used() const
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _used;
    }

    mutable std::mutex _mutex;
    Used _used; // guarded by _mutex
    std::atomic<nanoseconds::rep> _timeOfABlock = 0;
    ObjectRegistry _registry;
    std::unique_ptr<ComponentHost> _host;
};

} // namespace

TEST_F(MeasuredLoad, IsWithinATenthOfTheTruthWithBlocksOf100Microseconds)
{
    expectTheTruthOfBlocksOf(microseconds(100));
}

TEST_F(MeasuredLoad, IsWithinATenthOfTheTruthWithBlocksOfOneMillisecond)
{
    expectTheTruthOfBlocksOf(microseconds(1000));
}

TEST_F(MeasuredLoad, IsWithinATenthOfTheTruthWithBlocksOf10Milliseconds)
{
    expectTheTruthOfBlocksOf(microseconds(10000));
}
