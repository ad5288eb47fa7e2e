#include <QTemporaryDir>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "fakes/WaitUntil.h"
#include "session/ProcessThreads.h"
#include <decoding/Session.h>
#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::Key;
using testing::Not;

/// @return the signals that the thread does not take, one bit each, the first for signal 1.
std::uint64_t blockedBy(int thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    std::string key;
    std::uint64_t signals = 0;
    while (status >> key) {
        if (key == "SigBlk:")
            status >> std::hex >> signals;
    }
    return signals;
}

std::string nameOf(int thread)
{
    std::string name;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/comm"), name);
    return name;
}

/// @return the signals that each thread takes which did not run @p before, by the thread's name.
std::map<std::string, std::set<int>> takenBySince(const std::set<int> &before)
{
    std::map<std::string, std::set<int>> taken;
    for (const int thread : ProcessThreads::ids()) {
        if (before.count(thread) > 0)
            continue;
        const std::uint64_t blocked = blockedBy(thread);
        std::set<int> &signals = taken[nameOf(thread)];
        for (int signal = 1; signal < SIGRTMAX; ++signal) {
            const bool isTheSystems = signal == SIGKILL || signal == SIGSTOP || (signal > SIGSYS && signal < SIGRTMIN);
            if (!isTheSystems && (blocked >> (signal - 1) & 1) == 0)
                signals.insert(signal);
        }
    }
    return taken;
}

} // namespace

TEST(SessionThreads, BearNamesAndTakeNoSignalButWhatTheyRaiseThemselves)
{
    // A sanitizer may start a thread of its own with the first one.
    std::thread([] {}).join();
    const std::set<int> before = ProcessThreads::ids();
    const QTemporaryDir folder;
    decoding::SessionOptions options;
    options.lights = true;
    decoding::Session session(options);
    decoding::InputOptions written;
    written.paced = true;
    written.outputs.resize(1);
    written.outputs[0].kind = decoding::Output::Kind::FrameMd5;
    written.outputs[0].directory = folder.path().toStdString();
    const auto file = session.openLater(std::string(SAMPLES_DIR "/") + "cup.mp4", written);
    const auto live = session.openLater("lavfi:testsrc2=size=64x48:rate=25");
    std::atomic<int> frames{0};
    live->video().deliver([&frames](const decoding::VideoFrame & /*frame*/) { ++frames; });

    ASSERT_TRUE(waitUntil([&] {
        const decoding::Snapshot snapshot = session.snapshot();
        return frames > 0 && !snapshot.inputs[0].streams.empty() && snapshot.inputs[0].streams[0].frames > 0;
    }));
    const auto taken = takenBySince(before);
    for (const char *const name : {"Events", "QThread", "FileSource", "LiveSource", "Writer", "Frames", "Indications"})
        EXPECT_THAT(taken, Contains(Key(name)));
    EXPECT_THAT(taken, Not(Contains(Key(nameOf(*before.begin()))))) << "a thread has the program's name";
    const std::set<int> own = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};
    for (const auto &[name, signals] : taken)
        EXPECT_EQ(signals, own) << name;
}
