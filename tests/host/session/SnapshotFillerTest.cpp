#include "session/SnapshotFiller.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <chrono>
#include <memory>

#include "host/live/Loopback.h"
#include "host/session/InputSetFixture.h"

using decoding::Mode;
using decoding::Snapshot;
using decoding::State;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

namespace {

class SnapshotFillerTest : public InputSetFixture {
protected:
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
};

} // namespace

TEST(SnapshotInput, ThatIsLiveFailsWhenItsVideoHasEndedWithoutAPicture)
{
    Snapshot::Input input;
    input.name = "door";
    input.live = true;
    input.streams.resize(2);
    input.streams[0].kind = "video";
    input.streams[1].kind = "audio";        // may have been silent
    EXPECT_THAT(input.errors(), IsEmpty()); // so far
    input.finished = true;
    input.decoding = std::chrono::milliseconds(999); // ended before there could be one
    EXPECT_THAT(input.errors(), IsEmpty());
    input.decoding = std::chrono::milliseconds(1000);
    EXPECT_THAT(input.errors(), ElementsAre("door video: no picture could be decoded"));
    input.streams[0].frames = 1;
    EXPECT_THAT(input.errors(), IsEmpty());
}

TEST(SnapshotInput, CountsInTheErrorOfAnOutputWhatIsMissingThere)
{
    Snapshot::Input input;
    input.streams.resize(1);
    input.streams[0].outputs.resize(2);
    input.streams[0].outputs[0].error = "a.raw did not take its last 3 frames";
    input.streams[0].outputs[1].error = "cannot write b.raw: full";
    input.streams[0].outputs[1].failed = 1211;
    EXPECT_THAT(input.errors(), ElementsAre("a.raw did not take its last 3 frames",
                                            "cannot write b.raw: full; 1,211 frames are missing"));
    input.streams[0].outputs[1].failed = 1;
    EXPECT_THAT(input.errors(), testing::Contains("cannot write b.raw: full; 1 frame is missing"));
}

TEST_F(SnapshotFillerTest, ShowsALiveInputThatHasNoStreams)
{
    const Loopback silent(SOCK_STREAM);
    add("tcp://127.0.0.1:" + std::to_string(silent.port()), "yard");
    EXPECT_EQ(shown("yard").state, State::Connecting);
    EXPECT_TRUE(shown("yard").live);
    EXPECT_THAT(shown("yard").streams, IsEmpty());
    EXPECT_EQ(shown("yard").latency, std::nullopt);

    addUnreachable("door");
    ASSERT_TRUE(pollUntil([this] { return shown("door").state == State::Waiting; }));
    EXPECT_THAT(shown("door").error, Optional(std::string("door: cannot be opened: Connection refused")));
}

TEST_F(SnapshotFillerTest, TellsTheStatesOfAFile)
{
    addSample("tree.avi");
    EXPECT_EQ(shown("tree.avi").state, State::Connecting);
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(shown("tree.avi").state, State::Running);
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    EXPECT_EQ(shown("tree.avi").state, State::Ended);
    EXPECT_THAT(shown("tree.avi").latency, testing::Ne(std::nullopt));

    add("/nowhere/clip.mp4");
    ASSERT_TRUE(pollUntil([this] { return isFinished("clip.mp4"); }));
    EXPECT_EQ(shown("clip.mp4").state, State::Failed);
}

TEST_F(SnapshotFillerTest, ShowsAFileThatNobodyReadsAsReady)
{
    _options.outputs.clear();
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return shown("cup.mp4").state == State::Ready; }));
    EXPECT_TRUE(_handles["cup.mp4"]->hasVideo());
    EXPECT_TRUE(_handles["cup.mp4"]->hasAudio());
    EXPECT_THAT(_manager.decoders, IsEmpty());
}

