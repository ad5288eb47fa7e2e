#include <atomic>
#include <functional>
#include <iterator>
#include <poll.h>
#include <set>
#include <thread>

#include "host/live/ByteServer.h"
#include "host/session/SessionFixture.h"
#include "host/sinks/FfmpegTool.h"
#include "session/ProcessThreads.h"

using namespace std::chrono_literals;
using decoding::AudioFrame;
using decoding::Input;
using decoding::InputOptions;
using decoding::Session;
using decoding::Snapshot;
using decoding::VideoFrame;
using std::chrono::milliseconds;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds runLimit = 90s; // only a hang reaches it
/// Less than any time limit of a source that does not answer.
constexpr std::chrono::seconds promptLimit = 3s;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::seconds closingLimit = 3s;
#else
constexpr std::chrono::seconds closingLimit = 1s;
#endif

template <class Call>
milliseconds durationOf(const Call &call)
{
    const auto before = Clock::now();
    call();
    return std::chrono::ceil<milliseconds>(Clock::now() - before);
}

enum class Reading { Steady, Slow, None };

/// An input in trouble, or whose reader is, and that reader.
class BadInput {
public:
    BadInput(Session &session, const std::string &url, Reading reading)
        : _input(session.openLater(url))
    {
        if (reading == Reading::None)
            _input->video().next(0ms); // which begins the decoding
        else
            _reader = std::thread(&BadInput::read, this, reading == Reading::Slow ? 100ms : 0ms);
    }
    ~BadInput()
    {
        _input->close();
        if (_reader.joinable())
            _reader.join();
    }
    BadInput(const BadInput &) = delete;
    BadInput &operator=(const BadInput &) = delete;

    Input &input() { return *_input; }
    int framesRead() const { return _framesRead; }

    void beginToClose()
    {
        _closingSince = Clock::now();
        _input->close();
        _closeReturnedAt = Clock::now();
    }
    void expectClosedInTime() const
    {
        EXPECT_TRUE(_input->waitUntilFinished(std::chrono::duration_cast<milliseconds>(runLimit))) << _input->name();
        const auto took = std::chrono::ceil<milliseconds>(Clock::now() - _closingSince);
        EXPECT_LT(took.count(), milliseconds(closingLimit).count()) << _input->name();
        const auto call = std::chrono::ceil<milliseconds>(_closeReturnedAt - _closingSince);
        EXPECT_LT(call.count(), milliseconds(closingLimit).count()) << _input->name();
    }

private:
    void read(milliseconds pause)
    {
        while (_input->video().next()) {
            ++_framesRead;
            std::this_thread::sleep_for(pause);
        }
    }

    const std::shared_ptr<Input> _input;
    std::atomic<int> _framesRead{0};
    Clock::time_point _closingSince;
    Clock::time_point _closeReturnedAt;
    std::thread _reader; // last: it uses the others
};

/// Calls the session again and again on a thread of its own, and notes what each call took at most.
class FrequentCaller {
public:
    FrequentCaller(Session &session, std::string file)
        : _session(session)
        , _file(std::move(file))
        , _thread(&FrequentCaller::run, this)
    {
    }
    ~FrequentCaller()
    {
        _stopRequested = true;
        if (_thread.joinable())
            _thread.join();
    }
    FrequentCaller(const FrequentCaller &) = delete;
    FrequentCaller &operator=(const FrequentCaller &) = delete;

    void expectPromptAnswers()
    {
        _stopRequested = true;
        _thread.join();
        EXPECT_GT(_rounds, 0);
        EXPECT_LT(_snapshot.count(), milliseconds(promptLimit).count());
        EXPECT_LT(_setMode.count(), milliseconds(promptLimit).count());
        EXPECT_LT(_open.count(), milliseconds(promptLimit).count());
        EXPECT_LT(_firstFrame.count(), milliseconds(promptLimit).count());
    }

private:
    void run()
    {
        while (!_stopRequested) {
            note(_snapshot, [this] { _session.snapshot(); });
            note(_setMode, [this] {
                _session.setMode(_rounds % 2 == 0 ? decoding::Mode::TimeSaving : decoding::Mode::Performance);
            });
            std::shared_ptr<Input> input;
            note(_open, [&] { input = _session.open(_file); });
            note(_firstFrame, [&] { EXPECT_TRUE(input->video().next()); });
            ++_rounds;
            std::this_thread::sleep_for(10ms);
        }
    }
    template <class Call>
    static void note(milliseconds &longest, const Call &call)
    {
        longest = std::max(longest, durationOf(call));
    }

