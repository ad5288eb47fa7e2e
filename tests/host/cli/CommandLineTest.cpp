#include "cli/CommandLine.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

auto parse(std::vector<const char *> arguments)
{
    arguments.insert(arguments.begin(), "decoding-host");
    return CommandLine::parse(static_cast<int>(arguments.size()), arguments.data());
}

/// @return the options of the command; default ones, and a failure, when the arguments ask for something else.
template <class Options>
Options parsed(const std::vector<const char *> &arguments)
{
    const auto result = parse(arguments);
    if (const auto *const options = std::get_if<Options>(&result))
        return *options;
    if (const auto *const exit = std::get_if<CommandLine::Exit>(&result))
        ADD_FAILURE() << exit->text;
    else
        ADD_FAILURE() << "another command, number " << result.index();
    return Options();
}

/// Wrong usage comes back as its text, anything else as an empty one.
std::string wrong(const std::vector<const char *> &arguments)
{
    const auto result = parse(arguments);
    const auto *const exit = std::get_if<CommandLine::Exit>(&result);
    return exit && exit->code == 2 ? exit->text : std::string();
}

std::vector<std::string> kindsAndDirectories(const DecodeOptions &options)
{
    std::vector<std::string> texts;
    for (const decoding::Output &output : options.input.outputs)
        texts.push_back(output.kindName() + (" in " + output.directory));
    return texts;
}

} // namespace

TEST(CommandLine, RefusesInputsOfOneNameUnlessItMadeTheirNamesItself)
{
    EXPECT_THAT(wrong({"decode", "door=udp://:1", "door=udp://:2"}), HasSubstr("\"door\" is the name of another"));
    EXPECT_THAT(wrong({"decode", "a/door", "door=udp://:1"}), HasSubstr("\"door\" is the name of another"));
    EXPECT_THAT(wrong({"probe", "a b=udp://:1"}), HasSubstr("a b=udp://:1: what stands before the \"=\" is no name"));
    EXPECT_EQ(parsed<DecodeOptions>({"decode", "a/clip.mp4", "b/clip.mp4"}).inputs.size(), 2U);
}

TEST(CommandLine, ShowsNoSecretOfWhatItRefuses)
{
    EXPECT_THAT(wrong({"rtsp://keeper:ses ame@host/x"}), HasSubstr("\"rtsp://***@host/x\" is no command"));
    EXPECT_THAT(wrong({"decode", "--board=rtsp://keeper:ses ame@host/x", "a"}), HasSubstr("rtsp://***@host/x"));
    EXPECT_THAT(wrong({"check", "http://host/x?sesame"}), HasSubstr("http://host/x?***"));
}

TEST(CommandLine, DecodesVideoAndAudioOnceAndCountsThemUnlessToldOtherwise)
{
    const auto options = parsed<DecodeOptions>({"decode", "a.mp4", "b.avi"});
    EXPECT_THAT(options.inputs, ElementsAre("a.mp4", "b.avi"));
    EXPECT_THAT(kindsAndDirectories(options), ElementsAre("null in ."));
    EXPECT_TRUE(options.input.video && options.input.audio);
    EXPECT_FALSE(options.input.paced || options.input.excludeFromTuning || options.quiet);
    EXPECT_EQ(options.input.repeat, 1);
    EXPECT_EQ(options.input.maxLatency, std::chrono::milliseconds(400));
    EXPECT_EQ(options.copies, 1);
    EXPECT_EQ(options.session.filesAtOnce, 0);
    EXPECT_FALSE(options.input.duration || options.jsonFile);
    EXPECT_EQ(options.session.mode, decoding::Mode::Performance);
    EXPECT_FALSE(options.session.governor);
    EXPECT_EQ(options.session.threads, 0);
    EXPECT_EQ(options.session.codecThreads, 0);
    EXPECT_FALSE(options.noThreads);
    EXPECT_EQ(options.session.component, "");
    EXPECT_EQ(options.session.settings, "");
}

