#include "session/InputSet.h"

#include <QTemporaryDir>

#include <algorithm>
#include <filesystem>

#include "host/session/InputSetFixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using namespace std::chrono_literals;

using InputSetTest = InputSetFixture;

TEST_F(InputSetTest, DecodesEachStreamOfAFileToItsEnd)
{
    addSample("cup.mp4");
    ASSERT_TRUE(decodeUntil([this] { return _inputs.isFinished(); }));
    const decoding::Snapshot::Input cup = shown("cup.mp4");
    ASSERT_EQ(cup.streams.size(), 2U);
    EXPECT_EQ(cup.streams[0].frames, 217);
    EXPECT_EQ(cup.streams[1].frames, 380);
    EXPECT_EQ(cup.error, std::nullopt);
    ASSERT_EQ(_manager.decoders.size(), 2U);
    EXPECT_EQ(_manager.decoders[0].name, QStringLiteral("cup.mp4 video"));
    EXPECT_EQ(_manager.decoders[1].name, QStringLiteral("cup.mp4 audio"));
    EXPECT_FALSE(*_manager.decoders[0].isHeld);
    EXPECT_THAT(_messages, IsEmpty());
    EXPECT_TRUE(_handles["cup.mp4"]->isFinished());
}

TEST_F(InputSetTest, ReadsAFileOnceItsDecodersHaveLookedForBlocks)
{
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 2; }));
    const auto look = [this](std::size_t decoder) { FakeDecodingManager::finds(_manager.decoders[decoder]); };
    look(0);
    for (int poll = 0; poll < 5; ++poll)
        this->poll();
    EXPECT_EQ(shown("cup.mp4").packets, 0);
    EXPECT_EQ(shown("cup.mp4").decoding.count(), 0) << "it has not begun";
    look(1);
    EXPECT_TRUE(pollUntil([this] { return shown("cup.mp4").packets > 0; }));
}

TEST_F(InputSetTest, GivesTheDecoderNothingUntilItHasAllOutputs)
{
    _options.outputs.resize(3);
    _options.audio = false;
    std::vector<bool> found; // a block, when a decoder was made
    _manager.onCreate = [&found](FakeDecodingManager::Decoder &decoder) {
        found.push_back(FakeDecodingManager::finds(decoder));
    };
    add("lavfi:testsrc2=size=64x48:rate=100", "pattern");
    ASSERT_TRUE(pollUntil([this] { return shown("pattern").packets > 0; }));
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 3; }));
    EXPECT_THAT(found, ElementsAre(false, false, false));
    EXPECT_TRUE(pollUntil([this] { return FakeDecodingManager::finds(_manager.decoders[0]); }));
}

TEST_F(InputSetTest, DecodesAFileInBurstsThatAreShortWhileAnotherInputIsPunctual)
{
    constexpr std::chrono::milliseconds packetTime(2);
    _options.audio = false;
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 1; }));
    FakeDecodingManager::Decoder cup = _manager.decoders.front();
    EXPECT_FALSE(FakeDecodingManager::finds(cup));
    ASSERT_TRUE(pollUntil([this] { return shown("cup.mp4").packets >= 64; }));
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 1) << "the key picture";
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 1) << "nothing is known of its pace";

    notePace("cup.mp4 video", packetTime);
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), BurstTime::alone / packetTime);
    addUnreachable("door");
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), BurstTime::besidePunctual / packetTime);
    addSample("tree.avi");
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), BurstTime::besidePunctual / packetTime / 2);
    remove("door");
    remove("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return names().size() == 1; }));
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), BurstTime::alone / packetTime);

    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 1) << "the rest of the group of 30";
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 1) << "the next key picture";

    _options.paced = true;
    addSample("box.mp4");
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), BurstTime::besidePunctual / packetTime);
}

TEST_F(InputSetTest, DecodesBurstsOfTheLengthAskedForUnlessAnInputIsPunctual)
{
    _options.audio = false;
    _options.burst = 5;
    addSample("cup.mp4");
    _options.paced = true;
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 2; }));
    for (FakeDecodingManager::Decoder &decoder : _manager.decoders)
        EXPECT_FALSE(FakeDecodingManager::finds(decoder));
    ASSERT_TRUE(pollUntil([this] { return shown("cup.mp4").packets >= 64 && shown("tree.avi").packets >= 4; }));
    notePace("cup.mp4 video", 1ms);
    for (FakeDecodingManager::Decoder &decoder : _manager.decoders) {
        const int longest = decoder.name.startsWith("cup") ? 5 : 1;
        EXPECT_EQ(FakeDecodingManager::takePackets(decoder), 1);
        EXPECT_EQ(FakeDecodingManager::takePackets(decoder), longest);
        EXPECT_EQ(FakeDecodingManager::takePackets(decoder), longest);
    }
}

