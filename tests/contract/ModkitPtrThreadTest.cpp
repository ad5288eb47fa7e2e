#include <atomic>
#include <thread>
#include <vector>

#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

namespace {

std::atomic<int> added{0};
std::atomic<int> removed{0};
std::atomic<int> destroyed{0};

class ILeft : public IPolymorph {};
class IRight : public IPolymorph {};

class Both : public ILeft, public IRight {
public:
    ~Both() override
    {
        // Plain, so that a thread sanitizer sees whether the destruction comes after every use.
        value = -1;
        ++destroyed;
    }
    int value = 5;
};

const int threadCount = 8;
const int rounds = 20000;

/// Runs @p body(thread index) on 8 threads that begin together.
template <class Body>
void onAllThreads(const Body &body)
{
    std::atomic<int> waiting{threadCount};
    std::vector<std::thread> threads;
    for (int index = 0; index < threadCount; ++index) {
        threads.emplace_back([&, index] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            body(index);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

} // namespace

void ModkitObjectTrace_Add(ModkitCounter * /*counter*/, const char * /*typeName*/, std::int32_t flag)
{
    if (flag == 0)
        ++added;
}

void ModkitObjectTrace_Remove(ModkitCounter * /*counter*/)
{
    ++removed;
}

TEST(ModkitPtrThreads, CopiesConversionsAndReleasesOfOneObjectKeepItAliveToTheLast)
{
    added = removed = destroyed = 0;
    {
        const ModkitPtr<Both> shared(new Both);
        onAllThreads([&shared](int) {
            ModkitPtr<ILeft> kept;
            for (int round = 0; round < rounds; ++round) {
                const ModkitPtr<Both> copy(shared);
                const ModkitPtr<IRight> right = copy;
                kept = ModkitPtr<ILeft>(right);
                EXPECT_EQ(copy->value, 5);
            }
        });
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(added, 1);
    EXPECT_EQ(removed, 1);
    EXPECT_EQ(destroyed, 1);
}

TEST(ModkitPtrThreads, TheLastOfManyReleasesDestroysExactlyOnce)
{
    added = removed = destroyed = 0;
    const int objects = 2000;
    std::vector<std::vector<ModkitPtr<IPolymorph>>> references(threadCount);
    for (int object = 0; object < objects; ++object) {
        const ModkitPtr<Both> both(new Both);
        const ModkitPtr<ILeft> left = both;
        for (std::vector<ModkitPtr<IPolymorph>> &own : references)
            own.push_back(ModkitPtr<IPolymorph>(left));
    }
    onAllThreads([&references](int index) {
        for (ModkitPtr<IPolymorph> &reference : references[static_cast<std::size_t>(index)]) {
            EXPECT_EQ(ModkitPtr<Both>(reference)->value, 5);
            reference.reset();
        }
    });
    EXPECT_EQ(added, objects);
    EXPECT_EQ(removed, objects);
    EXPECT_EQ(destroyed, objects);
}
