#include <atomic>
#include <thread>

#include "modkit/ObjectRegistry.h"
#include <gmock/gmock.h>

using testing::Each;
using testing::IsEmpty;

namespace {

constexpr int threadCount = 8;
constexpr int objectsPerThread = 2000;

class NumberedObject final : public IPolymorph {
public:
    NumberedObject(int number, std::atomic<int> &liveObjects)
        : _number(number)
        , _liveObjects(liveObjects)
    {
        ++_liveObjects;
    }
    ~NumberedObject() override { --_liveObjects; }

    int number() const { return _number; }

private:
    const int _number;
    std::atomic<int> &_liveObjects;
};

} // namespace

TEST(ObjectRegistryThreads, EveryObjectIsReplacedExactlyOnceWhileOthersRead)
{
    ObjectRegistry registry;
    std::atomic<int> liveObjects{0};
    // Element n is written only by the thread that is handed object n back, so a second one shows as a count of 2 or a
    // race.
    std::vector<int> replacedCount(std::size_t{threadCount} * objectsPerThread);
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < objectsPerThread; ++i) {
                const int number = thread * objectsPerThread + i;
                const ModkitPtr<IPolymorph> replaced =
                    registry.setObject("shared", ModkitPtr<IPolymorph>(new NumberedObject(number, liveObjects)));
                if (!replaced.isNull())
                    ++replacedCount[static_cast<NumberedObject &>(*replaced).number()];
                const ModkitPtr<IPolymorph> found = registry.getObject("shared");
                ASSERT_FALSE(found.isNull());
                ASSERT_EQ(registry.identifiers().size(), 1U);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    const ModkitPtr<IPolymorph> last = registry.setObject("shared", ModkitPtr<IPolymorph>());
    ++replacedCount[static_cast<NumberedObject &>(*last).number()];
    EXPECT_THAT(replacedCount, Each(1));
    EXPECT_EQ(liveObjects, 1);
}

TEST(ObjectRegistryThreads, ThreadsPublishAndWithdrawUnderTheirOwnIdentifiers)
{
    ObjectRegistry registry;
    std::atomic<int> liveObjects{0};
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&registry, &liveObjects, identifier = std::to_string(thread)] {
            for (int i = 0; i < objectsPerThread; ++i) {
                const ModkitPtr<IPolymorph> object(new NumberedObject(i, liveObjects));
                ASSERT_TRUE(registry.setObject(identifier, object).isNull());
                ASSERT_TRUE(registry.getObject(identifier) == object);
                ASSERT_TRUE(registry.setObject(identifier, ModkitPtr<IPolymorph>()) == object);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(registry.identifiers(), IsEmpty());
    EXPECT_EQ(liveObjects, 0);
}
