#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <malloc.h>
#include <memory>
#include <vector>

#include "NullFramework.h"
#include "NullServices.h"
#include "StopFigures.h"

/// Measures what it costs a client to place decoders and to join them, and how long many take to be stopped. The client
/// is the main thread, which has an event dispatcher, as a client with a user interface.
namespace {

/// A manager with so many idle decoders on one thread.
class PlacedDecoders {
public:
    explicit PlacedDecoders(int count)
        : _framework(1, ModkitPtr<IAVFormatManager>(new NullFormatManager))
    {
        _handles.reserve(static_cast<std::size_t>(count));
        for (int decoder = 0; decoder < count; ++decoder)
            _handles.push_back(_framework.decode(ModkitPtr<IInputQueue>(new EmptyQueue)));
    }

    NullFramework &framework() { return _framework; }

private:
    NullFramework _framework;
    std::vector<ModkitPtr<IDecoder>> _handles;
};

/// What is measured. Not inline: the tool outside counts the instructions in here, found by this name.
[[gnu::noinline]] void createAndRelease(NullFramework &framework, const ModkitPtr<IInputQueue> &queue)
{
    const ModkitPtr<IDecoder> handle = framework.decode(queue);
}

/// Creates handles on a decoder that is there already (@p joining) or with a decoder of their own, while so many
/// decoders are alive beside it, and drops each at once.
void placeRepeatedly(bool joining, int aliveCount, long count)
{
    PlacedDecoders decoders(aliveCount);
    const ModkitPtr<IInputQueue> queue(new EmptyQueue);
    ModkitPtr<IDecoder> firstHandle;
    if (joining)
        firstHandle = decoders.framework().decode(queue);
    for (long repetition = 0; repetition < count; ++repetition) {
        decoders.framework().settle();
        createAndRelease(decoders.framework(), queue);
    }
}

/// @return the middle one of @p values, which must not be empty.
double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double threadTimeUs()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

/// Prints the processor time of the client's thread for one handle, created and dropped, with 0, 100 and 10,000
/// decoders alive in managers of their own. They take turns, so that whatever else the machine does meets all alike.
/// @param held the decoder threads are at rest meanwhile. Otherwise a thread with few decoders is asleep and has to be
///        woken, which takes longer than anything else, and one with many is not.
void measureGrowth(const char *name, bool joining, bool held)
{
    constexpr int batch = 10;
    constexpr int roundCount = 200;
    struct Population {
        int count;
        std::unique_ptr<PlacedDecoders> decoders;
        ModkitPtr<IDecoder> firstHandle;
        std::vector<double> samplesUs;
    };
    const ModkitPtr<IInputQueue> queue(new EmptyQueue);
    Population populations[] = {{0, {}, {}, {}}, {100, {}, {}, {}}, {10000, {}, {}, {}}};
    for (Population &population : populations) {
        population.decoders = std::make_unique<PlacedDecoders>(population.count);
        if (joining)
            population.firstHandle = population.decoders->framework().decode(queue);
    }
    for (int round = 0; round < roundCount; ++round) {
        for (Population &population : populations) {
            NullFramework &framework = population.decoders->framework();
            framework.settle();
            if (held)
                framework.holdThreads();
            const double beforeUs = threadTimeUs();
            for (int repetition = 0; repetition < batch; ++repetition)
                createAndRelease(framework, queue);
            population.samplesUs.push_back((threadTimeUs() - beforeUs) / batch);
            if (held)
                framework.letThreadsGo();
        }
    }
    for (Population &population : populations)
        std::printf("%s-us-%d %.2f\n", name, population.count, median(population.samplesUs));
    std::printf("%s-growth %.2f\n", name, median(populations[2].samplesUs) / median(populations[1].samplesUs));
}

/// Prints the heap that each of @p count idle decoders takes with its handle and its places in the manager's tables,
/// its queue not.
void measureHeap(int count)
{
    // What decoder threads allocate for a decoder counts too: one heap for all threads.
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
    NullFramework framework(1, ModkitPtr<IAVFormatManager>(new NullFormatManager));
    std::vector<ModkitPtr<IInputQueue>> queues;
    queues.reserve(static_cast<std::size_t>(count));
    for (int queue = 0; queue < count; ++queue)
        queues.emplace_back(new EmptyQueue);
    std::vector<ModkitPtr<IDecoder>> handles(static_cast<std::size_t>(count));
    framework.settle();
    const std::size_t before = mallinfo2().uordblks;
    for (std::size_t decoder = 0; decoder < handles.size(); ++decoder)
        handles[decoder] = framework.decode(queues[decoder]);
    framework.settle();
    std::printf("heap %zu\n", (mallinfo2().uordblks - before) / handles.size());
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const char *const figure = argc >= 2 ? argv[1] : "";
    if (argc == 4 && (std::strcmp(figure, "place") == 0 || std::strcmp(figure, "join") == 0)) {
        placeRepeatedly(std::strcmp(figure, "join") == 0, std::atoi(argv[2]), std::atol(argv[3]));
    } else if (argc == 2 && std::strcmp(figure, "growth") == 0) {
        measureGrowth("place", false, true);
        measureGrowth("join", true, true);
        measureGrowth("place-running", false, false);
        measureGrowth("join-running", true, false);
    } else if (argc == 2 && std::strcmp(figure, "heap") == 0) {
        measureHeap(1000);
    } else if (argc == 2 && std::strcmp(figure, "stop") == 0) {
        measureStop();
    } else {
        std::fprintf(stderr, "usage: placement_bench (place | join) ALIVE COUNT\n"
                             "       placement_bench (growth | heap | stop)\n");
        return 2;
    }
    return 0;
}
