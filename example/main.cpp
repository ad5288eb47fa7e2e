#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLibrary>

#include <cstdio>
#include <map>
#include <string>

#include "NumberFormat.h"
#include "NumberSink.h"
#include "NumberStream.h"
#include "TimerResolution.h"
#include "interfaces/ComponentExports.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISettings.h"
#include "interfaces/InterfaceIdentifiers.h"

namespace {

constexpr quint32 frameCount = 500;
constexpr std::chrono::milliseconds timeLimit(10 * frameCount); // ten cycles for each frame

/// Two decoder threads; all other settings are left at their defaults.
class ExampleSettings final : public ISettings {
public:
    std::int32_t getInt(const std::string &key, std::int32_t defaultValue) override
    {
        return key == "THREADS" ? 2 : defaultValue;
    }
};

class ExampleRegistry final : public IObjectRegistry {
public:
    ModkitPtr<IPolymorph> setObject(const std::string &identifier, const ModkitPtr<IPolymorph> &object) override
    {
        _objects[identifier] = object;
        return object;
    }
    ModkitPtr<IPolymorph> getObject(const std::string &identifier) override { return _objects[identifier]; }

private:
    std::map<std::string, ModkitPtr<IPolymorph>> _objects;
};

int fail(const char *what)
{
    std::fprintf(stderr, "example: %s\n", what);
    return 1;
}

/// Decodes one stream with the published component. @return the exit code.
int decodeOneStream(ExampleRegistry &registry)
{
    const ModkitPtr<IDecodingManager> manager(registry.getObject(InterfaceIdentifiers::decodingManager));
    if (manager.isNull())
        return fail("the component is not published");

    QElapsedTimer time;
    time.start();
    const ModkitPtr<NumberSink> sink(new NumberSink);
    const ModkitPtr<IDecoder> handle = manager->createVideoDecoder(ModkitPtr<IInputQueue>(new NumberStream(frameCount)),
                                                                   sink, 0, QStringLiteral("numbers"));
    const quint32 received = sink->waitFor(frameCount, timeLimit);
    std::printf("%u of %u frames in order, in %lld ms\n", received, frameCount, static_cast<long long>(time.elapsed()));
    return received == frameCount ? 0 : fail("frames are missing, or took more than 10 ms each");
}

} // namespace

/// The smallest host that decodes something: loads the component that is named on the command line.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 2)
        return fail("name the component's library, and nothing else");
    QLibrary library(QString::fromLocal8Bit(argv[1]));
    const auto getObject = reinterpret_cast<decltype(&ModkitGetObject)>(library.resolve("ModkitGetObject"));
    if (!getObject)
        return fail(qPrintable(library.errorString()));

    const TimerResolution oneMillisecond;
    ExampleRegistry registry;
    registry.setObject(InterfaceIdentifiers::avFormatManager,
                       ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new NumberFormat)));
    IComponent *object = nullptr;
    getObject(&object, ModkitVersionKey);
    if (!object)
        return fail("the component is made for another version of the contract");
    const ModkitPtr<IComponent> component(object);
    if (!component->init(ModkitPtr<ISettings>(new ExampleSettings), registry, component))
        return fail("the component does not start");
    const int result = decodeOneStream(registry);
    component->stop();
    return result;
}
