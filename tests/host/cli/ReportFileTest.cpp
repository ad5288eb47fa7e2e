#include "cli/ReportFile.h"

#include <filesystem>
#include <fstream>

#include "FolderFixture.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Optional;

class ReportFileTest : public FolderFixture {};

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

TEST_F(ReportFileTest, BehindALinkIsLookedForWhereThatLeads)
{
    fs::create_directories(path("there"));
    fs::create_symlink("there/new.json", path("good"));
    fs::create_symlink("gone/new.json", path("dangling"));
    fs::create_symlink("dangling", path("twice"));
    EXPECT_EQ(ReportFile::obstacle(path("good"), {}), std::nullopt);
    for (const char *const name : {"dangling", "twice"}) {
        EXPECT_THAT(ReportFile::obstacle(path(name), {}),
                    Optional("cannot write " + path(name) + ": No such file or directory"));
        EXPECT_EQ(ReportFile::obstacle(path(name), {decoding::Output::parse("wav:" + path("gone"))}), std::nullopt);
    }
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
