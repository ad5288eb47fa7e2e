#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "cpuload/CpuLoadCalculator.h"
#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeInputQueue.h"
#include <gmock/gmock.h>

// Which of QObject's operations the component's classes override: by the entries of their tables.

namespace {

using testing::ElementsAre;

// Of a QObject: the meta-object's three (0 to 2), the two destructors, `event`, `eventFilter`, `timerEvent` (7),
// `childEvent`, `customEvent` (9) and the two notifications of connections.
constexpr std::size_t slotCount = 12;
constexpr std::size_t destructorSlots[] = {3, 4};

/// Overrides nothing.
class PlainObject : public QObject {};

const void *entry(const QObject &object, std::size_t slot)
{
    const unsigned char *table;
    std::memcpy(&table, static_cast<const void *>(&object), sizeof table);
    const void *operation;
    std::memcpy(&operation, table + slot * sizeof operation, sizeof operation);
    return operation;
}

/// @return the slots, destructors left out, in which @p object has another operation than @p other.
std::vector<std::size_t> differingSlots(const QObject &object, const QObject &other)
{
    std::vector<std::size_t> slots;
    for (std::size_t slot = 0; slot < slotCount; ++slot) {
        if (slot != destructorSlots[0] && slot != destructorSlots[1] && entry(object, slot) != entry(other, slot))
            slots.push_back(slot);
    }
    return slots;
}

class OverriddenSlotsTest : public testing::Test {
protected:
    template <class StreamDecoder>
    std::unique_ptr<StreamDecoder> newDecoder() const
    {
        return std::make_unique<StreamDecoder>(nullptr, _formatManager, ModkitPtr<IIndicationManager>(), _queue, 0, 0,
                                               true, QStringLiteral("decoder"));
    }

    const ModkitPtr<IAVFormatManager> _formatManager{new FakeFormatManager};
    const ModkitPtr<IInputQueue> _queue{new FakeInputQueue};
    const PlainObject _plain;
};

} // namespace

TEST_F(OverriddenSlotsTest, StreamDecodersOverrideTheTimerEventAndTheCustomEventOnly)
{
    EXPECT_THAT(differingSlots(*newDecoder<VideoStreamDecoder>(), _plain), ElementsAre(7U, 9U));
    EXPECT_THAT(differingSlots(*newDecoder<AudioStreamDecoder>(), _plain), ElementsAre(7U, 9U));
}

TEST_F(OverriddenSlotsTest, BothEventsAreHandledByTheirCommonBase)
{
    EXPECT_THAT(differingSlots(*newDecoder<VideoStreamDecoder>(), *newDecoder<AudioStreamDecoder>()),
                testing::IsEmpty());
}

TEST_F(OverriddenSlotsTest, TheCalculatorOverridesItsMetaObjectAndTheTimerEventOnly)
{
    const CpuLoadCalculator calculator(nullptr, 1000000, 1, nullptr);
    EXPECT_THAT(differingSlots(calculator, _plain), ElementsAre(0U, 1U, 2U, 7U));
}
