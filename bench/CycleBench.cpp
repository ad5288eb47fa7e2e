#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <memory>
#include <vector>

#include "NullServices.h"
#include "decoders/VideoStreamDecoder.h"

/// Runs the processing cycle of a video decoder so many times, between parts that do next to nothing, for a tool
/// outside to count instructions and allocations; or measures the heap that an idle decoder takes.
namespace {

std::unique_ptr<VideoStreamDecoder> newDecoder(bool full, bool withIndications)
{
    return std::make_unique<VideoStreamDecoder>(
        nullptr, ModkitPtr<IAVFormatManager>(new NullFormatManager),
        ModkitPtr<IIndicationManager>(withIndications ? new TrivialIndicationManager : nullptr),
        full ? ModkitPtr<IInputQueue>(new EndlessQueue) : ModkitPtr<IInputQueue>(new EmptyQueue), 0, 0, true,
        QStringLiteral("camera 1234"));
}

void runCycles(bool full, bool withIndications, long count)
{
    const std::unique_ptr<VideoStreamDecoder> decoder = newDecoder(full, withIndications);
    for (long cycle = 0; cycle < count; ++cycle)
        decoder->runCycle();
}

/// Prints the heap that each of @p count idle decoders takes, its timer included, its queue and services not.
void measureHeap(long count)
{
    const ModkitPtr<IAVFormatManager> formatManager(new NullFormatManager);
    const ModkitPtr<IInputQueue> queue(new EmptyQueue);
    std::vector<std::unique_ptr<VideoStreamDecoder>> decoders;
    decoders.reserve(static_cast<std::size_t>(count));
    const std::size_t before = mallinfo2().uordblks;
    for (long decoder = 0; decoder < count; ++decoder) {
        decoders.push_back(std::make_unique<VideoStreamDecoder>(nullptr, formatManager, ModkitPtr<IIndicationManager>(),
                                                                queue, 0, 0, true,
                                                                QStringLiteral("camera %1").arg(decoder)));
        decoders.back()->runCycle();
    }
    std::printf("heap-bytes-per-decoder %zu\n", (mallinfo2().uordblks - before) / static_cast<std::size_t>(count));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const long count = argc == 3 ? std::atol(argv[2]) : 0;
    if (count <= 0) {
        std::fprintf(stderr,
                     "usage: cycle_bench (decode | decode-indications | idle | idle-indications | heap) COUNT\n");
        return 2;
    }
    if (std::strcmp(argv[1], "heap") == 0)
        measureHeap(count);
    else
        runCycles(std::strncmp(argv[1], "decode", 6) == 0, std::strstr(argv[1], "-indications") != nullptr, count);
    return 0;
}