    Session &_session;
    const std::string _file;
    std::atomic<bool> _stopRequested{false};
    // Written by the thread; read when it has ended.
    int _rounds = 0;
    milliseconds _snapshot{0};
    milliseconds _setMode{0};
    milliseconds _open{0};
    milliseconds _firstFrame{0};
    std::thread _thread; // last: it uses the others
};

class ManyReadersTest : public SessionFixture {
protected:
    ManyReadersTest()
        : _silent({{QByteArray(), true}})
    {
    }

    /// Of an input that must lose nothing: time is no reason to, nor is the mode.
    static InputOptions lossless()
    {
        InputOptions options;
        options.excludeFromTuning = true;
        options.maxLatency = 60s;
        options.queuedFrames = 1000;
        return options;
    }

    std::unique_ptr<BadInput> makeBad(const std::string &url, Reading reading = Reading::Steady)
    {
        return std::make_unique<BadInput>(*_session, url, reading);
    }
    std::unique_ptr<BadInput> slowlyRead() { return makeBad(sample("cup.mp4"), Reading::Slow); }
    std::unique_ptr<BadInput> neverRead() { return makeBad(sample("cup.mp4"), Reading::None); }
    std::unique_ptr<BadInput> dead() { return makeBad("rtsp://127.0.0.1:1/live"); }
    std::unique_ptr<BadInput> stalling() { return makeBad(_silent.url().toStdString()); }

    ByteServer _silent;
};

/// One input that a single thread reads beside many others, by waiting for its descriptor.
struct Watched {
    std::shared_ptr<Input> input;
    int descriptor;
    /// Takes what there is. @return false when there is an end of it.
    std::function<bool()> take;
    bool isLive;
    int frames = 0;
    double lastSeconds = 0;
};

/// Pictures of a live source, with none missing between two of them.
bool takePicture(Watched &watched, int rate)
{
    const auto frame = watched.input->video().next(0ms);
    if (!frame)
        return !watched.input->video().hasEnded();
    if (watched.frames++ > 0) {
        EXPECT_NEAR(frame->seconds() - watched.lastSeconds, 1.0 / rate, 0.001) << watched.input->name();
    }
    watched.lastSeconds = frame->seconds();
    return true;
}

bool takeSamples(Watched &watched)
{
    if (watched.input->audio().next(0ms))
        ++watched.frames;
    return !watched.input->audio().hasEnded();
}

/// Reads the files among @p watched to their ends, and the others as long as that takes.
void readAll(const std::vector<std::unique_ptr<Watched>> &watched, const std::function<bool()> &isEnough)
{
    std::vector<pollfd> waiting;
    waiting.reserve(watched.size());
    for (const auto &each : watched)
        waiting.push_back({each->descriptor, POLLIN, 0});
    const auto end = Clock::now() + runLimit;
    while (!isEnough() && Clock::now() < end) {
        ::poll(waiting.data(), waiting.size(), 100);
        for (std::size_t index = 0; index < watched.size(); ++index) {
            if (waiting[index].revents != 0 && !watched[index]->take())
                waiting[index].fd = -1; // which poll passes over
        }
    }
}

} // namespace

