#include "cli/DecodeReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <gmock/gmock.h>

using decoding::Snapshot;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

Snapshot::Stream video()
{
    Snapshot::Stream stream;
    stream.kind = "video";
    stream.codec = "h264";
    stream.frames = 12345;
    stream.damaged = 2;
    stream.outputs = {{"null", 12345, 20, 1, 0, 50, std::nullopt}, {"y4m", 12345, 40, 1, 6400, 200, std::nullopt}};
    return stream;
}

Snapshot::Stream audio()
{
    Snapshot::Stream stream;
    stream.kind = "audio";
    stream.codec = "aac";
    stream.frames = 5;
    return stream;
}

DecodeReport finished()
{
    DecodeReport report;
    report.snapshot.inputs.resize(1);
    report.snapshot.inputs[0].name = "clip.mp4";
    report.snapshot.inputs[0].decoding = std::chrono::seconds(10);
    report.snapshot.inputs[0].latency = Snapshot::Latency{4.25, 2, 1017};
    report.snapshot.inputs[0].streams = {video(), audio()};
    report.wallTimeMs = 2000;
    report.cpuTimeMs = 3000;
    report.cores = 2;
    report.peakMemoryBytes = 123456789;
    return report;
}

DecodeReport whole()
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].streams[0].damaged = 0;
    return report;
}

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    for (const QString &line : QString::fromStdString(text).split(QLatin1Char('\n')))
        lines.push_back(line.toStdString());
    return lines;
}

QJsonObject json(const DecodeReport &report)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(report.toJson())).object();
}

QJsonObject only(const QJsonObject &object, const char *key)
{
    return object[QLatin1String(key)].toArray()[0].toObject();
}

} // namespace

TEST(DecodeReport, ShowsARowForEachStreamInColumnsThatFit)
{
    EXPECT_THAT(linesOf(finished().toText()),
                ElementsAre("input     stream  codec  frames  damaged  lost      fps   latency ms  waited ms  dropped",
                            "clip.mp4  video   h264   12,345        2     0  1,234.5  4.3 / 1,017        250       60",
                            "clip.mp4  audio   aac         5        0     0      0.5                       0        0",
                            "total      1 input, 2 streams, 12,350 frames in 2.00 s", //
                            "processor  3.00 s of CPU time, 75 % of 2 cores",         //
                            "memory     123.5 MB at most",                            //
                            "left       nothing",                                     //
                            "error      clip.mp4 video: damaged in 2 places", ""));
}

TEST(DecodeReport, KnowsNoFramesPerSecondOfWhatDidNotBegin)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].decoding = std::chrono::seconds(0);
    EXPECT_THAT(linesOf(report.toText())[1], HasSubstr("     0  0.0  4.3 / 1,017"));
}

TEST(DecodeReport, ShortensNamesAtTheLeftToKeepTheTableWithinItsWidth)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].name = "/media/a/very/long/path/to/some/place/deep/below/the/root/clip.mp4";
    const std::vector<std::string> lines = linesOf(report.toText(100));
    EXPECT_EQ(lines[0].size(), 100);
    EXPECT_EQ(lines[1].size(), 100);
    EXPECT_THAT(lines[1], HasSubstr("...the/root/clip.mp4  video"));
    EXPECT_THAT(linesOf(report.toText(20))[1], HasSubstr(".../clip.mp4  video"));
}

TEST(DecodeReport, ShowsTheLatencyInTheFirstRowOfEachInputAndADashWhenNothingWasRead)
{
    DecodeReport report = finished();
    report.snapshot.inputs.push_back(report.snapshot.inputs[0]);
    report.snapshot.inputs[1].latency = Snapshot::Latency{0.5, 1, 7};
    report.snapshot.inputs.push_back(report.snapshot.inputs[0]);
    report.snapshot.inputs[2].latency.reset();
    const std::vector<std::string> lines = linesOf(report.toText());
    EXPECT_THAT(lines[1], EndsWith("1,234.5  4.3 / 1,017        250       60"));
    EXPECT_THAT(lines[2], EndsWith("0.5                       0        0"));
    EXPECT_THAT(lines[3], EndsWith("1,234.5      0.5 / 7        250       60"));
    EXPECT_THAT(lines[4], EndsWith("0.5                       0        0"));
    EXPECT_THAT(lines[5], EndsWith("1,234.5            -        250       60"));
    EXPECT_THAT(lines[6], EndsWith("0.5                       0        0"));
}

