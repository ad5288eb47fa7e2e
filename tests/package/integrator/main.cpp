#include <QCoreApplication>
#include <QLibrary>

#include <cstdio>
#include <map>

#include "QEvent_CpuLoad.h"
#include "interfaces/ComponentExports.h"
#include "interfaces/IAVFormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISettings.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"

namespace {

class OneThread : public ISettings {
public:
    std::int32_t getInt(const std::string &key, std::int32_t defaultValue) override
    {
        return key == "THREADS" ? 1 : defaultValue;
    }
};

class Registry : public IObjectRegistry {
public:
    ~Registry() = default;
    ModkitPtr<IPolymorph> setObject(const std::string &identifier, const ModkitPtr<IPolymorph> &object) override
    {
        _objects[identifier] = object;
        return object;
    }
    ModkitPtr<IPolymorph> getObject(const std::string &identifier) override { return _objects[identifier]; }

private:
    std::map<std::string, ModkitPtr<IPolymorph>> _objects;
};

class NoCodecs : public IAVFormatManager {
public:
    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}
    ModkitPtr<IVideoCodecDecoder> createVideoCodecDecoder(quint32) override { return ModkitPtr<IVideoCodecDecoder>(); }
    ModkitPtr<IAudioCodecDecoder> createAudioCodecDecoder(quint32) override { return ModkitPtr<IAudioCodecDecoder>(); }
};

int fail(const char *what)
{
    std::fprintf(stderr, "integrator: %s\n", what);
    return 1;
}

} // namespace

/// The smallest host: nothing but the installed package.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 2)
        return fail("the component is not named");
    QLibrary library(QString::fromLocal8Bit(argv[1]));
    const auto getObject = reinterpret_cast<decltype(&ModkitGetObject)>(library.resolve("ModkitGetObject"));
    if (!getObject)
        return fail("the component does not load");

    Registry registry;
    registry.setObject(InterfaceIdentifiers::avFormatManager,
                       ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new NoCodecs)));
    IComponent *object = nullptr;
    getObject(&object, ModkitVersionKey);
    const ModkitPtr<IComponent> component(object);
    if (!component->init(ModkitPtr<ISettings>(new OneThread), registry, component))
        return fail("init fails");
    const ModkitPtr<IPolymorph> published = registry.getObject(InterfaceIdentifiers::decodingManager);
    if (ModkitPtr<IDecodingManager>(published).isNull() || ModkitPtr<ITuneDecoding>(published).isNull())
        return fail("the component is not published");
    component->stop();
    return QEvent_CpuLoad(0.5).load == 0.5 ? 0 : fail("the load event is not usable");
}
