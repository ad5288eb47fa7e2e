#include <QPointer>
#include <QThread>

#include <memory>
#include <string>

#include "cpuload/CpuLoadCalculator.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeInputQueue.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Logs its destruction as "video queue gone".
template <class Base>
class Mortal final : public Base {
public:
    Mortal(const char *name, CallLog &log)
        : _name(name)
        , _log(log)
    {
    }
    ~Mortal() override { _log.add(_name + " gone"); }

private:
    const std::string _name;
    CallLog &_log;
};

ModkitPtr<IInputQueue> mortalQueue(const char *name, CallLog &log)
{
    return ModkitPtr<IInputQueue>(new Mortal<FakeInputQueue>(name, log));
}

ModkitPtr<IIndicationManager> mortalIndications(const char *name, CallLog &log)
{
    return ModkitPtr<IIndicationManager>(new Mortal<FakeIndicationManager>(name, log));
}

/// Another manager, in place of the manager's pointer to itself.
ModkitPtr<DecodingManager> mortalSelf(CallLog &log)
{
    const ModkitPtr<DecodingManager> self(new DecodingManager);
    self->_indicationManager = mortalIndications("self", log);
    return self;
}

} // namespace

TEST(DecodingManagerDestruction, ReleasesTheMembersInReverseOrderOfTheirDeclaration)
{
    CallLog log;
    auto manager = std::make_unique<DecodingManager>();
    manager->_formatManager = ModkitPtr<IAVFormatManager>(new Mortal<FakeFormatManager>("format manager", log));
    manager->_indicationManager = mortalIndications("indication manager", log);
    manager->_self = mortalSelf(log);
    manager->_videoDecoders.findOrReserve(mortalQueue("video queue", log));
    manager->_audioDecoders.findOrReserve(mortalQueue("audio queue", log));
    EXPECT_THAT(log.take(), IsEmpty());
    manager.reset();
    EXPECT_THAT(log.take(), ElementsAre("audio queue gone", "video queue gone", "self gone", "indication manager gone",
                                        "format manager gone"));
}

TEST(DecodingManagerDestruction, WithoutStopEndsNoThreadNorTheMeasurementAndLeavesTheRegistryAlone)
{
    CallLog log;
    FakeObjectRegistry registry(log);
    QThread thread;
    thread.start();
    const auto calculator = std::make_unique<CpuLoadCalculator>(nullptr, 1000000, 1, nullptr);
    const QPointer<QObject> watched(calculator.get());
    auto manager = std::make_unique<DecodingManager>();
    manager->_registry = &registry;
    manager->_threads.append(&thread);
    manager->_decodersPerThread.append(0);
    manager->_cpuLoadCalculator = calculator.get();
    manager.reset();
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(watched.isNull());
    thread.quit();
    thread.wait();
}
