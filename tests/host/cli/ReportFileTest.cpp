#include "cli/ReportFile.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Optional;

class ReportFileTest : public testing::Test {
protected:
    ReportFileTest() { fs::create_directories(_folder); }
    ~ReportFileTest() override { fs::remove_all(_folder); }

    std::string path(const std::string &name) const { return (_folder / name).string(); }

private:
    const fs::path _folder = fs::path(testing::TempDir()) / ("report-file-" + std::to_string(getpid()));
};

} // namespace

TEST_F(ReportFileTest, ThatCanBeWrittenIsNotTouchedBefore)
{
    std::ofstream(path("old.json")) << "old";
    for (const std::string &name : {path("new.json"), path("old.json"), std::string("/dev/stdout"), std::string("new")})
        EXPECT_EQ(ReportFile::obstacle(name, {}), std::nullopt) << name;
    EXPECT_FALSE(fs::exists(path("new.json")));
    EXPECT_EQ(fs::file_size(path("old.json")), 3U);
}

TEST_F(ReportFileTest, ThatCannotBeWrittenIsReported)
{
    EXPECT_THAT(ReportFile::obstacle(path(""), {}), Optional(HasSubstr(": Is a directory")));
    EXPECT_THAT(ReportFile::obstacle(path("none/new.json"), {}),
                Optional("cannot write " + path("none/new.json") + ": No such file or directory"));
    std::ofstream(path("file")) << "file";
    EXPECT_THAT(ReportFile::obstacle(path("file/new.json"), {}), Optional(HasSubstr(": Not a directory")));
    EXPECT_THAT(ReportFile::write(path("none/new.json"), "{}"), Optional(HasSubstr(": No such file or directory")));
    EXPECT_THAT(ReportFile::write("/dev/full", "{}"), Optional(HasSubstr(": No space left on device")));
}

TEST_F(ReportFileTest, MayGoToADirectoryThatAnOutputMakes)
{
    EXPECT_EQ(ReportFile::obstacle(path("out/new.json"), {decoding::Output::parse("wav:" + path("out/"))}),
              std::nullopt);
    EXPECT_NE(ReportFile::obstacle(path("out/new.json"), {decoding::Output::parse("wav:" + path("other"))}),
              std::nullopt);
}

TEST_F(ReportFileTest, IsWrittenOverWhatWasThere)
{
    std::ofstream(path("old.json")) << "a longer text";
    EXPECT_EQ(ReportFile::write(path("old.json"), "{}"), std::nullopt);
    EXPECT_EQ(fs::file_size(path("old.json")), 2U);
}
