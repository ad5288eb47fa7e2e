#include <cstring>
#include <filesystem>
#include <functional>
#include <unistd.h>

#include "host/session/SessionFixture.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::InputOptions;
using decoding::Output;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class InputOptionsTest : public SessionFixture {
protected:
    ~InputOptionsTest() override { std::filesystem::remove_all(_folder); }

    /// @return what is said of options that @p change has made wrong.
    std::string errorOfOptions(const std::function<void(InputOptions &options)> &change)
    {
        InputOptions options;
        change(options);
        const std::string error = errorOf([&] { _session->openLater(sample("tree.avi"), options); });
        EXPECT_EQ(errorOf([&] { _session->open(sample("tree.avi"), options); }), error);
        EXPECT_THAT(error, testing::AnyOf("", StartsWith(sample("tree.avi") + ": InputOptions::")));
        return error;
    }
    std::string errorOfOutputs(const std::vector<Output> &outputs)
    {
        return errorOfOptions([&](InputOptions &options) { options.outputs = outputs; });
    }

    const std::filesystem::path _folder =
        std::filesystem::path(testing::TempDir()) / ("input-options-" + std::to_string(getpid()));
};

} // namespace

TEST_F(InputOptionsTest, NameEachFieldThatIsOutOfItsRange)
{
    EXPECT_THAT(errorOfOptions([](InputOptions &options) { options.video = options.audio = false; }),
                HasSubstr("::video and audio are both false"));
    EXPECT_THAT(errorOfOptions([](InputOptions &options) { options.repeat = 0; }), HasSubstr("::repeat"));
    EXPECT_THAT(errorOfOptions([](InputOptions &options) { options.queuedFrames = 0; }), HasSubstr("::queuedFrames"));
    EXPECT_THAT(errorOfOptions([](InputOptions &options) { options.burst = -1; }), HasSubstr("::burst"));
    for (const milliseconds time : {0ms, -1ms, milliseconds::min(), milliseconds::max()}) {
        EXPECT_THAT(errorOfOptions([&](InputOptions &options) { options.duration = time; }), HasSubstr("::duration"))
            << time.count();
        EXPECT_THAT(errorOfOptions([&](InputOptions &options) { options.maxLatency = time; }),
                    HasSubstr("::maxLatency"))
            << time.count();
        EXPECT_THAT(errorOfOutputs({{Output::Kind::Png, _folder, time}}), HasSubstr("::outputs: snapshotInterval"))
            << time.count();
    }
}

TEST_F(InputOptionsTest, NameTheOutputThatCannotBe)
{
    EXPECT_THAT(errorOfOutputs({{static_cast<Output::Kind>(6), _folder}}), HasSubstr("::outputs has a kind"));
    EXPECT_THAT(errorOfOutputs({{static_cast<Output::Kind>(-1), _folder}}), HasSubstr("::outputs has a kind"));
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Y4m, ""}}), HasSubstr("::outputs: y4m has no directory"));
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Png, "-"}}), HasSubstr("::outputs: png needs a directory"));
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Raw, "-"}}), HasSubstr("::outputs: raw would put two streams"));
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Y4m, "-"}, {Output::Kind::Wav, "-"}}),
                HasSubstr("::outputs has the standard output twice"));
    EXPECT_THAT(errorOfOptions([](InputOptions &options) {
                    options.video = false;
                    options.outputs = {{Output::Kind::Y4m, "-"}};
                }),
                HasSubstr("::outputs: y4m takes no audio"));
}

TEST_F(InputOptionsTest, LetNoTwoOutputsWriteTheSameFile)
{
    const std::string folder = _folder.string();
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Y4m, folder}, {Output::Kind::Y4m, folder}}),
                HasSubstr("::outputs has y4m in " + folder + " twice"));
    EXPECT_THAT(errorOfOutputs({{Output::Kind::Png, folder, 1ms}, {Output::Kind::Png, folder + "/a/../", 2ms}}),
                HasSubstr("::outputs has png in " + folder + "/a/../ twice"));
    EXPECT_EQ(errorOfOutputs({{}, {}, {Output::Kind::Y4m, folder}, {Output::Kind::Y4m, folder + "/b"}}), "");
}

TEST_F(InputOptionsTest, MayBeAsFarAsTheirRangesGo)
{
    InputOptions options;
    options.duration = milliseconds(std::chrono::hours(24 * 365 * 100));
    options.maxLatency = *options.duration;
    options.outputs = {{Output::Kind::Png, _folder.string(), *options.duration}};
    const auto file = _session->open(sample("tree.avi"), options);
    ASSERT_TRUE(file->waitUntilFinished(30s));
    EXPECT_EQ(_session->snapshot().inputs[0].streams[0].frames, 24);
    EXPECT_TRUE(std::filesystem::exists(_folder / "tree-0001.png"));
    const auto live = _session->openLater(pattern(100), options);
    ASSERT_TRUE(waitUntil([&] {
        const decoding::Snapshot snapshot = _session->snapshot();
        return !snapshot.inputs[1].streams.empty() && snapshot.inputs[1].streams[0].frames > 10;
    }));
    EXPECT_EQ(_session->snapshot().inputs[1].streams[0].lost, 0);
}

TEST_F(InputOptionsTest, OpenNoServerThatItWouldWaitForForEver)
{
    for (const char *const url : {"tcp://127.0.0.1:1?listen", "srt://127.0.0.1:1?mode=listener"}) {
        EXPECT_THAT(errorOf([&] { _session->open(url); }),
                    AllOf(StartsWith(std::string(url, std::strchr(url, '?'))), HasSubstr("use openLater")))
            << url;
        EXPECT_EQ(errorOf([&] { _session->openLater(url); }), "") << url;
    }
}