TEST(DecodeReport, SaysThatThereIsNoDecoderAndShowsTheLatencyBesideAStreamThatHasOne)
{
    DecodeReport report = finished();
    Snapshot::Stream &video = report.snapshot.inputs[0].streams[0];
    video = {};
    video.kind = "video";
    video.codec = video.missingCodec = "NOPE";
    std::vector<std::string> lines = linesOf(report.toText());
    EXPECT_THAT(lines[1], HasSubstr("  video   NOPE, no decoder       0        0     0  0.0                       0"));
    EXPECT_THAT(lines[2], HasSubstr("  audio   aac                    5        0     0  0.5  4.3 / 1,017          0"));
    report.snapshot.inputs[0].streams.pop_back();
    EXPECT_THAT(linesOf(report.toText())[1], HasSubstr("  0.0  4.3 / 1,017"));
}

TEST(DecodeReport, KeepsTheTableInOneLineForEachStreamWhateverTheNameHolds)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].name = "two\nlines\x1b[2J";
    EXPECT_THAT(linesOf(report.toText())[1], HasSubstr("two?lines?[2J  video"));
}

TEST(DecodeReport, EndsWithALineForEachErrorInTheOrderOfTheInputsThenForWhatIsLeft)
{
    DecodeReport report = finished();
    report.snapshot.inputs.push_back(report.snapshot.inputs[0]);
    report.snapshot.inputs[0].streams[0].outputs[1].error = "clip.y4m: disk full";
    report.snapshot.inputs[0].error = "clip.mp4: broken\noff";
    report.snapshot.inputs[1].name = "clip-2.mp4";
    report.snapshot.inputs[1].streams[0].damaged = 0;
    report.snapshot.inputs[1].streams[1].damaged = 1;
    report.remains.threads = {4711};
    const std::vector<std::string> lines = linesOf(report.toText());
    EXPECT_THAT(std::vector<std::string>(lines.end() - 6, lines.end()),
                ElementsAre("error      clip.mp4: broken?off", "error      clip.mp4 video: damaged in 2 places",
                            "error      clip.y4m: disk full", "error      clip-2.mp4 audio: damaged in 1 place",
                            "error      the component left 1 thread", ""));
}

TEST(DecodeReport, ShowsBothLoadsOnceTheyAreKnown)
{
    DecodeReport report = finished();
    report.snapshot.load = {0.25, 0, 0.5, 0.875};
    EXPECT_THAT(report.toText(), Not(HasSubstr("\nload ")));
    EXPECT_TRUE(json(report)[QStringLiteral("totals")].toObject()[QStringLiteral("componentCpuLoad")].isNull());
    EXPECT_TRUE(json(report)[QStringLiteral("totals")].toObject()[QStringLiteral("measuredCpuLoad")].isNull());
    report.snapshot.load.samples = 3;
    report.snapshot.measuredLoad = {0.5, 3, 0.625, 1};
    EXPECT_THAT(report.toText(), HasSubstr("load       63 % measured, at most 100 %\n"
                                           "load       50 % by the component's count, at most 88 %\n"));
}

