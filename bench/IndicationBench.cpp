#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "NullServices.h"
#include "indications/IndicationManager.h"

/// Measures what the indications of 1,000 streams cost: as processor time of a process that sets them as decoders do,
/// from two threads, in turns with the same process where the indications do next to nothing. Or does one thing so many
/// times, for a tool outside to count instructions.
namespace {

using std::chrono::steady_clock;

constexpr int streamCount = 1000;
constexpr int threadCount = 2;
constexpr int blocksPerSecond = 25;
constexpr int blocksPerKeyBlock = 50;
constexpr int turnCount = 7;
constexpr std::chrono::seconds turnLength(2);
constexpr std::chrono::milliseconds cycleLength(1);
constexpr int cyclesPerBlock = 1000 / blocksPerSecond;

enum { Good = 0, Black = 3 };

const ModkitPtr<ISimpleIndicationObjectCallback> noCallback;

/// What decoders end their blinks with.
class Blacken final : public ISimpleIndicationObjectCallback {
public:
    void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> &indication) override
    {
        indication->setValue(Black, -1, noCallback);
    }
};

void show(const ModkitPtr<IIndicationObject> &indication, int value)
{
    indication->setValue(value, -1, noCallback);
}

void blink(const ModkitPtr<IIndicationObject> &indication)
{
    indication->setValue(Good, 500, ModkitPtr<ISimpleIndicationObjectCallback>(new Blacken));
}

/// The indications of one decoder, and what its cycle does to them. Not inline: the tool outside finds them by name.
class Stream {
public:
    Stream(IIndicationManager &manager, const QString &name)
    {
        const auto create = [&](const char *indication) {
            return manager.createIndication(nullptr, QString::fromLatin1(indication), name, Black);
        };
        _mode = create("DecoderMode");
        _lost = create("DecoderLost");
        _cycle = create("DecoderCycle");
        _maxLatency = create("DecoderMaxLatency");
        _keyBlock = create("DecoderKeyBlockReceived");
        _nullBlock = create("DecoderNullBlockReceived");
        _dataPushed = create("DecoderDataPushed");
    }

    [[gnu::noinline]] void benchBlock(bool keyBlock) const
    {
        if (keyBlock) {
            blink(_keyBlock);
            show(_maxLatency, Good);
        }
        show(_lost, Good);
        blink(_dataPushed);
        show(_cycle, Good);
    }
    [[gnu::noinline]] void benchIdle() const { show(_cycle, Black); }

private:
    ModkitPtr<IIndicationObject> _mode;
    ModkitPtr<IIndicationObject> _lost;
    ModkitPtr<IIndicationObject> _cycle;
    ModkitPtr<IIndicationObject> _maxLatency;
    ModkitPtr<IIndicationObject> _keyBlock;
    ModkitPtr<IIndicationObject> _nullBlock;
    ModkitPtr<IIndicationObject> _dataPushed;
};

std::vector<Stream> newStreams(IIndicationManager &manager, int count)
{
    std::vector<Stream> streams;
    streams.reserve(static_cast<std::size_t>(count));
    for (int stream = 0; stream < count; ++stream)
        streams.emplace_back(manager, QStringLiteral("camera %1").arg(stream));
    return streams;
}

/// What the streams do in each of their cycles.
enum class Load {
    Blinks, // a block every 40 ms, each stream at a moment of its own, and the idle cycle that follows it
    Idle,   // an idle cycle each
    Both
};

/// The cycles of every stream that the decoder thread @p thread has, for the length of a turn.
void runCycles(const std::vector<Stream> &streams, std::size_t thread, Load load)
{
    const auto begin = steady_clock::now();
    for (std::size_t cycle = 0; cycle * cycleLength < turnLength; ++cycle) {
        std::this_thread::sleep_until(begin + cycle * cycleLength);
        for (std::size_t stream = thread; stream < streams.size(); stream += threadCount) {
            const std::size_t moment = cycle + stream;
            const std::size_t phase = moment % cyclesPerBlock;
            if (phase == 0 && load != Load::Idle)
                streams[stream].benchBlock((moment / cyclesPerBlock + stream) % blocksPerKeyBlock == 0);
            else if (load != Load::Blinks || phase == 1)
                streams[stream].benchIdle();
        }
    }
}

double processTimeSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// @return the share of a core that a turn takes, all threads together.
double shareOfTurn(IIndicationManager &manager, Load load)
{
    const std::vector<Stream> streams = newStreams(manager, streamCount);
    const auto begin = steady_clock::now();
    const double beforeSeconds = processTimeSeconds();
    std::vector<std::unique_ptr<QThread>> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back(QThread::create([&streams, thread, load] { runCycles(streams, thread, load); }));
        threads.back()->setObjectName(QStringLiteral("Decoder/%1").arg(thread + 1));
        threads.back()->start();
    }
    for (const std::unique_ptr<QThread> &thread : threads)
        thread->wait();
    const std::chrono::duration<double> passed = steady_clock::now() - begin;
    return (processTimeSeconds() - beforeSeconds) / passed.count();
}