TEST(CommandLine, TakesEveryOptionOfDecodeBeforeAndAfterTheInput)
{
    const auto options = parsed<DecodeOptions>({"decode",
                                                "--threads",
                                                "3",
                                                "--paced",
                                                "--time-saving",
                                                "--exclude-from-tuning",
                                                "--repeat",
                                                "4",
                                                "--copies",
                                                "5",
                                                "a.mp4",
                                                "--duration",
                                                "1.5",
                                                "--component",
                                                "c.so",
                                                "--settings",
                                                "s.ini",
                                                "--json",
                                                "r.json",
                                                "--quiet",
                                                "--governor",
                                                "0.5:0.7",
                                                "--max-latency",
                                                "90",
                                                "--stall",
                                                "2.5",
                                                "--retry",
                                                "0.25:8",
                                                "--burst",
                                                "6",
                                                "--at-once",
                                                "7",
                                                "--codec-threads",
                                                "7"});
    EXPECT_THAT(options.inputs, ElementsAre("a.mp4"));
    EXPECT_TRUE(options.input.paced);
    EXPECT_EQ(options.session.mode, decoding::Mode::TimeSaving);
    EXPECT_TRUE(options.input.excludeFromTuning);
    EXPECT_TRUE(options.quiet);
    EXPECT_EQ(options.input.repeat, 4);
    EXPECT_EQ(options.copies, 5);
    EXPECT_EQ(options.session.filesAtOnce, 7);
    EXPECT_EQ(options.input.burst, 6);
    EXPECT_EQ(options.input.duration, std::chrono::milliseconds(1500));
    EXPECT_EQ(options.input.maxLatency, std::chrono::milliseconds(90));
    EXPECT_EQ(options.input.stallLimit, std::chrono::milliseconds(2500));
    EXPECT_EQ(options.input.firstRetryDelay, std::chrono::milliseconds(250));
    EXPECT_EQ(options.input.lastRetryDelay, std::chrono::milliseconds(8000));
    ASSERT_TRUE(options.session.governor);
    EXPECT_EQ(options.session.governor->low, 0.5);
    EXPECT_EQ(options.session.governor->high, 0.7);
    EXPECT_EQ(options.jsonFile, "r.json");
    EXPECT_EQ(options.session.threads, 3);
    EXPECT_EQ(options.session.codecThreads, 7);
    EXPECT_FALSE(options.noThreads);
    EXPECT_EQ(options.session.component, "c.so");
    EXPECT_EQ(options.session.settings, "s.ini");
}

TEST(CommandLine, TellsNoThreadsFromNothingSaidOfThem)
{
    EXPECT_TRUE(parsed<DecodeOptions>({"decode", "--threads", "0", "a.mp4"}).noThreads);
}

TEST(CommandLine, TakesSeveralOutputsEachWithItsDirectory)
{
    const auto options = parsed<DecodeOptions>({"decode", "--output", "framemd5:sums", "--output", "wav", "a.mp4",
                                                "--output", "y4m:a:b", "--output", "y4m:a"});
    EXPECT_THAT(kindsAndDirectories(options), ElementsAre("framemd5 in sums", "wav in .", "y4m in a:b", "y4m in a"));
    EXPECT_THAT(options.inputs, ElementsAre("a.mp4"));
}

TEST(CommandLine, TakesOneKindOfStreamsOrBoth)
{
    const auto video = parsed<DecodeOptions>({"decode", "--streams", "video", "a.mp4"}).input;
    EXPECT_TRUE(video.video && !video.audio);
    const auto audio = parsed<DecodeOptions>({"decode", "--streams", "audio", "a.mp4"}).input;
    EXPECT_TRUE(!audio.video && audio.audio);
    const auto both = parsed<DecodeOptions>({"decode", "--streams", "both", "a.mp4"}).input;
    EXPECT_TRUE(both.video && both.audio);
}

