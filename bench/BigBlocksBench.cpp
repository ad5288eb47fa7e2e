#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <mutex>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "interfaces/BigBlocks.h"
#include "slab/BlockOwner.h"
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

/// Allocates and frees as the decoding of many video streams does: one thread allocates and writes frames, another one
/// frees them, and each stream keeps its last frames for reference and display. Prints processor time, page faults and
/// resident memory, each case in a process of its own.
namespace {

constexpr quint32 pageBytes = 4096;

struct Allocator {
    const char *name;
    /// @param stream whose frame it will be.
    void *(*allocate)(slab::BlockOwner &stream, quint32 size);
    void (*deallocate)(void *data, quint32 size);
};

constexpr Allocator allocators[] = {
    {"owners", [](slab::BlockOwner &stream, quint32 size) { return stream.allocate(size); }, slab::bigBlockDeallocate},
    {"slab", [](slab::BlockOwner & /*stream*/, quint32 size) { return slab::bigBlockAllocate(size); },
     slab::bigBlockDeallocate},
    {"aligned_alloc",
     [](slab::BlockOwner & /*stream*/, quint32 size) { return std::aligned_alloc(64, (size + 63) & ~63U); },
     [](void *data, quint32 /*size*/) { std::free(data); }},
    {"mmap",
     [](slab::BlockOwner & /*stream*/, quint32 size) {
         return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
     },
     [](void *data, quint32 size) { munmap(data, size); }},
};

struct Frame {
    int stream;
    void *data;
    quint32 size;
};

/// The frames of one moment, one of each stream, on their way from the decoder thread to the sink thread.
class Handover {
public:
    void push(std::vector<Frame> frames)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [this] { return _waiting.size() < 2; });
        _waiting.push_back(std::move(frames));
        _changed.notify_all();
    }
    std::vector<Frame> pop()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [this] { return !_waiting.empty(); });
        std::vector<Frame> frames = std::move(_waiting.front());
        _waiting.pop_front();
        _changed.notify_all();
        return frames;
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<std::vector<Frame>> _waiting; // guarded by _mutex
};

quint32 frameSize(int stream, int streamCount)
{
    constexpr quint32 cif = 352 * 288 * 3 / 2;
    constexpr quint32 hd720 = 1280 * 720 * 3 / 2;
    constexpr quint32 hd1080 = 1920 * 1080 * 3 / 2;
    return streamCount == 1 ? hd1080 : std::array{hd1080, cif, hd720, cif}[static_cast<std::size_t>(stream % 4)];
}

/// @return how many frames the stream keeps: 8 to 20.
std::size_t framesKept(int stream)
{
    return 8 + static_cast<std::size_t>(stream) * 5 % 13;
}

void decode(const Allocator &allocator, int streamCount, int frameCount, Handover &handover)
{
    std::deque<slab::BlockOwner> owners(static_cast<std::size_t>(streamCount));
    for (int frame = 0; frame < frameCount; ++frame) {
        std::vector<Frame> frames;
        for (int stream = 0; stream < streamCount; ++stream) {
            const quint32 size = frameSize(stream, streamCount);
            auto *const data = static_cast<char *>(allocator.allocate(owners[static_cast<std::size_t>(stream)], size));
            // One byte of each page, because writing all of them would drown what is measured.
            for (quint32 at = 0; at < size; at += pageBytes)
                data[at] = static_cast<char>(frame);
            frames.push_back({stream, data, size});
        }
        handover.push(std::move(frames));
    }
    handover.push({});
}

void keepAndFree(const Allocator &allocator, int streamCount, Handover &handover)
{
    std::vector<std::deque<Frame>> kept(static_cast<std::size_t>(streamCount));
    for (std::vector<Frame> frames = handover.pop(); !frames.empty(); frames = handover.pop())
        for (const Frame &frame : frames) {
            std::deque<Frame> &ofStream = kept[static_cast<std::size_t>(frame.stream)];
            ofStream.push_back(frame);
            if (ofStream.size() > framesKept(frame.stream)) {
                allocator.deallocate(ofStream.front().data, ofStream.front().size);
                ofStream.pop_front();
            }
        }
    for (const std::deque<Frame> &ofStream : kept)
        for (const Frame &frame : ofStream)
            allocator.deallocate(frame.data, frame.size);
}

/// Opens the streams, decodes so many frames of each, and closes them.
void run(const Allocator &allocator, int streamCount, int frameCount)
{
    Handover handover;
    std::thread sink([&] { keepAndFree(allocator, streamCount, handover); });
    std::thread decoder([&] { decode(allocator, streamCount, frameCount, handover); });
    decoder.join();
    sink.join();
}

double residentMb()
{
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return static_cast<double>(resident) * pageBytes / 1e6;
}

double seconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void measure(const Allocator &allocator, int streamCount, int frameCount)
{
    const double residentBeforeMb = residentMb();
    run(allocator, streamCount, frameCount);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double idleMb = residentMb() - residentBeforeMb;
    // One stream that goes on gives the allocator calls and time in which to give memory back.
    run(allocator, 1, 1000);
    const double laterMb = residentMb() - residentBeforeMb;

    const double blocks = static_cast<double>(streamCount) * frameCount;
    std::printf("%-14s %8d %10.2f %10.2f %10.1f %10.1f %10.1f\n", allocator.name, streamCount,
                (seconds(usage.ru_utime) + seconds(usage.ru_stime)) * 1e6 / blocks,
                static_cast<double>(usage.ru_minflt) / blocks, static_cast<double>(usage.ru_maxrss) * 1024 / 1e6,
                idleMb, laterMb);
}

} // namespace

int main(int argc, char **argv)
{
    const Allocator *chosen = nullptr;
    for (const Allocator &allocator : allocators)
        if (argc == 2 && std::string_view(argv[1]) == allocator.name)
            chosen = &allocator;
    if (!chosen) {
        std::fprintf(stderr, "usage: big_blocks_bench (owners | slab | aligned_alloc | mmap)\n");
        return 2;
    }
    std::printf("%-14s %8s %10s %10s %10s %10s %10s\n", "allocator", "streams", "us/block", "faults", "peak MB",
                "idle MB", "later MB");
    std::fflush(stdout);
    for (const auto &[streamCount, frameCount] : {std::pair(1, 4000), std::pair(16, 1000), std::pair(200, 100)}) {
        const pid_t child = fork();
        if (child == 0) {
            measure(*chosen, streamCount, frameCount);
            std::fflush(stdout);
            _exit(0);
        }
        int status = 0;
        if (waitpid(child, &status, 0) != child || status != 0)
            return 1;
    }
    return 0;
}
