#include "session/InputSet.h"

#include <QTemporaryDir>
#include <QThread>

#include <filesystem>
#include <memory>

#include "host/session/RunFixture.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using InputSetTest = RunFixture;

TEST_F(InputSetTest, DecodesEachStreamOfAFileToItsEnd)
{
    addSample("cup.mp4");
    ASSERT_TRUE(decodeUntil([this] { return _inputs.isFinished(); }));
    const DecodeReport::Input report = _inputs.inputs().front()->report();
    ASSERT_EQ(report.streams.size(), 2U);
    EXPECT_EQ(report.streams[0].frames, 217);
    EXPECT_EQ(report.streams[1].frames, 380);
    EXPECT_EQ(report.error, std::nullopt);
    ASSERT_EQ(_manager.decoders.size(), 2U);
    EXPECT_EQ(_manager.decoders[0].name, QStringLiteral("cup.mp4 video"));
    EXPECT_EQ(_manager.decoders[1].name, QStringLiteral("cup.mp4 audio"));
    EXPECT_FALSE(*_manager.decoders[0].isHeld);
    EXPECT_THAT(_messages, IsEmpty());
}

TEST_F(InputSetTest, ReadsAFileOnceTheIndicationsShowThatItsDecodersWaitForIt)
{
    const ModkitPtr<IndicationManager> indications(new IndicationManager);
    InputSet inputs({_options, _manager, _workers, _damage, indications.data()});
    ASSERT_TRUE(std::holds_alternative<InputNames::Name>(inputs.add({sample("cup.mp4"), std::nullopt})));
    const auto packets = [&] {
        inputs.poll();
        return inputs.inputs().front()->report().packets;
    };
    ASSERT_TRUE(waitUntil([&] { return packets() == 0 && inputs.inputs().front()->isOpen(); }));
    const auto wake = [&](const char *decoder) {
        const auto shown =
            indications->createIndication(nullptr, QStringLiteral("DecoderCycle"), QLatin1String(decoder), 3);
        const std::unique_ptr<QThread> thread(QThread::create([&] { shown->setValue(3, -1, {}); }));
        thread->setObjectName(QStringLiteral("Decoder/1"));
        thread->start();
        thread->wait();
    };
    wake("cup.mp4 video");
    EXPECT_EQ(packets(), 0);
    EXPECT_EQ(inputs.inputs().front()->report().streams.front().durationMs, 0) << "it has not begun";
    wake("cup.mp4 audio");
    ASSERT_TRUE(waitUntil([&] { return packets() > 0; }));
}

TEST_F(InputSetTest, OpensCopiesOnceTheFirstIsOpenAndKeepsThemTogether)
{
    addSample("cup.mp4", 3);
    addSample("tree.avi");
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "tree.avi"));
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4 (3)") && isOpen("tree.avi"); }));
    EXPECT_THAT(names(), ElementsAre("cup.mp4", "cup.mp4 (2)", "cup.mp4 (3)", "tree.avi"));
}

TEST_F(InputSetTest, ForgetsTheCopiesOfWhatCannotBeOpenedAndTheirNames)
{
    add({"/nowhere/clip.mp4", std::nullopt}, 3);
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(names(), ElementsAre("clip.mp4"));
    add({"/nowhere/clip.mp4", std::nullopt});
    EXPECT_THAT(names(), ElementsAre("clip.mp4", "clip.mp4 (2)"));
}

TEST_F(InputSetTest, ForgetsTheCopiesOfWhatIsRemoved)
{
    addSample("cup.mp4", 2);
    EXPECT_TRUE(_inputs.remove("cup.mp4"));
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(names(), IsEmpty());
    addSample("cup.mp4", 2);
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4 (2)"); }));
}

TEST_F(InputSetTest, TellsOnceWhyAnInputCannotBeOpenedThoughItIsRemovedThen)
{
    add({"/nowhere/clip.mp4", std::nullopt});
    ASSERT_TRUE(pollUntil([this] { return isFinished("clip.mp4"); }));
    EXPECT_TRUE(_inputs.remove("clip.mp4"));
    ASSERT_TRUE(pollUntil([this] { return !_inputs.isLeaving("clip.mp4"); }));
    EXPECT_THAT(_messages, ElementsAre("/nowhere/clip.mp4: there is no such file"));
}