TEST(CommandLine, TakesProbeAndCheckWithJsonAsAFlag)
{
    const auto probe = parsed<ProbeOptions>({"probe", "--json", "a.mp4", "b.mp4"});
    EXPECT_TRUE(probe.json);
    EXPECT_THAT(probe.inputs, ElementsAre("a.mp4", "b.mp4"));
    const auto check = parsed<CheckOptions>({"check", "--threads", "0", "--json"});
    EXPECT_TRUE(check.json);
    EXPECT_EQ(check.component.threads, 0);
}

TEST(CommandLine, NamesTheCulpritOfWrongUsageAndWhereToFindHelp)
{
    const std::vector<std::pair<std::vector<const char *>, const char *>> cases{
        {{}, "command"},
        {{"camera.mp4"}, "camera.mp4"},
        {{"--threads", "3"}, "--threads"},
        {{"check", "camera.mp4"}, "camera.mp4"},
        {{"check", "decode"}, "decode"},
        {{"decode"}, "INPUT"},
        {{"probe"}, "INPUT"},
        {{"decode", ""}, "INPUT"},
        {{"decode", "--frobnicate", "a"}, "--frobnicate"},
        {{"probe", "--paced", "a"}, "--paced"},
        {{"decode", "--output", "mkv:out", "a"}, "mkv:out"},
        {{"decode", "--output", "null:out", "a"}, "null:out"},
        {{"decode", "--output", "y4m:", "a"}, "y4m:"},
        {{"decode", "--output", "", "a"}, "--output"},
        {{"decode", "--output", "wav", "--output", "wav:.", "a"}, "wav:."},
        {{"decode", "--output", "raw:a/../b", "--output", "raw:./b/", "a"}, "raw:./b/"},
        {{"decode", "--output", "png:b", "--output", "png@2:b", "a"}, "png@2:b"},
        {{"decode", "a", "--output"}, "--output"},
        {{"decode", "--streams", "subtitles", "a"}, "subtitles"},
        {{"decode", "--repeat", "0", "a"}, "--repeat"},
        {{"decode", "--repeat", "often", "a"}, "--repeat"},
        {{"decode", "--burst", "0", "a"}, "--burst"},
        {{"decode", "--copies", "1001", "a"}, "--copies"},
        {{"decode", "--copies", "-1", "a"}, "--copies"},
        {{"decode", "--at-once", "0", "a"}, "--at-once"},
        {{"decode", "--duration", "0", "a"}, "--duration"},
        {{"decode", "--duration", "-1", "a"}, "--duration"},
        {{"decode", "--duration", "nan", "a"}, "--duration"},
        {{"decode", "--duration", "inf", "a"}, "--duration"},
        {{"decode", "--duration", "long", "a"}, "--duration"},
        {{"decode", "--stall", "0", "a"}, "--stall: takes seconds"},
        {{"decode", "--retry", "30", "a"}, "--retry: takes two numbers"},
        {{"decode", "--retry", "2:1", "a"}, "--retry: takes two numbers"},
        {{"decode", "--retry", "0:1", "a"}, "--retry: takes two numbers"},
        {{"decode", "--max-latency", "0", "a"}, "--max-latency"},
        {{"decode", "--repeat", "1", "--repeat", "2", "a"}, "--repeat"},
        {{"decode", "a#{repeat=0}"}, "a: repeat: takes a whole number"},
        {{"decode", "a#{stal=2}"}, "the nearest is \"stall\""},
        {{"probe", "a#{stal=2}"}, "the nearest is \"stall\""},
        {{"decode", "--governor", "0.9:0.6", "a"}, "LOW is less than HIGH"},
        {{"decode", "--json", "a", "--json", "b", "c"}, "--json"},
        {{"decode", "--component", "", "c"}, "--component"},
        {{"decode", "--settings", "", "c"}, "--settings"},
        {{"decode", "--json", "", "c"}, "--json"},
        {{"check", "--threads", "1025"}, "--threads"},
        {{"check", "--threads", "-1"}, "--threads"},
        {{"check", "--threads", ""}, "--threads"},
        {{"check", "--threads", "2", "--threads", "3"}, "--threads"},
    };
    for (const auto &[arguments, culprit] : cases) {
        EXPECT_THAT(wrong(arguments), AllOf(HasSubstr(culprit), HasSubstr("; see decoding-host ")))
            << testing::PrintToString(arguments);
    }
    EXPECT_THAT(wrong({"decode", "--codec-threads", "17", "a"}), HasSubstr("--codec-threads"));
    EXPECT_THAT(wrong({"decode", "--repeat", "0", "a"}), HasSubstr("; see decoding-host decode --help"));
}

