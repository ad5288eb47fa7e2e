#include "session/RunObserver.h"

#include <QThread>

#include <memory>

#include "host/session/FakeTuning.h"
#include "host/session/RunFixture.h"

using namespace std::chrono_literals;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::Optional;
using RowLight = BoardState::Lights::value_type;
using Row = BoardState::Row;

namespace {

class RunObserverTest : public RunFixture {
protected:
    Row row(std::size_t position, RunObserver::Instant now = {})
    {
        const std::vector<RunObserver::Stream> streams = _observer.streams(now);
        return position < streams.size() ? streams[position].row : Row();
    }

    /// As a decoder on the thread @p threadName does.
    void show(const char *indication, const char *decoder, int value, const char *threadName)
    {
        const auto shown =
            _indications->createIndication(nullptr, QLatin1String(indication), QLatin1String(decoder), 3);
        const std::unique_ptr<QThread> thread(QThread::create([&] { shown->setValue(value, -1, {}); }));
        thread->setObjectName(QLatin1String(threadName));
        thread->start();
        thread->wait();
    }

    const RunObserver::Instant _start{};
    ModkitPtr<IndicationManager> _indications{new IndicationManager};
    FakeTuning _tuning;
    RunObserver _observer{_inputs, _indications.data(), _tuning, true, _start};
};

} // namespace

TEST_F(RunObserverTest, ShowsAnInputWithoutStreamsAsARow)
{
    add(unreachable("door"));
    const std::vector<RunObserver::Stream> streams = _observer.streams(_start);
    ASSERT_EQ(streams.size(), 1U);
    EXPECT_EQ(streams[0].input, "door");
    EXPECT_EQ(streams[0].kind, "");
    EXPECT_EQ(streams[0].row.name, "door");
    EXPECT_EQ(streams[0].row.lights, std::nullopt);
    EXPECT_EQ(streams[0].row.framesPerSecond, std::nullopt);
    EXPECT_EQ(streams[0].row.latencyMs, std::nullopt);
}

TEST_F(RunObserverTest, TellsWhatIsWrongBesideTheNameAndNotBehindIt)
{
    add(unreachable("door"));
    ASSERT_TRUE(pollUntil([this] { return row(0).state == Row::State::Waiting || !row(0).trouble.empty(); }));
    EXPECT_EQ(row(0).trouble, "cannot be opened: Connection refused");
}

TEST_F(RunObserverTest, TellsTheStatesOfAFile)
{
    addSample("tree.avi");
    EXPECT_EQ(row(0).state, Row::State::Connecting);
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(row(0).state, Row::State::Running);
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    EXPECT_EQ(row(0).state, Row::State::Ended);

    add({"/nowhere/clip.mp4", std::nullopt});
    ASSERT_TRUE(pollUntil([this] { return isFinished("clip.mp4"); }));
    EXPECT_EQ(row(1).state, Row::State::Failed);
}

TEST_F(RunObserverTest, CountsFramesPerSecondOverASecondAtLeast)
{
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(row(0, _start).framesPerSecond, std::nullopt);
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    EXPECT_EQ(row(0, _start + 999ms).framesPerSecond, std::nullopt);
    EXPECT_THAT(row(0, _start + 2s).framesPerSecond, Optional(DoubleNear(12.0, 0.001)));
    EXPECT_THAT(row(0, _start + 2500ms).framesPerSecond, Optional(DoubleNear(12.0, 0.001)));
    // Where frames come seconds apart, none for a while says nothing.
    EXPECT_THAT(row(0, _start + 6999ms).framesPerSecond, Optional(DoubleNear(12.0, 0.001)));
    EXPECT_THAT(row(0, _start + 7s).framesPerSecond, Optional(0.0));
}

