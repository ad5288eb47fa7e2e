#include "sinks/OutputSpec.h"

#include <gmock/gmock.h>

namespace {

OutputSpec parsed(const char *text)
{
    const auto result = OutputSpec::parse(text);
    const std::string *const error = std::get_if<std::string>(&result);
    EXPECT_EQ(error, nullptr) << *error;
    return error ? OutputSpec() : std::get<OutputSpec>(result);
}

std::string errorOf(const char *text)
{
    const auto result = OutputSpec::parse(text);
    const std::string *const error = std::get_if<std::string>(&result);
    return error ? *error : "none";
}

} // namespace

TEST(OutputSpec, TakesEveryKindAndTheCurrentDirectoryWithoutOne)
{
    EXPECT_EQ(parsed("null").kind, OutputSpec::Null);
    EXPECT_EQ(parsed("framemd5").kind, OutputSpec::FrameMd5);
    EXPECT_EQ(parsed("y4m").kind, OutputSpec::Y4m);
    EXPECT_EQ(parsed("raw").kind, OutputSpec::Raw);
    EXPECT_EQ(parsed("wav").kind, OutputSpec::Wav);
    EXPECT_EQ(parsed("png").kind, OutputSpec::Png);
    EXPECT_EQ(parsed("png").directory, ".");
}

TEST(OutputSpec, TakesADirectoryThatItselfHoldsColonsAndAtSigns)
{
    const OutputSpec spec = parsed("wav:/data/a:b@c");
    EXPECT_EQ(spec.kind, OutputSpec::Wav);
    EXPECT_EQ(spec.directory, "/data/a:b@c");
}

TEST(OutputSpec, TakesADirectoryWhoseNameIsNotUtf8)
{
    EXPECT_EQ(parsed("wav:o\xffut").directory, "o\xffut");
}

TEST(OutputSpec, TakesTheIntervalOfSnapshotsInSeconds)
{
    EXPECT_EQ(parsed("png@2.5:shots").snapshotInterval.count(), 2500);
    EXPECT_EQ(parsed("png@2.5:shots").directory, "shots");
    EXPECT_EQ(parsed("png@60").snapshotInterval.count(), 60000);
}

TEST(OutputSpec, SaysWhatIsWrongWithWhichOutput)
{
    using testing::AllOf;
    using testing::HasSubstr;
    EXPECT_THAT(errorOf("mp4:out"), AllOf(HasSubstr("\"mp4:out\""), HasSubstr("no such kind")));
    EXPECT_THAT(errorOf(""), HasSubstr("no such kind"));
    EXPECT_THAT(errorOf("wav:"), HasSubstr("name a directory"));
    EXPECT_THAT(errorOf("null:out"), HasSubstr("takes no directory"));
    EXPECT_THAT(errorOf("wav@3"), HasSubstr("only png"));
    for (const char *const text : {"png@", "png@0", "png@-1", "png@x", "png@inf", "png@nan", "png@1e300"})
        EXPECT_THAT(errorOf(text), HasSubstr("number of seconds")) << text;
}
