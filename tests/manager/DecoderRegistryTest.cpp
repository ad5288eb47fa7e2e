#include "manager/DecoderRegistry.h"

#include <limits>
#include <memory>

#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include <gmock/gmock.h>

namespace {

const int largestId = std::numeric_limits<int>::max();

ModkitPtr<IInputQueue> newQueue()
{
    return ModkitPtr<IInputQueue>(new FakeInputQueue);
}

std::unique_ptr<VideoStreamDecoder> newDecoder(const ModkitPtr<IInputQueue> &queue)
{
    return std::make_unique<VideoStreamDecoder>(nullptr, ModkitPtr<IAVFormatManager>(new FakeFormatManager),
                                                ModkitPtr<IIndicationManager>(), queue, 0, 0, true,
                                                QStringLiteral("decoder"));
}

/// Registers one more output of @p decoder, as its creation does.
int addOutput(DecoderRegistry &registry, VideoStreamDecoder &decoder)
{
    registry.findOrReserve(decoder.inputQueue());
    const int id = registry.registerOutput(&decoder);
    decoder.addOutput(static_cast<quint32>(id), ModkitPtr<IVideoOutputQueue>(new FakeVideoOutputQueue("output")));
    return id;
}

} // namespace

TEST(DecoderRegistry, ReservesAPlaceForAnUnknownQueueAndFindsItsDecoderLater)
{
    DecoderRegistry registry;
    const ModkitPtr<IInputQueue> queue = newQueue();
    const auto decoder = newDecoder(queue);
    EXPECT_EQ(registry.findOrReserve(queue), nullptr);
    EXPECT_EQ(registry.count(), 1) << "the reserved place";
    EXPECT_EQ(registry.findOrReserve(queue), nullptr);
    EXPECT_EQ(registry.count(), 1) << "the same place";
    EXPECT_EQ(registry.registerOutput(decoder.get()), 0);
    EXPECT_EQ(registry.findOrReserve(queue), decoder.get());
    EXPECT_EQ(registry.registerOutput(decoder.get()), 1);
    EXPECT_EQ(registry.count(), 1);
}

TEST(DecoderRegistry, KnowsAQueueByItsObjectThroughAnyPointer)
{
    DecoderRegistry registry;
    const ModkitPtr<FakeInputQueue> queue(new FakeInputQueue);
    const auto decoder = newDecoder(queue);
    registry.findOrReserve(queue);
    registry.registerOutput(decoder.get());
    EXPECT_EQ(registry.findOrReserve(ModkitPtr<IInputQueue>(ModkitPtr<IPolymorph>(queue))), decoder.get());
}

TEST(DecoderRegistry, ReleasesADecoderWithItsLastOutput)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    const int first = addOutput(registry, *decoder);
    const int second = addOutput(registry, *decoder);
    EXPECT_EQ(registry.releaseOutput(first), nullptr);
    EXPECT_EQ(registry.count(), 1);
    EXPECT_EQ(registry.releaseOutput(first), nullptr) << "unknown by now";
    EXPECT_EQ(registry.releaseOutput(second), decoder.get());
    EXPECT_EQ(registry.count(), 0);
    EXPECT_EQ(registry.releaseOutput(second), nullptr);
}

TEST(DecoderRegistry, DoesNotReuseAReleasedIdBeforeTheCounterWraps)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    addOutput(registry, *decoder);
    const int second = addOutput(registry, *decoder);
    registry.releaseOutput(second);
    EXPECT_EQ(addOutput(registry, *decoder), second + 1);
}

TEST(DecoderRegistry, WrapsToZeroAfterTheLargestId)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    registry._nextId = largestId;
    EXPECT_EQ(addOutput(registry, *decoder), largestId);
    EXPECT_EQ(addOutput(registry, *decoder), 0);
}

TEST(DecoderRegistry, SkipsIdsThatAreInUse)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    EXPECT_EQ(addOutput(registry, *decoder), 0);
    EXPECT_EQ(addOutput(registry, *decoder), 1);
    registry._nextId = largestId;
    EXPECT_EQ(addOutput(registry, *decoder), largestId);
    EXPECT_EQ(addOutput(registry, *decoder), 2);
}

TEST(DecoderRegistry, LooksAtTheSignOnlyAtTheFirstStep)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    registry._nextId = largestId;
    EXPECT_EQ(addOutput(registry, *decoder), largestId);
    registry._nextId = largestId - 1;
    EXPECT_EQ(addOutput(registry, *decoder), largestId - 1);
    EXPECT_EQ(registry._nextId, std::numeric_limits<int>::min());
}

TEST(DecoderRegistry, TakesEntriesOneByOneAndReleasesTheirQueues)
{
    DecoderRegistry registry;
    const auto first = newDecoder(newQueue());
    const auto second = newDecoder(newQueue());
    addOutput(registry, *first);
    addOutput(registry, *second);
    const BaseSingleStreamDecoder *const taken = registry.takeFirst();
    const BaseSingleStreamDecoder *const other = registry.takeFirst();
    EXPECT_TRUE((taken == first.get() && other == second.get()) || (taken == second.get() && other == first.get()));
    EXPECT_EQ(registry.count(), 0);
    EXPECT_EQ(registry.takeFirst(), nullptr);
    EXPECT_EQ(registry._byId.size(), 2) << "the ids stay";
    for (const auto *decoder : {first.get(), second.get()})
        EXPECT_EQ(decoder->_inputQueue._counter->strongCount, 1) << "the decoder's own";
}

TEST(DecoderRegistry, ClearEmptiesBothTablesAndKeepsTheNextId)
{
    DecoderRegistry registry;
    const auto decoder = newDecoder(newQueue());
    addOutput(registry, *decoder);
    registry.clear();
    EXPECT_EQ(registry.count(), 0);
    EXPECT_TRUE(registry._byId.isEmpty());
    EXPECT_EQ(addOutput(registry, *decoder), 1);
}

TEST(DecoderRegistry, ClearReleasesTheQueues)
{
    DecoderRegistry registry;
    const ModkitPtr<IInputQueue> queue = newQueue();
    const ModkitPtr<IInputQueue> reserved = newQueue();
    const auto decoder = newDecoder(queue);
    addOutput(registry, *decoder);
    registry.findOrReserve(reserved);
    EXPECT_EQ(queue._counter->strongCount, 3) << "the test's, the decoder's and the registry's";
    EXPECT_EQ(reserved._counter->strongCount, 2) << "the test's and the registry's";
    registry.clear();
    EXPECT_EQ(queue._counter->strongCount, 2);
    EXPECT_EQ(reserved._counter->strongCount, 1);
}

TEST(DecoderRegistry, ACopyIsWalkedUndisturbedByLaterChanges)
{
    DecoderRegistry registry;
    const auto first = newDecoder(newQueue());
    const auto second = newDecoder(newQueue());
    addOutput(registry, *first);
    const DecoderRegistry copy = registry;
    addOutput(registry, *second);
    EXPECT_THAT(std::vector<BaseSingleStreamDecoder *>(copy.begin(), copy.end()), testing::ElementsAre(first.get()));
    EXPECT_THAT(std::vector<BaseSingleStreamDecoder *>(registry.begin(), registry.end()),
                testing::UnorderedElementsAre(first.get(), second.get()));
}
