#include "interfaces/ComponentExports.h"

// A component whose `init` fails. Beside the three functions of every component it exports the calls of its objects.

namespace {

int initCalls = 0;
int stopCalls = 0;
int liveObjects = 0;

class RefusingComponent final : public IComponent {
public:
    RefusingComponent() { ++liveObjects; }
    ~RefusingComponent() override { --liveObjects; }

    bool init(const ModkitPtr<ISettings> & /*settings*/, IObjectRegistry & /*registry*/,
              const ModkitPtr<IComponent> & /*self*/) override
    {
        ++initCalls;
        return false;
    }
    void stop() override { ++stopCalls; }
    int check() override { return 1; }
};

} // namespace

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = "test.RefusingComponent";
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    *object = new RefusingComponent;
}

void ModkitDeleteObject(IComponent **object, std::int32_t /*key*/)
{
    delete *object;
}

extern "C" {

MODKIT_EXPORT int refusingComponentInitCalls()
{
    return initCalls;
}

MODKIT_EXPORT int refusingComponentStopCalls()
{
    return stopCalls;
}

MODKIT_EXPORT int refusingComponentLiveObjects()
{
    return liveObjects;
}
}