TEST(DecodeReport, FailsForErrorsForDamageAndForWhatIsLeftBehind)
{
    EXPECT_EQ(whole().exitCode(), 0);
    EXPECT_THAT(whole().toText(), Not(HasSubstr("\nerror ")));

    const std::vector<void (*)(DecodeReport &)> failures{
        [](DecodeReport &report) { report.snapshot.inputs[0].error = "wrong"; },
        [](DecodeReport &report) { report.snapshot.inputs[0].streams[0].outputs[0].error = "wrong"; },
        [](DecodeReport &report) { report.snapshot.inputs[0].streams[1].damaged = 1; },
        [](DecodeReport &report) { report.removedOutputErrors = {"wrong"}; },
        [](DecodeReport &report) { report.remains.published = {"e0711c9b"}; },
        [](DecodeReport &report) { report.remains.threads = {4711}; },
        [](DecodeReport &report) {
            report.objectsLeft = {{"BlockQueue", 2}};
        },
        [](DecodeReport &report) { report.slabBlocksLeft = 7; },
    };
    for (const auto &fail : failures) {
        DecodeReport report = whole();
        fail(report);
        EXPECT_EQ(report.exitCode(), 1) << report.toText();
        EXPECT_THAT(report.toText(), HasSubstr("\nerror ")) << "a failure without its reason";
        report.interrupted = true;
        EXPECT_EQ(report.exitCode(), 130);
        EXPECT_THAT(report.toText(), HasSubstr("2.00 s, interrupted\n"));
    }
}

TEST(DecodeReport, NamesEverythingThatIsLeft)
{
    DecodeReport report;
    report.remains.published = {"e0711c9b"};
    report.remains.threads = {11};
    report.objectsLeft = {{"BlockQueue", 2}, {"FormatManager", 1}};
    report.slabBlocksLeft = 1234;
    EXPECT_THAT(report.toText(), HasSubstr("left       1 identifier published: e0711c9b; 1 thread; "
                                           "3 objects: 2 of BlockQueue, 1 of FormatManager; 1,234 big blocks\n"));
    EXPECT_THAT(report.allErrors(),
                ElementsAre("the component left 1 identifier published: e0711c9b", "the component left 1 thread",
                            "the component left 3 objects: 2 of BlockQueue, 1 of FormatManager",
                            "the component left 1,234 big blocks"));
    const QJsonObject left = json(report)[QStringLiteral("afterStop")].toObject();
    EXPECT_EQ(left[QStringLiteral("published")].toArray()[0].toString(), QStringLiteral("e0711c9b"));
    EXPECT_EQ(left[QStringLiteral("threads")].toArray()[0].toInt(), 11);
    EXPECT_EQ(left[QStringLiteral("liveObjects")].toObject()[QStringLiteral("BlockQueue")].toInt(), 2);
    EXPECT_EQ(left[QStringLiteral("bigBlocks")].toInt(), 1234);
}

TEST(DecodeReport, ShowsWhatIsLeftInOneLineWhateverItsNames)
{
    DecodeReport report;
    report.remains.published = {"e07\n11c9b"};
    report.objectsLeft = {{"Block\x1b[31mQueue", 1}};
    EXPECT_THAT(report.toText(), HasSubstr("left       1 identifier published: e07?11c9b; "
                                           "1 object: 1 of Block?[31mQueue\n"));
}

TEST(DecodeReport, FailsForTheDamageOfAFileButNotForThatOfALiveSource)
{
    DecodeReport report = finished();
    EXPECT_EQ(report.exitCode(), 1);
    report.snapshot.inputs[0].live = true;
    EXPECT_EQ(report.exitCode(), 0);
    report.snapshot.inputs[0].error = "rtsp://camera: no packet for 5 s";
    EXPECT_EQ(report.exitCode(), 1);
}