TEST_F(ManyReadersTest, LoseNothingBesideThoseInTrouble)
{
    constexpr int rate = 25;
    constexpr int pushed = 16;
    constexpr int threaded = 4;
    constexpr int files = 20;
    constexpr int live = 20;

    const auto slow = slowlyRead();
    const auto never = neverRead();
    const auto failing = dead();
    const auto silent = stalling();
    ASSERT_TRUE(waitUntil([&] { return slow->framesRead() >= 2; }));
    ASSERT_TRUE(waitUntil([&] { return never->input().video().frames() >= InputOptions().queuedFrames; }));
    ASSERT_TRUE(waitUntil([&] { return failing->input().error().has_value(); }));
    ASSERT_TRUE(waitUntil([&] { return _silent.clients() > 0; }));
    FrequentCaller caller(*_session, sample("tree.avi"));

    std::vector<std::shared_ptr<Input>> inputs;
    const auto open = [&](const std::string &url) { return inputs.emplace_back(_session->openLater(url, lossless())); };
    std::vector<std::unique_ptr<Watched>> watched;
    for (int count = 0; count < live; ++count) {
        watched.push_back(std::make_unique<Watched>());
        Watched &one = *watched.back();
        one = {open(pattern(rate)), 0, [&one] { return takePicture(one, rate); }, true};
        one.descriptor = one.input->video().descriptor();
    }
    for (int count = 0; count < files; ++count) {
        watched.push_back(std::make_unique<Watched>());
        Watched &one = *watched.back();
        one = {open(sample("cup.mp4")), 0, [&one] { return takeSamples(one); }, false};
        one.descriptor = one.input->audio().descriptor();
    }
    std::vector<std::thread> readers;
    std::atomic<int> threadFrames{0};
    for (int count = 0; count < threaded; ++count)
        readers.emplace_back([&, input = open(sample("cup.mp4"))] { threadFrames += countFrames(input->video()); });
    std::atomic<int> pushedFrames{0};
    std::atomic<int> pushedEnds{0};
    for (int count = 0; count < pushed; ++count)
        open(sample("tree.avi"))->video().deliver([&](const VideoFrame &) { ++pushedFrames; }, [&] { ++pushedEnds; });
    ASSERT_EQ(inputs.size(), 60U);

    readAll(watched, [&] {
        return pushedEnds == pushed && threadFrames == threaded * 217 &&
               std::all_of(watched.begin(), watched.end(), [](const auto &one) {
                   return one->isLive ? one->frames >= 2 * rate : one->input->audio().hasEnded();
               });
    });
    const Snapshot snapshot = _session->snapshot();
    caller.expectPromptAnswers();
    for (BadInput *const bad : {slow.get(), never.get(), failing.get(), silent.get()}) {
        bad->beginToClose();
        bad->expectClosedInTime();
    }
    for (std::thread &reader : readers)
        reader.join();

    EXPECT_EQ(pushedFrames, pushed * 24);
    EXPECT_EQ(threadFrames, threaded * 217);
    for (const auto &one : watched) {
        if (one->isLive) {
            EXPECT_GE(one->frames, 2 * rate) << one->input->name();
            EXPECT_EQ(one->input->video().dropped(), 0) << one->input->name();
        } else {
            EXPECT_EQ(one->frames, 380) << one->input->name();
        }
    }
    for (const auto &input : inputs)
        EXPECT_EQ(input->error(), std::nullopt);
    for (const Snapshot::Input &input : snapshot.inputs) {
        for (const Snapshot::Stream &stream : input.streams) {
            EXPECT_EQ(stream.lost, 0) << stream.name;
            EXPECT_EQ(stream.damaged, 0) << stream.name;
        }
    }
    EXPECT_LT(never->input().video().frames(), 60) << "nor does it go on for nobody";
}

TEST_F(ManyReadersTest, InTroubleCanBeClosedAtAnyMoment)
{
    const ByteServer stopping(
        {{FfmpegTool::run("-f lavfi -i testsrc2=size=64x48:rate=25:duration=4 -c:v mpeg2video -f mpegts -"), true}});
    const std::string silentSite = "http" + _silent.url().toStdString().substr(3);
    for (const milliseconds moment : {0ms, 1ms, 3ms, 10ms, 30ms, 100ms, 300ms, 1000ms}) {
        SCOPED_TRACE(moment.count());
        std::vector<std::unique_ptr<BadInput>> all;
        all.push_back(slowlyRead());
        all.push_back(neverRead());
        all.push_back(dead());
        all.push_back(stalling());
        all.push_back(makeBad(stopping.url().toStdString()));
        all.push_back(makeBad(silentSite)); // is taken for a file
        std::this_thread::sleep_for(moment);
        for (const auto &bad : all)
            bad->beginToClose();
        for (const auto &bad : all)
            bad->expectClosedInTime();
    }
}

TEST_F(ManyReadersTest, TakeNoThreads)
{
    InputOptions options;
    options.paced = true;
    options.repeat = 100;
    std::vector<std::shared_ptr<Input>> inputs;
    for (int count = 0; count < 32; ++count) {
        inputs.push_back(_session->openLater(pattern(5)));
        inputs.push_back(_session->openLater(sample("tree.avi"), options));
    }
    std::vector<std::unique_ptr<decoding::VideoReader>> readers;
    const auto addReaders = [&] {
        for (const auto &input : inputs)
            readers.push_back(input->addVideoReader());
    };
    // Every reader is read, for a file's streams go on at the pace of the slowest.
    const auto allGetFrames = [&] {
        std::vector<bool> hasFrame(readers.size());
        return waitUntil([&] {
            for (std::size_t index = 0; index < readers.size(); ++index) {
                while (readers[index]->next(0ms))
                    hasFrame[index] = true;
            }
            return std::find(hasFrame.begin(), hasFrame.end(), false) == hasFrame.end();
        });
    };

    addReaders();
    ASSERT_TRUE(allGetFrames());
    const std::set<int> before = ProcessThreads::ids();
    for (int more = 0; more < 9; ++more)
        addReaders();
    ASSERT_TRUE(allGetFrames());
    EXPECT_EQ(readers.size(), 10 * inputs.size());
    EXPECT_THAT(ProcessThreads::startedSince(before), testing::IsEmpty());
}
