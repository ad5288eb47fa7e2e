#include <atomic>
#include <thread>
#include <vector>

#include "modkit/ObjectTrace.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace traced {

class Picture final : public IPolymorph {};

class Sound final : public IPolymorph {};

} // namespace traced

namespace {

constexpr int tracedThreads = 16;

} // namespace

TEST(ObjectTraceThreads, ObjectsOfAllThreadsAreCountedExactlyWhileTheTraceIsRead)
{
    constexpr int roundsPerThread = 5000;
    constexpr std::size_t keptPerThread = 10;
    std::vector<std::vector<ModkitPtr<IPolymorph>>> kept(tracedThreads);
    std::atomic<bool> isDone{false};
    std::thread reader([&isDone] {
        // At most one picture and one sound of each thread are alive beside the kept pictures.
        while (!isDone)
            ASSERT_LE(ObjectTrace::liveCount(), tracedThreads * (keptPerThread + 2));
    });
    std::vector<std::thread> threads;
    threads.reserve(tracedThreads);
    for (auto &keptOfThread : kept) {
        threads.emplace_back([&keptOfThread] {
            for (int i = 0; i < roundsPerThread; ++i) {
                const ModkitPtr<traced::Picture> picture(new traced::Picture);
                const ModkitPtr<traced::Sound> sound(new traced::Sound);
                const ModkitPtr<IPolymorph> converted = picture;
                if (keptOfThread.size() < keptPerThread)
                    keptOfThread.push_back(converted);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    isDone = true;
    reader.join();

    EXPECT_EQ(ObjectTrace::liveCount(), tracedThreads * keptPerThread);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", tracedThreads * keptPerThread)));
    kept.clear();
    EXPECT_THAT(ObjectTrace::liveCountByType(), IsEmpty());
}

TEST(ObjectTraceThreads, ObjectIsUnlistedByWhicheverThreadDropsItLast)
{
    constexpr int objectCount = 5000;
    std::vector<ModkitPtr<IPolymorph>> objects;
    objects.reserve(objectCount);
    for (int i = 0; i < objectCount; ++i)
        objects.emplace_back(new traced::Picture);
    std::vector<std::thread> threads;
    threads.reserve(tracedThreads);
    for (int thread = 0; thread < tracedThreads; ++thread) {
        threads.emplace_back([own = objects]() mutable {
            for (ModkitPtr<IPolymorph> &object : own)
                object.reset();
        });
    }
    objects.clear();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}
