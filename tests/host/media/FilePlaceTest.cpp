#include "media/FilePlace.h"

#include <filesystem>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;

class FilePlaceTest : public testing::Test {
protected:
    FilePlaceTest() { fs::create_directories(_folder); }
    ~FilePlaceTest() override { fs::remove_all(_folder); }

    std::string path(const std::string &name) const { return (_folder / name).string(); }

private:
    const fs::path _folder = fs::path(testing::TempDir()) / ("file-place-" + std::to_string(getpid()));
};

} // namespace

TEST_F(FilePlaceTest, IsOneTextForEachWayToNameADirectory)
{
    EXPECT_EQ(FilePlace::ofDirectory("a/b/.."), FilePlace::ofDirectory("a"));
    EXPECT_EQ(FilePlace::ofDirectory("a//"), FilePlace::ofDirectory("./a"));
    EXPECT_EQ(FilePlace::ofDirectory("."), FilePlace::ofDirectory(fs::current_path().string()));
    EXPECT_NE(FilePlace::ofDirectory("a"), FilePlace::ofDirectory("b"));
    fs::create_directory(path("out"));
    fs::create_directory_symlink("out", path("link"));
    EXPECT_EQ(FilePlace::ofDirectory(path("link")), FilePlace::ofDirectory(path("out/")));
    EXPECT_EQ(FilePlace::ofDirectory(path("link/new")), FilePlace::ofDirectory(path("out/new")));
}