TEST(CommandLine, ChecksTheOutputsOfEachInput)
{
    const auto options = parsed<DecodeOptions>({"decode", "--output", "y4m", "a#{output=wav:x&output=raw}", "b"});
    EXPECT_EQ(options.input.outputs.size(), 1U);
    EXPECT_EQ(options.outputs().size(), 3U);
    EXPECT_THAT(wrong({"decode", "--streams", "audio", "a#{output=y4m}"}), HasSubstr("a: y4m takes no audio"));
    EXPECT_THAT(wrong({"decode", "--output", "y4m", "a#{streams=audio}"}), HasSubstr("a: y4m takes no audio"));
    EXPECT_THAT(wrong({"decode", "--json", "x/a.y4m", "a#{output=y4m:x}"}), HasSubstr("x/a.y4m"));

    EXPECT_TRUE(parsed<DecodeOptions>({"decode", "a#{output=y4m:-}", "b"}).isStandardOutputTaken());
    EXPECT_FALSE(parsed<DecodeOptions>({"decode", "a#{output=y4m}", "b"}).isStandardOutputTaken());
    EXPECT_THAT(wrong({"decode", "a#{output=y4m:-}", "b#{output=y4m:-}"}), HasSubstr("takes one output"));
    EXPECT_THAT(wrong({"decode", "a#{output=y4m:-}", "--json", "-"}), HasSubstr("takes one output"));
    EXPECT_THAT(wrong({"decode", "a#{output=y4m:-}", "--copies", "2"}), HasSubstr("takes one input"));
    EXPECT_THAT(wrong({"decode", "a#{output=raw:-}"}), HasSubstr("takes one stream"));
}

TEST(CommandLine, RefusesAnOutputIntoADirectoryThatAnotherOneReachesOverALink)
{
    const QTemporaryDir folder;
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("real")));
    ASSERT_TRUE(QFile::link(folder.filePath(QStringLiteral("real")), folder.filePath(QStringLiteral("link"))));
    const std::string real = "wav:" + folder.filePath(QStringLiteral("real")).toStdString();
    const std::string link = "wav:" + folder.filePath(QStringLiteral("link")).toStdString();
    EXPECT_THAT(wrong({"decode", "--output", real.c_str(), "--output", link.c_str(), "a"}), HasSubstr(link));
    const std::string above = real + "/..";
    EXPECT_EQ(parsed<DecodeOptions>({"decode", "--output", real.c_str(), "--output", above.c_str(), "a"})
                  .input.outputs.size(),
              2u);
}

TEST(CommandLine, RefusesAnOutputThatTakesNoneOfTheStreamsAskedFor)
{
    const std::vector<std::pair<std::vector<const char *>, const char *>> cases{
        {{"decode", "--streams", "audio", "--output", "y4m", "a"}, "y4m takes no audio"},
        {{"decode", "--output", "png:out", "a", "--streams", "audio"}, "png takes no audio"},
        {{"decode", "--streams", "video", "--output", "raw", "--output", "wav", "a"}, "wav takes no video"},
    };
    for (const auto &[arguments, reason] : cases) {
        EXPECT_THAT(wrong(arguments),
                    AllOf(HasSubstr(reason), HasSubstr("--streams"), HasSubstr("; see decoding-host decode --help")));
    }
    const auto audio = parsed<DecodeOptions>(
        {"decode", "--streams", "audio", "--output", "wav", "--output", "raw", "--output", "framemd5", "a"});
    EXPECT_EQ(audio.input.outputs.size(), 3u);
    const auto video =
        parsed<DecodeOptions>({"decode", "--streams", "video", "--output", "y4m", "--output", "png", "a"});
    EXPECT_EQ(video.input.outputs.size(), 2u);
}

