#include "media/InputFiles.h"

#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class InputFilesTest : public testing::Test {
protected:
    InputFilesTest() { std::filesystem::create_directories(_folder); }
    ~InputFilesTest() override { std::filesystem::remove_all(_folder); }

    std::string path(const char *name) const { return (_folder / name).string(); }
    std::string make(const char *name) const
    {
        std::ofstream(path(name)) << name;
        return path(name);
    }

    InputFiles _files;

private:
    const std::filesystem::path _folder =
        std::filesystem::path(testing::TempDir()) / ("input-files-" + std::to_string(getpid()));
};

} // namespace

TEST_F(InputFilesTest, AreKnownByWhicheverPathAsLongAsAnInputReadsThem)
{
    const std::string clip = make("clip.wav");
    std::filesystem::create_symlink(clip, path("link.wav"));
    for (const quint64 input : {1, 2}) {
        _files.expect(input);
        _files.identify(input, clip);
    }
    EXPECT_TRUE(_files.contains(path("link.wav")));
    EXPECT_FALSE(_files.contains(make("other.wav")));
    EXPECT_FALSE(_files.contains(path("missing.wav")));
    _files.forget(1);
    EXPECT_TRUE(_files.contains(clip));
    _files.forget(2);
    EXPECT_FALSE(_files.contains(clip));
}

TEST_F(InputFilesTest, AreWaitedForWhenTheyComeShortlyBeforeAnOutput)
{
    const std::string clip = make("clip.wav");
    _files.expect(1);
    std::thread disk([&] {
        std::this_thread::sleep_for(20ms);
        _files.identify(1, clip);
    });
    EXPECT_TRUE(_files.contains(clip));
    disk.join();
}

TEST_F(InputFilesTest, AreNotWaitedForWhereADiskHangsNorWhereThereIsNoOutputYet)
{
    const std::string clip = make("clip.wav");
    const auto begin = Clock::now();
    _files.expect(1);
    EXPECT_FALSE(_files.contains(path("new.wav")));
    EXPECT_LT(Clock::now() - begin, InputFiles::patience) << "nobody can have opened what is not there";
    EXPECT_FALSE(_files.contains(clip));
    EXPECT_GE(Clock::now() - begin, InputFiles::patience);
    const auto again = Clock::now();
    EXPECT_FALSE(_files.contains(clip));
    EXPECT_LT(Clock::now() - again, InputFiles::patience);
}

TEST_F(InputFilesTest, AreNotThoseThatComeAfterTheirInputHasLeft)
{
    const std::string clip = make("clip.wav");
    _files.expect(1);
    _files.forget(1);
    _files.identify(1, clip);
    EXPECT_FALSE(_files.contains(clip));
}