TEST(DecodeReport, HoldsTheSameFiguresAsJson)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].live = true;
    report.snapshot.inputs[0].streams[0].delivering = std::chrono::seconds(10);
    report.snapshot.inputs[0].connections = 3;
    report.snapshot.inputs[0].packets = 600;
    report.snapshot.inputs[0].bytes = 70000;
    report.snapshot.inputs[0].peakQueuedBlocks = 64;
    report.snapshot.inputs[0].peakQueuedBytes = 8000;
    report.snapshot.inputs[0].streams[0].lost = 25;
    report.remains.threads = {11};
    report.snapshot.load = {0.25, 2, 0.5, 0.75};
    report.snapshot.measuredLoad = {0.5, 2, 0.625, 0.875};
    const QJsonObject root = json(report);
    EXPECT_EQ(root[QStringLiteral("exitCode")].toInt(-1), 1) << "a thread is left";
    EXPECT_EQ(root[QStringLiteral("interrupted")].toBool(true), false);
    EXPECT_TRUE(root[QStringLiteral("errors")].isArray());

    const QJsonObject totals = root[QStringLiteral("totals")].toObject();
    EXPECT_EQ(totals,
              (QJsonObject{{QStringLiteral("inputs"), 1},
                           {QStringLiteral("streams"), 2},
                           {QStringLiteral("frames"), 12350},
                           {QStringLiteral("wallTimeMs"), 2000},
                           {QStringLiteral("cpuTimeMs"), 3000},
                           {QStringLiteral("cpuShare"), 0.75},
                           {QStringLiteral("cores"), 2},
                           {QStringLiteral("peakMemoryBytes"), 123456789},
                           {QStringLiteral("componentCpuLoad"),
                            QJsonObject{{QStringLiteral("average"), 0.5}, {QStringLiteral("maximum"), 0.75}}},
                           {QStringLiteral("measuredCpuLoad"),
                            QJsonObject{{QStringLiteral("average"), 0.625}, {QStringLiteral("maximum"), 0.875}}}}));

    const QJsonObject input = only(root, "inputs");
    EXPECT_EQ(input[QStringLiteral("name")].toString(), QStringLiteral("clip.mp4"));
    EXPECT_TRUE(input[QStringLiteral("live")].toBool());
    EXPECT_EQ(input[QStringLiteral("connections")].toInt(), 3);
    EXPECT_EQ(input[QStringLiteral("packets")].toInt(), 600);
    EXPECT_EQ(input[QStringLiteral("bytes")].toInt(), 70000);
    EXPECT_EQ(input[QStringLiteral("peakQueuedBlocks")].toInt(), 64);
    EXPECT_EQ(input[QStringLiteral("peakQueuedBytes")].toInt(), 8000);
    EXPECT_EQ(input[QStringLiteral("latencyMs")].toObject(),
              (QJsonObject{{QStringLiteral("average"), 4.25}, {QStringLiteral("maximum"), 1017}}));
    EXPECT_TRUE(input[QStringLiteral("error")].isNull());

    QJsonObject stream = only(input, "streams");
    EXPECT_EQ(only(stream, "outputs"), (QJsonObject{{QStringLiteral("kind"), QStringLiteral("null")},
                                                    {QStringLiteral("frames"), 12345},
                                                    {QStringLiteral("dropped"), 20},
                                                    {QStringLiteral("nullBlocks"), 1},
                                                    {QStringLiteral("bytes"), 0},
                                                    {QStringLiteral("notWritten"), 0},
                                                    {QStringLiteral("waitedMs"), 50},
                                                    {QStringLiteral("error"), QJsonValue()}}));
    stream.remove(QStringLiteral("outputs"));
    EXPECT_EQ(stream, (QJsonObject{{QStringLiteral("index"), 0},
                                   {QStringLiteral("kind"), QStringLiteral("video")},
                                   {QStringLiteral("codec"), QStringLiteral("h264")},
                                   {QStringLiteral("width"), 0},
                                   {QStringLiteral("height"), 0},
                                   {QStringLiteral("state"), QStringLiteral("connecting")},
                                   {QStringLiteral("notWritten"), 0},
                                   {QStringLiteral("lastError"), QJsonValue()},
                                   {QStringLiteral("frames"), 12345},
                                   {QStringLiteral("damaged"), 2},
                                   {QStringLiteral("lost"), 25},
                                   {QStringLiteral("durationMs"), 10000},
                                   {QStringLiteral("framesPerSecond"), 1234.5},
                                   {QStringLiteral("waitedMs"), 250}}));
}