TEST_F(InputSetTest, DecodesNoMorePacketsInOneGoThanTakeATenthOfASecondWhateverIsAskedFor)
{
    _options.audio = false;
    _options.burst = 1000;
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 1; }));
    FakeDecodingManager::Decoder &cup = _manager.decoders.front();
    EXPECT_FALSE(FakeDecodingManager::finds(cup));
    ASSERT_TRUE(pollUntil([this] { return shown("cup.mp4").packets >= 64; }));
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 1) << "the key picture";
    notePace("cup.mp4 video", 20ms);
    EXPECT_EQ(FakeDecodingManager::takePackets(cup), 5);
}

TEST_F(InputSetTest, LeavesTheRestOfABurstOfAnInputThatIsClosed)
{
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 2; }));
    const auto video = _damage.paceOf({"cup.mp4 video"});
    const auto audio = _damage.paceOf({"cup.mp4 audio"});
    ASSERT_TRUE(video && audio);
    EXPECT_FALSE(video->isStopped() || audio->isStopped());
    _handles["cup.mp4"]->close();
    ASSERT_TRUE(pollUntil([&] { return video->isStopped() && audio->isStopped(); }));
}

TEST_F(InputSetTest, PicturesOfALiveInputWaitForEachOtherOnlyWhereThatIsAskedFor)
{
    _options.audio = false;
    add("lavfi:testsrc2=size=64x48:rate=100", "at once");
    _options.burst = 5;
    add("lavfi:testsrc2=size=64x48:rate=100", "in fives");
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 2; }));
    notePace("in fives video", 1ms);
    std::map<QString, int> packets; // of the first block that was found
    ASSERT_TRUE(pollUntil([&] {
        for (FakeDecodingManager::Decoder &decoder : _manager.decoders) {
            int &found = packets[decoder.name];
            found = found == 0 ? FakeDecodingManager::takePackets(decoder) : found;
        }
        return packets["at once video"] > 0 && packets["in fives video"] > 0;
    }));
    EXPECT_EQ(packets["at once video"], 1);
    EXPECT_EQ(packets["in fives video"], 5);
}

TEST_F(InputSetTest, SharesTheCoresAmongTheFilesWhoseTurnItIs)
{
    const auto threads = std::make_shared<CodecThreads>(0, 4);
    InputSet inputs({_manager, _workers, _damage, 4}, _jobs, threads, Admission(2, 4, nullptr));
    std::vector<std::shared_ptr<decoding::Input::Core>> cores;
    for (int count = 0; count < 5; ++count)
        cores.push_back(std::get<0>(inputs.add(sample("cup.mp4"), _options)));
    inputs.poll();
    EXPECT_EQ(threads->forFile(), 3); // two of them, and one more
}

TEST_F(InputSetTest, LeavesNoDecoderThreadWithSoundAlone)
{
    for (const std::size_t threads : {2, 3, 4}) {
        _manager.decoders.clear();
        InputSet inputs({_manager, _workers, _damage, static_cast<int>(threads)}, _jobs,
                        std::make_shared<CodecThreads>(0, 1), Admission(1000, 1, nullptr));
        std::vector<std::shared_ptr<decoding::Input::Core>> cores;
        for (std::size_t input = 0; input < threads; ++input)
            cores.push_back(std::get<0>(inputs.add(sample("cup.mp4"), _options)));
        ASSERT_TRUE(waitUntil([&] {
            inputs.poll();
            return _manager.decoders.size() == 2 * threads;
        }));
        // As the component does.
        std::vector<std::vector<bool>> arePictures(threads);
        for (const FakeDecodingManager::Decoder &decoder : _manager.decoders)
            std::min_element(arePictures.begin(), arePictures.end(), [](const auto &left, const auto &right) {
                return left.size() < right.size();
            })->push_back(!decoder.pictures.isNull());
        for (const std::vector<bool> &onThread : arePictures)
            EXPECT_EQ(std::count(onThread.begin(), onThread.end(), true), 1) << "of " << threads;
    }
}

TEST_F(InputSetTest, TellsOnceWhyAnInputCannotBeOpenedThoughItIsDroppedThen)
{
    add("/nowhere/clip.mp4");
    ASSERT_TRUE(pollUntil([this] { return isFinished("clip.mp4"); }));
    EXPECT_EQ(shown("clip.mp4").state, decoding::State::Failed);
    remove("clip.mp4");
    ASSERT_TRUE(pollUntil([this] { return names().empty(); }));
    EXPECT_THAT(_messages, ElementsAre("/nowhere/clip.mp4: there is no such file"));
}

TEST_F(InputSetTest, ForgetsAnInputWithoutAHandleAndLeavesTheOthersAlone)
{
    addSample("cup.mp4");
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4") && isOpen("tree.avi"); }));
    remove("cup.mp4");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi") && names().size() == 1; }));
    EXPECT_EQ(shown("tree.avi").streams.front().frames, 24);
    EXPECT_EQ(shown("tree.avi").state, decoding::State::Ended);
}

