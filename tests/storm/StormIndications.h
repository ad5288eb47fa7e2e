#ifndef STORM_STORMINDICATIONS_H
#define STORM_STORMINDICATIONS_H

#include <atomic>
#include <mutex>
#include <vector>

#include "StormLedger.h"
#include "interfaces/IIndicationManager.h"

/// Keeps the callback of its last value, and checks that it is removed exactly once, and not set afterwards.
class StormIndication final : public IIndicationObject, private Counted<StormIndication> {
public:
    static constexpr char kindName[] = "an indication";
    using Counted<StormIndication>::count;

    ~StormIndication() override;

    void setValue(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) override;
    void remove();

private:
    std::atomic<bool> _isRemoved{false};
    std::mutex _mutex;
    ModkitPtr<ISimpleIndicationObjectCallback> _callback; // guarded by _mutex
};

/// Gives no indication now and then, and runs out of memory when the calling thread has asked for that.
class StormIndications final : public IIndicationManager, private Counted<StormIndications> {
public:
    static constexpr char kindName[] = "an indication manager";
    using Counted<StormIndications>::count;

    /// The creation after @p count further ones throws on the calling thread; negative: none does.
    static void throwAfter(int count);

    void reserved1() override;
    void removeIndication(const ModkitPtr<IIndicationObject> &indication) override;
    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) override;

private:
    StormTally _creations;
};

#endif