TEST(DecodeReport, PutsErrorsInJsonWhereTheyBelongAndAllTogether)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].error = "of the input";
    report.snapshot.inputs[0].streams[0].outputs[0].error = "of the output";
    report.slabBlocksLeft = 7;
    const QJsonObject root = json(report);
    EXPECT_EQ(root[QStringLiteral("exitCode")].toInt(), 1);
    EXPECT_EQ(root[QStringLiteral("errors")].toArray(),
              (QJsonArray{QStringLiteral("of the input"), QStringLiteral("clip.mp4 video: damaged in 2 places"),
                          QStringLiteral("of the output"), QStringLiteral("the component left 7 big blocks")}));
    const QJsonObject input = only(root, "inputs");
    EXPECT_EQ(input[QStringLiteral("error")].toString(), QStringLiteral("of the input"));
    EXPECT_EQ(only(only(input, "streams"), "outputs")[QStringLiteral("error")].toString(),
              QStringLiteral("of the output"));
}

TEST(DecodeReport, TellsTheRateOfALiveInputFromItsFirstFrameOn)
{
    DecodeReport report = finished();
    report.snapshot.inputs[0].streams[0].frames = 100;
    report.snapshot.inputs[0].streams[0].delivering = std::chrono::seconds(4);
    EXPECT_EQ(only(only(json(report), "inputs"), "streams")[QStringLiteral("framesPerSecond")].toDouble(), 10);
    report.snapshot.inputs[0].live = true;
    EXPECT_EQ(only(only(json(report), "inputs"), "streams")[QStringLiteral("framesPerSecond")].toDouble(), 25);
}

TEST(DecodeReport, TellsWhatWasWrongWhileItRan)
{
    DecodeReport report = finished();
    Snapshot::Input &input = report.snapshot.inputs[0];
    input.state = decoding::State::Running;
    input.lastError = Snapshot::Trouble{{}, "no packet for 5 s"};
    input.streams[0].width = 1280;
    input.streams[0].height = 720;
    input.streams[0].outputs[1].failed = 7;
    input.streams[1].missingCodec = "NOPE";
    input.streams[1].lastError = Snapshot::Trouble{{}, "no decoder for NOPE"};
    EXPECT_THAT(linesOf(report.toText())[1], HasSubstr("  video   h264 1280x720  "));
    const QJsonObject shown = only(json(report), "inputs");
    EXPECT_EQ(shown[QStringLiteral("state")].toString(), QStringLiteral("running"));
    EXPECT_EQ(shown[QStringLiteral("lastError")].toObject()[QStringLiteral("text")].toString(),
              QStringLiteral("no packet for 5 s"));
    const QJsonObject picture = only(shown, "streams");
    EXPECT_EQ(picture[QStringLiteral("codec")].toString(), QStringLiteral("h264"));
    EXPECT_EQ(picture[QStringLiteral("width")].toInt(), 1280);
    EXPECT_EQ(picture[QStringLiteral("height")].toInt(), 720);
    EXPECT_EQ(picture[QStringLiteral("notWritten")].toInt(), 7);
    EXPECT_TRUE(picture[QStringLiteral("lastError")].isNull());
    EXPECT_EQ(picture[QStringLiteral("outputs")].toArray()[1].toObject()[QStringLiteral("notWritten")].toInt(), 7);
    const QJsonObject sound = shown[QStringLiteral("streams")].toArray()[1].toObject();
    EXPECT_EQ(sound[QStringLiteral("state")].toString(), QStringLiteral("no-decoder"));
    EXPECT_FALSE(sound[QStringLiteral("lastError")].toObject()[QStringLiteral("at")].toString().isEmpty());
}
