#include "cli/OutputFiles.h"

#include <filesystem>

#include "FolderFixture.h"

namespace {

namespace fs = std::filesystem;
using OutputFiles::mayInclude;

class OutputFilesTest : public FolderFixture {};

} // namespace

TEST_F(OutputFilesTest, AreThoseInItsDirectoryThatEndAsItsFilesDo)
{
    const std::vector<std::pair<const char *, const char *>> files{{"framemd5", "clip.video.framemd5"},
                                                                   {"framemd5", "clip-2.audio.framemd5"},
                                                                   {"y4m", "clip.part2.y4m"},
                                                                   {"raw", "clip.audio.raw"},
                                                                   {"wav", "clip.wav"},
                                                                   {"png", "clip-0001.png"}};
    for (const auto &[kind, file] : files) {
        const auto output = decoding::Output::parse(kind + (":" + path("out")));
        EXPECT_TRUE(mayInclude(output, path("out/") + file)) << file;
        EXPECT_TRUE(mayInclude(output, path("out/../out/") + file)) << file;
        EXPECT_FALSE(mayInclude(output, path("") + file)) << file;
        EXPECT_FALSE(mayInclude(output, path("out/report.json"))) << file;
        EXPECT_FALSE(mayInclude(decoding::Output(), file)) << file;
    }
    EXPECT_TRUE(mayInclude(decoding::Output::parse("wav"), "clip.wav"));
}

TEST_F(OutputFilesTest, AreFoundBehindLinks)
{
    const auto output = decoding::Output::parse("wav:" + path("out"));
    fs::create_directory_symlink("out", path("link"));
    fs::create_symlink("out/clip.wav", path("report.json"));
    fs::create_symlink("report.json", path("again.json"));
    for (const bool isMade : {false, true}) {
        EXPECT_TRUE(mayInclude(output, path("again.json"))) << isMade;
        fs::create_directory(path("out"));
    }
    EXPECT_TRUE(mayInclude(output, path("link/clip.wav")));
    EXPECT_FALSE(mayInclude(output, path("link/clip.json")));
}
