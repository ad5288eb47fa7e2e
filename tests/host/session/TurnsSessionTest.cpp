#include <algorithm>
#include <memory>
#include <vector>

#include "host/session/ProcessFigures.h"
#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::InputOptions;
using decoding::State;
using testing::HasSubstr;

namespace {

constexpr int framesOfTree = 24;

class TurnsSessionTest : public SessionFixture {
protected:
    void begin(int filesAtOnce)
    {
        decoding::SessionOptions options;
        options.threads = 2;
        options.filesAtOnce = filesAtOnce;
        SessionFixture::begin(options);
    }
    std::vector<std::shared_ptr<decoding::Input>> openLater(int count, const InputOptions &options = {})
    {
        std::vector<std::shared_ptr<decoding::Input>> inputs;
        for (int input = 0; input < count; ++input)
            inputs.push_back(_session->openLater(sample("tree.avi"), options));
        return inputs;
    }
    int countIn(State state) const
    {
        const decoding::Snapshot snapshot = _session->snapshot();
        return static_cast<int>(std::count_if(snapshot.inputs.begin(), snapshot.inputs.end(),
                                              [state](const auto &input) { return input.state == state; }));
    }
};

} // namespace

TEST_F(TurnsSessionTest, LetFilesBeReadOneAfterTheOtherFromTheLastOneOn)
{
    for (const int atOnce : {0, 1}) {
        begin(atOnce);
        const auto inputs = openLater(8);
        for (const auto &input : inputs)
            static_cast<void>(input->video().next(0ms)); // has it decoded until its reader has no room
        for (auto input = inputs.rbegin(); input != inputs.rend(); ++input) {
            int frames = (*input)->video().frames() > 0 ? 1 : 0;
            while ((*input)->video().next())
                ++frames;
            EXPECT_GE(frames, framesOfTree - 1);
            EXPECT_EQ((*input)->video().frames(), framesOfTree);
        }
    }
}

TEST_F(TurnsSessionTest, LetFilesBeReadInTurnsFrameByFrame)
{
    begin(2);
    const auto inputs = openLater(6);
    for (int frame = 0; frame < framesOfTree; ++frame) {
        for (const auto &input : inputs)
            ASSERT_TRUE(input->video().next()) << frame;
    }
}

TEST_F(TurnsSessionTest, KeepNobodyWaitingWhoWaitsInOpen)
{
    begin(1);
    InputOptions endless;
    endless.repeat = 1000000;
    endless.outputs.emplace_back();
    const auto inputs = openLater(2, endless);
    EXPECT_TRUE(waitUntil([this] { return countIn(State::Running) == 1; }));
    const auto input = _session->open(sample("tree.avi"));
    EXPECT_EQ(countFrames(input->video()), framesOfTree);
    EXPECT_EQ(countIn(State::Queued), 1);
}

TEST_F(TurnsSessionTest, KeepWhatAHundredFilesHoldSmall)
{
    begin(0);
    const ProcessFigures before = ProcessFigures::now();
    InputOptions options;
    options.outputs.emplace_back();
    options.repeat = 5;
    const auto inputs = openLater(100, options);
    ProcessFigures peak;
    EXPECT_TRUE(waitUntil([&] {
        const ProcessFigures now = ProcessFigures::now();
        peak.descriptors = std::max(peak.descriptors, now.descriptors);
        peak.threads = std::max(peak.threads, now.threads);
        return std::all_of(inputs.begin(), inputs.end(), [](const auto &input) { return input->isFinished(); });
    }));
    // Eight files for each of two threads, and some that end or are looked for.
    EXPECT_LE(peak.descriptors - before.descriptors, 16 + 12);
    EXPECT_LE(peak.threads - before.threads, 16 + 16);
    for (const auto &input : inputs)
        EXPECT_EQ(shown(*input).frames, 5 * framesOfTree);
}

TEST_F(TurnsSessionTest, AreNoNegativeNumber)
{
    decoding::SessionOptions options;
    options.filesAtOnce = -1;
    EXPECT_THAT(errorOf([&] { decoding::Session session(options); }), HasSubstr("filesAtOnce is -1"));
}