double median(std::vector<double> samples)
{
    std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2), samples.end());
    return samples[samples.size() / 2];
}

/// Prints the share of a core that @p load takes with the manager and with indications that do nothing, in percent, and
/// the difference, which is the manager's own. Each figure is the median of its turns.
void measureShare(const char *name, Load load)
{
    std::vector<double> full;
    std::vector<double> null;
    std::vector<double> own;
    for (int turn = 0; turn < turnCount; ++turn) {
        TrivialIndicationManager nullManager;
        null.push_back(100 * shareOfTurn(nullManager, load));
        IndicationManager manager;
        full.push_back(100 * shareOfTurn(manager, load));
        own.push_back(full.back() - null.back());
    }
    std::printf("%s-percent %.2f\n", name, median(full));
    std::printf("%s-null-percent %.2f\n", name, median(null));
    std::printf("%s-own-percent %.2f\n", name, median(own));
    std::printf("%s-own-percent-worst %.2f\n", name, *std::max_element(own.begin(), own.end()));
}

/// Notes how late it is called.
class Lateness final : public ISimpleIndicationObjectCallback {
public:
    Lateness(std::vector<double> &latenessMs, std::mutex &mutex, int timeoutMs)
        : _latenessMs(latenessMs)
        , _mutex(mutex)
        , _due(steady_clock::now() + std::chrono::milliseconds(timeoutMs))
    {
    }
    void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> &indication) override
    {
        const std::chrono::duration<double, std::milli> late = steady_clock::now() - _due;
        indication->setValue(Black, -1, noCallback);
        const std::lock_guard<std::mutex> lock(_mutex);
        _latenessMs.push_back(late.count());
    }

private:
    std::vector<double> &_latenessMs;
    std::mutex &_mutex;
    const steady_clock::time_point _due;
};

/// Prints how late time-outs are, of indications that are set at different moments.
void measureLateness()
{
    constexpr int timeoutMs = 500;
    constexpr std::size_t count = 2000;
    std::vector<double> latenessMs;
    std::mutex mutex;
    IndicationManager manager;
    std::vector<ModkitPtr<IIndicationObject>> indications;
    for (std::size_t index = 0; index < count; ++index) {
        indications.push_back(manager.createIndication(nullptr, QStringLiteral("blink"), QString(), Black));
        indications.back()->setValue(
            Good, timeoutMs, ModkitPtr<ISimpleIndicationObjectCallback>(new Lateness(latenessMs, mutex, timeoutMs)));
        std::this_thread::sleep_for(std::chrono::microseconds(700));
    }
    const auto isDone = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return latenessMs.size() == count;
    };
    while (!isDone())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::printf("lateness-ms-least %.2f\n", *std::min_element(latenessMs.begin(), latenessMs.end()));
    std::printf("lateness-ms-median %.2f\n", median(latenessMs));
    std::printf("lateness-ms-most %.2f\n", *std::max_element(latenessMs.begin(), latenessMs.end()));
}

/// Prints how long a snapshot of all streams takes.
void measureSnapshot()
{
    IndicationManager manager;
    const std::vector<Stream> streams = newStreams(manager, streamCount);
    std::vector<double> samplesMs;
    for (int sample = 0; sample < 200; ++sample) {
        const auto begin = steady_clock::now();
        const std::vector<IndicationManager::Owner> owners = manager.snapshot();
        const std::chrono::duration<double, std::milli> passed = steady_clock::now() - begin;
        if (owners.size() != streamCount)
            std::abort();
        samplesMs.push_back(passed.count());
    }
    std::printf("snapshot-ms %.2f\n", median(samplesMs));
}

/// For the tool outside.
void repeat(IIndicationManager &manager, bool idle, long count)
{
    const std::vector<Stream> streams = newStreams(manager, 1);
    streams[0].benchIdle();
    for (long repetition = 0; repetition < count; ++repetition) {
        if (idle)
            streams[0].benchIdle();
        else
            streams[0].benchBlock(repetition % blocksPerKeyBlock == 0);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::string what = argc >= 2 ? argv[1] : "";
    const long count = argc == 3 ? std::atol(argv[2]) : 0;
    const bool isNull = what.find("null") != std::string::npos;
    if (argc == 2 && what == "shares") {
        measureShare("blinks", Load::Blinks);
        measureShare("idle", Load::Idle);
        measureShare("both", Load::Both);
    } else if (argc == 2 && what == "times") {
        measureLateness();
        measureSnapshot();
    } else if (count > 0 && (what == "block" || what == "idle" || what == "null-block" || what == "null-idle")) {
        const ModkitPtr<IIndicationManager> manager = isNull
                                                          ? ModkitPtr<IIndicationManager>(new TrivialIndicationManager)
                                                          : ModkitPtr<IIndicationManager>(new IndicationManager);
        repeat(*manager, what.find("idle") != std::string::npos, count);
    } else {
        std::fprintf(stderr, "usage: indication_bench (shares | times)\n"
                             "       indication_bench (block | idle | null-block | null-idle) COUNT\n");
        return 2;
    }
    return 0;
}