TEST_F(InputSetTest, GivesANameAgainOnlyOnceItsOwnerHasLeft)
{
    EXPECT_EQ(addUnreachable("door"), "");
    EXPECT_THAT(addUnreachable("door"), StartsWith("door: "));
    remove("door");
    EXPECT_THAT(addUnreachable("door"), StartsWith("door: "));
    ASSERT_TRUE(pollUntil([this] { return names().empty(); }));
    EXPECT_EQ(addUnreachable("door"), "");
}

TEST_F(InputSetTest, EndsWhatItCannotHaveDecoded)
{
    _manager.refuses = true;
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(_messages, ElementsAre(HasSubstr("gives no decoder")));
    EXPECT_THAT(_handles["cup.mp4"]->error().value_or(""), HasSubstr("gives no decoder"));
}

TEST_F(InputSetTest, EndsWhatItCannotHaveDecodedForOneMoreReader)
{
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4"); }));
    _manager.refuses = true;
    const auto reader = _handles["cup.mp4"]->addVideoReader();
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(_handles["cup.mp4"]->error().value_or(""), HasSubstr("gives no decoder"));
    EXPECT_EQ(reader->next(), std::nullopt);
}

TEST_F(InputSetTest, WritesToAFileAgainOnceAllInputsThatItWasHaveLeft)
{
    const QTemporaryDir folder;
    const auto path = [&folder](const char *name) { return folder.filePath(QLatin1String(name)).toStdString(); };
    _options.outputs.resize(1);
    _options.outputs[0].kind = decoding::Output::Kind::Wav;
    _options.outputs[0].directory = folder.path().toStdString();
    std::filesystem::copy_file(sample("cup.mp4"), path("cup.mp4"));
    // Whose outputs will be the same file as the input.
    for (const char *const name : {"early", "between", "late"})
        std::filesystem::create_hard_link(path("cup.mp4"), path(name) + ".wav");
    const auto refusal = [&](const char *name) {
        EXPECT_TRUE(pollUntil([&] { return isFinished(name) || isOpen(name); }));
        return isOpen(name) ? std::string() : shown(name).errors().front();
    };

    add(path("cup.mp4"), "cup");
    add(path("cup.mp4"), "cup (2)");
    ASSERT_TRUE(decodeUntil([&] { return isFinished("cup") && isFinished("cup (2)"); }));
    add(sample("cup.mp4"), "early");
    EXPECT_THAT(refusal("early"), HasSubstr("one of the inputs"));
    add(sample("cup.mp4"), "between");
    remove("cup");
    EXPECT_THAT(refusal("between"), HasSubstr("one of the inputs"));
    add(sample("cup.mp4"), "late");
    remove("cup (2)");
    EXPECT_EQ(refusal("late"), "");
}

TEST_F(InputSetTest, LeavesAloneWhatIsDecodedWhenItIsClosed)
{
    addSample("tree.avi");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    addSample("box.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("box.mp4"); }));
    _inputs.close();
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_EQ(shown("tree.avi").streams.front().frames, 24);
    EXPECT_EQ(shown("tree.avi").progress, 1.0);
    EXPECT_LT(shown("box.mp4").streams.front().frames, 455) << "it is not decoded to its end";
    EXPECT_THAT(_messages, IsEmpty());
}

TEST_F(InputSetTest, TakesNoMoreInputsOnceItIsClosed)
{
    addUnreachable("door");
    _inputs.close();
    EXPECT_NE(addUnreachable("yard"), "");
    ASSERT_TRUE(pollUntil([this] { return _inputs.isFinished(); }));
    EXPECT_THAT(names(), ElementsAre("door"));
}

TEST_F(InputSetTest, MissesFramesOfAStreamFromItsOwnBeginningOn)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "libavdevice loses a frame of each graph with two outputs";
#endif
    _options.outputs.clear();
    add("lavfi:testsrc2=size=64x48:rate=25[out0];anoisesrc=sample_rate=8000[out1]", "pattern");
    const auto told = [this](const char *stream) {
        return std::any_of(_messages.begin(), _messages.end(), [stream](const std::string &message) {
            return message.find(std::string(stream) + ": no frame in 5 s") != std::string::npos;
        });
    };
    ASSERT_TRUE(pollUntil([this] { return shown("pattern").state == decoding::State::Ready; }));
    static_cast<void>(_handles["pattern"]->video().next(std::chrono::milliseconds(0)));
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 1; }));
    FakeDecodingManager::finds(_manager.decoders[0]); // so that the source begins
    ASSERT_TRUE(pollUntil([&] { return told("pattern video"); }));
    static_cast<void>(_handles["pattern"]->audio().next(std::chrono::milliseconds(0)));
    ASSERT_TRUE(pollUntil([this] { return _manager.decoders.size() == 2; }));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(pollUntil([&] { return told("pattern audio"); })) << "later";
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}