TEST_F(RunObserverTest, WaitsLongerForFramesWhereOnlyKeyBlocksAreDecoded)
{
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    RunObserver ofUntuned(_inputs, nullptr, _tuning, false, _start);
    const auto rateOfUntuned = [&](RunObserver::Instant now) {
        return ofUntuned.streams(now).at(0).row.framesPerSecond;
    };
    _observer.setMode(DecodingMode::TimeSaving);
    ofUntuned.setMode(DecodingMode::TimeSaving);
    EXPECT_EQ(row(0, _start).framesPerSecond, std::nullopt);
    EXPECT_EQ(rateOfUntuned(_start), std::nullopt);
    EXPECT_EQ(row(0, _start + 29999ms).framesPerSecond, std::nullopt);
    EXPECT_THAT(row(0, _start + 30s).framesPerSecond, Optional(0.0));
    EXPECT_EQ(rateOfUntuned(_start + 4999ms), std::nullopt);
    EXPECT_THAT(rateOfUntuned(_start + 5s), Optional(0.0));
}

TEST_F(RunObserverTest, CountsTheFramesOfANameAfreshOnceAnotherInputHasIt)
{
    addSample("tree.avi");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    EXPECT_EQ(row(0, _start).frames, 24);
    EXPECT_TRUE(_inputs.remove("tree.avi"));
    ASSERT_TRUE(pollUntil([this] { return !_inputs.isLeaving("tree.avi"); }));
    EXPECT_TRUE(_observer.streams(_start + 1s).empty());
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(row(0, _start + 2s).framesPerSecond, std::nullopt);
}

TEST_F(RunObserverTest, ShowsTheLightsAndTheThreadOfEachDecoder)
{
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4"); }));
    EXPECT_EQ(row(0).lights, std::nullopt);
    show("DecoderCycle", "cup.mp4 video", 0, "Decoder/1");
    show("DecoderLost", "cup.mp4 video", 2, "Decoder/2");
    show("DecoderCycle", "cup.mp4 audio", 3, "Decoder/1");
    show("DecoderCycle", "somebody else", 0, "Decoder/7");
    constexpr RowLight dark = RowLight::Black;
    EXPECT_THAT(row(0).lights, Optional(ElementsAre(dark, RowLight::Bad, RowLight::Good, dark, dark, dark, dark)));
    EXPECT_EQ(row(0).threadName, "Decoder/1");
    EXPECT_THAT(row(1).lights, Optional(ElementsAre(dark, dark, dark, dark, dark, dark, dark)));

    const BoardState state = _observer.boardState(_start + 3s);
    ASSERT_EQ(state.threads.size(), 1U);
    EXPECT_EQ(state.threads[0].name, "Decoder/1");
    EXPECT_EQ(state.threads[0].decoders, 2);
    EXPECT_EQ(state.running, 3s);
}

TEST_F(RunObserverTest, ShowsTheModeOfWhatIsTuned)
{
    add(unreachable("door"));
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(row(1).mode, Row::Mode::Performance);
    _observer.setMode(DecodingMode::TimeSaving);
    EXPECT_EQ(row(1).mode, Row::Mode::TimeSaving);
    EXPECT_FALSE(_observer.boardState(_start).performanceMode);
    RunObserver ofUntuned(_inputs, nullptr, _tuning, false, _start);
    ofUntuned.setMode(DecodingMode::TimeSaving);
    EXPECT_EQ(ofUntuned.streams(_start).at(1).row.mode, Row::Mode::Fixed);
}

TEST_F(RunObserverTest, ShowsWhatItIsTold)
{
    _tuning.decoders = 5;
    _observer.setLoad(0.75, _start);
    _observer.setGovernor("0.60:0.90, performance");
    for (int message = 0; message <= 50; ++message)
        _observer.addMessage(std::to_string(message));
    const BoardState state = _observer.boardState(_start);
    EXPECT_EQ(state.cpuLoad, 0.75);
    EXPECT_EQ(state.decoderCount, 5);
    EXPECT_EQ(state.governor, "0.60:0.90, performance");
    EXPECT_EQ(state.messages.size(), 50U);
    EXPECT_EQ(state.messages.front(), "1");
    EXPECT_EQ(state.messages.back(), "50");
}