TEST_F(InputSetTest, RemovesOneInputAndLeavesTheOthersAlone)
{
    addSample("cup.mp4");
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4") && isOpen("tree.avi"); }));
    EXPECT_TRUE(_inputs.remove("cup.mp4"));
    EXPECT_FALSE(_inputs.remove("cup.mp4"));
    EXPECT_THAT(names(), ElementsAre("tree.avi"));
    EXPECT_TRUE(_inputs.isLeaving("cup.mp4"));
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi") && !_inputs.isLeaving("cup.mp4"); }));
    EXPECT_EQ(_inputs.find("tree.avi")->streams().front().frames, 24);
    EXPECT_THAT(_messages, ElementsAre(AllOf(StartsWith("cup.mp4: removed, after "), EndsWith(" frames"))));
}

TEST_F(InputSetTest, GivesANameAgainOnlyOnceItsOwnerHasLeft)
{
    add(unreachable("door"));
    EXPECT_THAT(std::get<std::string>(_inputs.add(unreachable("door"))), StartsWith("door: "));
    EXPECT_TRUE(_inputs.remove("door"));
    EXPECT_THAT(std::get<std::string>(_inputs.add(unreachable("door"))), StartsWith("door: "));
    ASSERT_TRUE(pollUntil([this] { return !_inputs.isLeaving("door"); }));
    add(unreachable("door"));
}

TEST_F(InputSetTest, EndsWhatItCannotHaveDecoded)
{
    _manager.refuses = true;
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(_messages, ElementsAre(HasSubstr("gives no decoder")));
}

TEST_F(InputSetTest, WritesToAFileAgainOnceAllInputsThatItWasHaveLeft)
{
    const QTemporaryDir folder;
    const auto path = [&folder](const char *name) { return folder.filePath(QLatin1String(name)).toStdString(); };
    _options.outputs = {{OutputSpec::Wav, folder.path()}};
    std::filesystem::copy_file(sample("cup.mp4"), path("cup.mp4"));
    // Whose outputs will be the same file as the input.
    for (const char *const name : {"early", "between", "late"})
        std::filesystem::create_hard_link(path("cup.mp4"), path(name) + ".wav");
    const auto addSampleAs = [&](const char *name) { add({sample("cup.mp4"), name}); };
    const auto refusal = [&](const char *name) {
        EXPECT_TRUE(pollUntil([&] { return isFinished(name) || isOpen(name); }));
        return isOpen(name) ? std::string() : _inputs.find(name)->errors().front();
    };

    add({path("cup.mp4"), "cup"}, 2);
    ASSERT_TRUE(decodeUntil([&] { return isFinished("cup") && isFinished("cup (2)"); }));
    addSampleAs("early");
    EXPECT_THAT(refusal("early"), HasSubstr("one of the inputs"));
    addSampleAs("between");
    EXPECT_TRUE(_inputs.remove("cup"));
    EXPECT_THAT(refusal("between"), HasSubstr("one of the inputs"));
    addSampleAs("late");
    EXPECT_TRUE(_inputs.remove("cup (2)"));
    EXPECT_EQ(refusal("late"), "");
}

TEST_F(InputSetTest, LeavesAloneWhatIsDecodedWhenItIsCancelled)
{
    using Phase = ProgressDisplay::Input::Phase;
    addSample("tree.avi");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4"); }));
    const InputRun &tree = *_inputs.find("tree.avi");
    const InputRun &cup = *_inputs.find("cup.mp4");
    EXPECT_FALSE(tree.isRunning());
    EXPECT_TRUE(cup.isRunning());
    // Without a poll, its outputs are not completed.
    ASSERT_TRUE(waitUntil([&] {
        _manager.decode();
        return !cup.isRunning();
    }));
    EXPECT_FALSE(cup.isFinished());
    addSample("box.mp4");
    const InputRun &box = *_inputs.find("box.mp4");
    EXPECT_TRUE(box.isRunning());

    _inputs.cancel();
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_EQ(tree.progress().phase, Phase::Done);
    EXPECT_EQ(cup.progress().phase, Phase::Done);
    EXPECT_EQ(box.progress().phase, Phase::Running) << "it is not decoded to its end";
}

TEST_F(InputSetTest, TakesNoMoreInputsOnceItIsCancelled)
{
    add(unreachable("door"));
    _inputs.cancel();
    EXPECT_TRUE(std::holds_alternative<std::string>(_inputs.add(unreachable("yard"))));
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(names(), ElementsAre("door"));
}
