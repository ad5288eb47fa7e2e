#include <QFileInfo>
#include <QTemporaryFile>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "DecodeFixture.h"
#include "WakeUps.h"
#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t frameCount = 100;
constexpr milliseconds frameInterval(40);

qint64 inMs(Clock::duration duration)
{
    return std::chrono::duration_cast<milliseconds>(duration).count();
}

/// When the pictures of a paced clip come while something happens to the clocks.
class PacedClocks : public DecodeFixture {
protected:
    PacedClocks()
    {
        EXPECT_TRUE(_stepFile.open());
        EXPECT_TRUE(_stepFile.resize(sizeof(std::atomic<std::int64_t>)));
        _stepMs = reinterpret_cast<std::atomic<std::int64_t> *>(_stepFile.map(0, _stepFile.size()));
        qputenv("STEPPED_WALL_CLOCK", _stepFile.fileName().toLocal8Bit());
    }

    /// @param keyInterval frames from one key frame to the next.
    QString clip(int keyInterval)
    {
        const std::string options = "-f lavfi -i testsrc2=size=320x240:rate=25:duration=4 -f lavfi -i "
                                    "sine=frequency=700:sample_rate=48000:duration=4 -c:v mpeg4 -bf 0 -g " +
                                    std::to_string(keyInterval);
        return generate("clip.mp4", options.c_str());
    }

    /// From now on, for the host alone.
    void stepWallClock(std::chrono::hours by) { *_stepMs += milliseconds(by).count(); }

    /// Plays @p file, and has @p disturb do something to the host once 30 frames have come. Fails unless all frames are
    /// the tool's, and come when they are due. @param standstill for how long none can come then.
    void expectFilmTime(const QString &file, const std::function<void(pid_t)> &disturb, milliseconds standstill = {})
    {
        constexpr std::size_t after = 30;
        constexpr milliseconds from = after * frameInterval;
        const QString pictures = path("out/clip.video.raw");
        std::vector<Clock::time_point> comings;
        WakeUps wakeUps;
        const HostRun run = HostRun::decode(
            {"--paced", "--output", "raw:" + path("out"), "--output", "framemd5:" + path("out"), file},
            std::chrono::seconds(60),
            [&](qint64 process) {
                bool isDisturbed = false;
                EXPECT_TRUE(waitUntil([&] {
                    const auto come = static_cast<std::size_t>(QFileInfo(pictures).size() / (320 * 240 * 3 / 2));
                    comings.resize(std::max(come, comings.size()), Clock::now());
                    if (come > after && !isDisturbed) {
                        isDisturbed = true;
                        disturb(static_cast<pid_t>(process));
                    }
                    return come == frameCount;
                }));
            },
            STEPPED_HOST_FILE);
        const milliseconds tolerance = milliseconds(300) + 4 * wakeUps.end();

        run.expectSuccess();
        expectFramesOfTool(run, {file}, path("out"));
        ASSERT_EQ(comings.size(), frameCount);
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            const qint64 cameMs = inMs(comings[frame] - comings.front());
            const milliseconds due = frame * frameInterval;
            const milliseconds latest = due > from ? std::max(due, from + standstill) : due;
            EXPECT_GE(cameMs, inMs(due - tolerance)) << "frame " << frame;
            EXPECT_LE(cameMs, inMs(latest + tolerance)) << "frame " << frame;
        }
    }

private:
    QTemporaryFile _stepFile;
    std::atomic<std::int64_t> *_stepMs = nullptr;
};

} // namespace

TEST_F(PacedClocks, PicturesKeepTheirTimeWhenTheWallClockIsSetBack)
{
    expectFilmTime(clip(1000), [this](pid_t) { stepWallClock(std::chrono::hours(-1)); });
}

TEST_F(PacedClocks, PicturesKeepTheirTimeWhenTheWallClockIsSetForward)
{
    expectFilmTime(clip(1000), [this](pid_t) { stepWallClock(std::chrono::hours(1)); });
}

TEST_F(PacedClocks, PicturesCatchUpAfterTheProcessWasStopped)
{
    constexpr milliseconds stop(2000);
    const auto stopAndGoOn = [&](pid_t process) {
        kill(process, SIGSTOP);
        std::this_thread::sleep_for(stop);
        kill(process, SIGCONT);
    };
    expectFilmTime(clip(25), stopAndGoOn, stop);
}