TEST_F(SnapshotFillerTest, ShowsTheLightsAndTheThreadOfEachDecoder)
{
    _indications = ModkitPtr<IndicationManager>(new IndicationManager);
    addSample("cup.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("cup.mp4"); }));
    EXPECT_EQ(shown("cup.mp4").streams[0].lights, std::nullopt);
    show("DecoderCycle", "cup.mp4 video", 0, "Decoder/1");
    show("DecoderLost", "cup.mp4 video", 2, "Decoder/2");
    show("DecoderCycle", "cup.mp4 audio", 3, "Decoder/1");
    show("DecoderCycle", "somebody else", 0, "Decoder/7");
    constexpr auto dark = decoding::Light::Black;
    const Snapshot::Input cup = shown("cup.mp4");
    EXPECT_THAT(cup.streams[0].lights,
                Optional(ElementsAre(dark, decoding::Light::Bad, decoding::Light::Good, dark, dark, dark, dark)));
    EXPECT_EQ(cup.streams[0].thread, "Decoder/1");
    EXPECT_THAT(cup.streams[1].lights, Optional(ElementsAre(dark, dark, dark, dark, dark, dark, dark)));

    Snapshot snapshot;
    SnapshotFiller(_indications.data(), _mode).add(*_inputs.inputs().front(), snapshot);
    ASSERT_EQ(snapshot.threads.size(), 1U);
    EXPECT_EQ(snapshot.threads[0].name, "Decoder/1");
    EXPECT_EQ(snapshot.threads[0].decoders, 2);
}

TEST_F(SnapshotFillerTest, ShowsTheModeOfWhatIsTuned)
{
    addSample("tree.avi");
    _options.excludeFromTuning = true;
    addSample("box.mp4");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi") && isOpen("box.mp4"); }));
    EXPECT_EQ(shown("tree.avi").streams[0].mode, Mode::Performance);
    _mode = Mode::TimeSaving;
    EXPECT_EQ(shown("tree.avi").streams[0].mode, Mode::TimeSaving);
    EXPECT_TRUE(shown("tree.avi").streams[0].tuned);
    EXPECT_EQ(shown("box.mp4").streams[0].mode, Mode::Performance);
    EXPECT_FALSE(shown("box.mp4").streams[0].tuned);
}

TEST_F(SnapshotFillerTest, CountsWhatEachOutputWasGiven)
{
    _options.audio = false;
    addSample("tree.avi");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    const Snapshot::Stream video = shown("tree.avi").streams.at(0);
    ASSERT_EQ(video.outputs.size(), 1U);
    EXPECT_EQ(video.outputs[0].kind, "null");
    EXPECT_EQ(video.outputs[0].frames, 24);
    EXPECT_EQ(video.codec, "cinepak");
    EXPECT_EQ(video.name, "tree.avi video");
}

TEST_F(SnapshotFillerTest, ShowsAStreamThatThereIsNoDecoderForBesideTheOthers)
{
    const QTemporaryDir folder;
    QFile whole(QString::fromStdString(sample("cup.mp4")));
    QFile unknown(folder.filePath("unknown.mp4"));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly) && unknown.open(QIODevice::WriteOnly));
    unknown.write(whole.readAll().replace("avc1", "NOPE"));
    unknown.close();
    add(unknown.fileName().toStdString());
    ASSERT_TRUE(pollUntil([this] { return !_messages.empty(); }));
    EXPECT_THAT(_messages, ElementsAre("unknown.mp4 video: no decoder for NOPE"));
    const Snapshot::Input input = shown("unknown.mp4");
    ASSERT_EQ(input.streams.size(), 2U);
    EXPECT_EQ(input.streams[0].name, "unknown.mp4 video");
    EXPECT_EQ(input.streams[0].missingCodec, "NOPE");
    EXPECT_EQ(input.stateOf(input.streams[0]), State::NoDecoder);
    EXPECT_EQ(input.lastErrorOf(input.streams[0])->text, "no decoder for NOPE");
    EXPECT_EQ(input.stateOf(input.streams[1]), State::Running);
    EXPECT_EQ(input.streams[1].missingCodec, "");
    ASSERT_TRUE(decodeUntil([this] { return isFinished("unknown.mp4"); }));
    EXPECT_EQ(shown("unknown.mp4").state, State::Failed);
    EXPECT_THAT(shown("unknown.mp4").errors(), ElementsAre("unknown.mp4 video: no decoder for NOPE"));
}

TEST_F(SnapshotFillerTest, ShowsThePresentCodecAndSizeAndWhatCannotBeOpened)
{
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(shown("tree.avi").streams[0].form(), "cinepak 320x240");
    _damage.setCodec({"tree.avi video"}, {"h264", 1280, 720});
    EXPECT_EQ(shown("tree.avi").streams[0].form(), "h264 1280x720");
    _damage.setCodec({"tree.avi video"}, {"hevc", 0, 0, true});
    EXPECT_EQ(shown("tree.avi").streams[0].missingCodec, "hevc");
    ASSERT_TRUE(pollUntil([this] { return !_messages.empty(); }));
    EXPECT_THAT(_messages, ElementsAre("tree.avi video: no decoder for hevc"));
}

TEST_F(SnapshotFillerTest, ShowsDamageWhileItComes)
{
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(shown("tree.avi").streams[0].sinceDamage, std::nullopt);
    _damage.add({"tree.avi video"}, DamageCounts::ConcealedDamage, "cinepak");
    ASSERT_TRUE(pollUntil([this] { return shown("tree.avi").streams[0].sinceDamage.has_value(); }));
    const Snapshot::Stream video = shown("tree.avi").streams[0];
    EXPECT_EQ(video.damaged, 1);
    EXPECT_LT(*video.sinceDamage, std::chrono::seconds(30));
    EXPECT_EQ(video.lastError->text, "damaged picture or samples: cinepak");
}

TEST_F(SnapshotFillerTest, ShowsSinceWhenAStreamDelivers)
{
    addSample("tree.avi");
    ASSERT_TRUE(pollUntil([this] { return isOpen("tree.avi"); }));
    EXPECT_EQ(shown("tree.avi").streams[0].delivering.count(), 0);
    ASSERT_TRUE(decodeUntil([this] { return isFinished("tree.avi"); }));
    const Snapshot::Input input = shown("tree.avi");
    EXPECT_LE(input.streams[0].delivering, input.decoding);
    EXPECT_FALSE(_inputs.inputs().front()->streams().front().stream->firstFrameAt() == std::nullopt);
}