TEST(CommandLine, GivesHelpForTheWholeAndForEachCommand)
{
    const auto help = [](const std::vector<const char *> &arguments) {
        const auto result = parse(arguments);
        const auto *const exit = std::get_if<CommandLine::Exit>(&result);
        return exit && exit->code == 0 ? exit->text : std::string();
    };
    EXPECT_THAT(help({"--help"}), AllOf(HasSubstr("decode"), HasSubstr("probe"), HasSubstr("check")));
    EXPECT_THAT(help({"decode", "--help"}),
                AllOf(HasSubstr("INPUT..."), HasSubstr("--output KIND[:DIR]"), HasSubstr("--duration SECONDS"),
                      HasSubstr("framemd5, y4m, raw, wav, or png")));
    EXPECT_THAT(help({"probe", "--help"}),
                AllOf(HasSubstr("INPUT..."), HasSubstr("--json"), Not(HasSubstr("--paced"))));
    EXPECT_THAT(help({"check", "-h"}), AllOf(HasSubstr("--threads N"), Not(HasSubstr("INPUT"))));
    EXPECT_THAT(help({"--version"}), StartsWith("decoding-host "));
}

TEST(CommandLine, TakesTheStandardOutputForOneStreamOfOneInputOrForTheReport)
{
    const auto video = parsed<DecodeOptions>({"decode", "a.mp4", "--output", "y4m:-", "--output", "wav"});
    EXPECT_TRUE(video.isStandardOutputTaken());
    EXPECT_TRUE(video.input.outputs[0].isStandardOutput());
    EXPECT_TRUE(parsed<DecodeOptions>({"decode", "a.mp4", "--json", "-"}).isStandardOutputTaken());
    EXPECT_FALSE(parsed<DecodeOptions>({"decode", "a.mp4", "--json", "r"}).isStandardOutputTaken());
    EXPECT_TRUE(
        parsed<DecodeOptions>({"decode", "a", "--output", "raw:-", "--streams", "audio"}).isStandardOutputTaken());

    EXPECT_THAT(wrong({"decode", "a", "--output", "raw:-"}), HasSubstr("raw:-: the standard output takes one stream"));
    EXPECT_THAT(wrong({"decode", "a", "--output", "y4m:-", "--output", "wav:-"}), HasSubstr("takes one output"));
    EXPECT_THAT(wrong({"decode", "a", "--output", "y4m:-", "--json", "-"}), HasSubstr("takes one output"));
    for (const std::vector<const char *> &many :
         {std::vector<const char *>{"b"}, {"--copies", "2"}, {"--control", "socket"}}) {
        std::vector<const char *> arguments{"decode", "a", "--output", "y4m:-"};
        arguments.insert(arguments.end(), many.begin(), many.end());
        EXPECT_THAT(wrong(arguments), HasSubstr("takes one input"));
    }
    EXPECT_THAT(wrong({"decode", "a", "--output", "png:-"}), HasSubstr("png writes files of their own"));
}

TEST(CommandLine, KeepsFilesOfLiveInputsUnlessToldOtherwise)
{
    EXPECT_FALSE(parsed<DecodeOptions>({"decode", "a"}).input.overwrite);
    EXPECT_TRUE(parsed<DecodeOptions>({"decode", "a", "--overwrite"}).input.overwrite);
}
