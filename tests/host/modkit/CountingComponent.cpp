#include "CountingComponent.h"

namespace {

int liveObjects = 0;
int deletedObjects = 0;

class CountingComponent final : public IComponent {
public:
    CountingComponent() { ++liveObjects; }
    ~CountingComponent() override { --liveObjects; }

    bool init(const ModkitPtr<ISettings> & /*settings*/, IObjectRegistry & /*registry*/,
              const ModkitPtr<IComponent> & /*self*/) override
    {
        return true;
    }
    void stop() override {}
    int check() override { return 1; }
};

} // namespace

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t key)
{
    *name = key == ModkitVersionKey ? "test.CountingComponent" : nullptr;
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t key)
{
    *object = key == ModkitVersionKey ? new CountingComponent : nullptr;
}

void ModkitDeleteObject(IComponent **object, std::int32_t key)
{
    if (!*object || key != ModkitVersionKey)
        return;
    ++deletedObjects;
    delete *object;
}

int countingComponentLiveObjects()
{
    return liveObjects;
}

int countingComponentDeletedObjects()
{
    return deletedObjects;
}
