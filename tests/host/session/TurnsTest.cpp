#include <QFile>
#include <QTemporaryDir>

#include <fstream>

#include "host/session/InputSetFixture.h"

using decoding::State;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

/// Files two of which are decoded at the same time.
class Turns : public InputSetFixture {
protected:
    Turns()
        : InputSetFixture(InputSet::usualRoundInterval, 2)
    {
    }

    State stateOf(const char *name) const { return shown(name).state; }
    void addPaced(const char *name)
    {
        _options.paced = true;
        add(sample("tree.avi"), name);
        _options.paced = false;
    }
    /// Polls for longer than it takes a file to be stuck.
    void wait()
    {
        const auto end = Clock::now() + 2 * Admission::patience;
        EXPECT_TRUE(pollUntil([end] { return Clock::now() > end; }));
    }
};

} // namespace

TEST_F(Turns, ComeInTheOrderOfAddingAndTouchNothingBefore)
{
    const QTemporaryDir folder;
    const auto exists = [&folder](const char *name) {
        return QFile::exists(folder.filePath(QStringLiteral("%1.y4m").arg(QLatin1String(name))));
    };
    _options.outputs = {decoding::Output{decoding::Output::Kind::Y4m, folder.path().toStdString()}};
    for (const char *const name : {"a", "b", "c", "d"})
        add(sample("tree.avi"), name);
    ASSERT_TRUE(pollUntil([this] { return stateOf("a") == State::Running && stateOf("b") == State::Running; }));
    static_cast<void>(FakeDecodingManager::finds(_manager.decoders.front()));
    wait(); // for decoders: one has not looked for blocks, and the other one takes none
    EXPECT_TRUE(exists("a") && exists("b"));
    EXPECT_EQ(stateOf("c"), State::Queued);
    EXPECT_FALSE(shown("c").decoded || shown("c").finished);
    EXPECT_FALSE(exists("c") || exists("d"));
    EXPECT_EQ(_manager.decoders.size(), 2U);

    remove("b");
    ASSERT_TRUE(pollUntil([this] { return stateOf("c") == State::Running; }));
    EXPECT_EQ(stateOf("d"), State::Queued);
    ASSERT_TRUE(decodeUntil([this] { return _inputs.isFinished(); }));
    for (const char *const name : {"a", "c", "d"})
        EXPECT_EQ(shown(name).streams.at(0).frames, 24) << name;
    EXPECT_THAT(_messages, IsEmpty());
}

TEST_F(Turns, AreNotForWhatIsLiveOrPacedOrSomebodyWaitsFor)
{
    add(sample("tree.avi"), "a");
    add(sample("tree.avi"), "b");
    add(sample("tree.avi"), "c");
    addPaced("paced");
    add("lavfi:testsrc2=size=64x48:rate=100", "live");
    _options.name = "awaited";
    const auto awaited = _inputs.add(sample("tree.avi"), _options, InputSet::Opening::AtOnce);
    EXPECT_TRUE(pollUntil([this] { return isOpen("paced") && isOpen("live") && isOpen("awaited"); }));
    EXPECT_EQ(stateOf("c"), State::Queued);
    remove("a");
    remove("b");
    EXPECT_TRUE(pollUntil([this] { return isOpen("c"); })) << "live and paced ones take up none";
}

TEST_F(Turns, PassOnAtOnceFromWhatCannotBeOpened)
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath(QStringLiteral("text")).toStdString();
    std::ofstream(path) << "no media";
    const auto begin = Clock::now();
    for (int file = 0; file < 30; ++file)
        add(path);
    add(sample("tree.avi"), "good");
    EXPECT_TRUE(pollUntil([this] { return isOpen("good"); }));
    EXPECT_LT(Clock::now() - begin, 5 * Admission::patience) << "they were taken for stuck";
    EXPECT_EQ(stateOf("text (30)"), State::Failed);
}

TEST_F(Turns, DoNotDelayTheErrorOfAFileThatIsNotThere)
{
    for (const char *const name : {"a", "b", "c"})
        add(sample("tree.avi"), name);
    add("/nowhere/clip.mp4", "missing");
    EXPECT_TRUE(pollUntil([this] { return !_messages.empty(); }));
    EXPECT_THAT(_messages, ElementsAre(HasSubstr("there is no such file")));
    EXPECT_EQ(stateOf("missing"), State::Failed);
    EXPECT_EQ(stateOf("c"), State::Queued);
}

TEST_F(Turns, PassOnFromWhatItsReadersHoldUpUntilItGoesOn)
{
    _options.outputs.clear();
    for (const char *const name : {"a", "b", "c", "d"}) {
        add(sample("tree.avi"), name);
        static_cast<void>(_handles[name]->video().next(0ms));
    }
    const auto isHeldUp = [this](const char *name) {
        return isOpen(name) && shown(name).streams.front().frames == _options.queuedFrames;
    };
    ASSERT_TRUE(decodeUntil([&] { return isHeldUp("a") && isHeldUp("b"); }));
    EXPECT_EQ(stateOf("c"), State::Queued);
    ASSERT_TRUE(decodeUntil([&] { return isHeldUp("c") && isHeldUp("d"); }));
    int frames = 0;
    EXPECT_TRUE(decodeUntil([&] {
        frames += _handles["a"]->video().next(0ms) ? 1 : 0;
        return _handles["a"]->video().hasEnded();
    }));
    EXPECT_EQ(frames, 24);
}

TEST_F(Turns, AreOnlyForFilesWhoseFramesSomebodyAsksFor)
{
    _options.outputs.clear();
    const auto begin = Clock::now();
    for (int file = 0; file < 30; ++file)
        addSample("tree.avi");
    EXPECT_TRUE(pollUntil([this] { return stateOf("tree.avi (30)") == State::Ready; }));
    EXPECT_LT(Clock::now() - begin, 5 * Admission::patience) << "they were taken for stuck";
}

TEST_F(Turns, EndTheWaitingOfWhatIsClosedAtOnce)
{
    for (const char *const name : {"a", "b", "c", "d"})
        add(sample("tree.avi"), name);
    ASSERT_TRUE(pollUntil([this] { return stateOf("b") == State::Running; }));
    _handles["c"]->close();
    EXPECT_TRUE(pollUntil([this] { return isFinished("c"); }));
    EXPECT_EQ(stateOf("c"), State::Ended);
    EXPECT_EQ(stateOf("d"), State::Queued);
    _inputs.close();
    EXPECT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_EQ(stateOf("d"), State::Ended);
    EXPECT_EQ(_manager.decoders.size(), 2U);
    EXPECT_THAT(_messages, IsEmpty());
}
