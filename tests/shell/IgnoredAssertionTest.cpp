#include <QLibrary>

#include <cstdlib>
#include <string>
#include <vector>

#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/IgnoredAssertions.h"
#include "interfaces/ComponentExports.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include <gmock/gmock.h>

// What the loaded library does where the runtime's report of an assertion returns.

namespace {

using testing::ExitedWithCode;

const char *const videoAssertion = "DecodingManager:156: !inputQueue.isNull() && !outputQueue.isNull()";
const char *const audioAssertion = "DecodingManager:193: !inputQueue.isNull() && !outputQueue.isNull()";

/// Ends the process with 0 when requests without queues are reported and then go on as any other.
void requestWithoutQueues()
{
    IgnoredAssertions assertions;
    QLibrary library(QStringLiteral(COMPONENT_FILE));
    const auto getObject = reinterpret_cast<decltype(&ModkitGetObject)>(library.resolve("ModkitGetObject"));
    IComponent *object = nullptr;
    getObject(&object, ModkitVersionKey);
    auto &manager = dynamic_cast<IDecodingManager &>(*object);

    const bool isRefused =
        manager.createVideoDecoder(ModkitPtr<IInputQueue>(), ModkitPtr<IVideoOutputQueue>(), 0, QString()).isNull() &&
        manager.createAudioDecoder(ModkitPtr<IInputQueue>(), ModkitPtr<IAudioOutputQueue>(), 0, QString()).isNull();
    const bool isReported = assertions.take() == std::vector<std::string>{videoAssertion, audioAssertion};

    CallLog log;
    FakeObjectRegistry registry(log);
    registry.objects[InterfaceIdentifiers::avFormatManager] =
        ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FakeFormatManager));
    object->init(ModkitPtr<ISettings>(new FakeSettings(log)), registry, ModkitPtr<IComponent>());
    const ModkitPtr<IDecoder> handle = manager.createVideoDecoder(ModkitPtr<IInputQueue>(new FakeInputQueue),
                                                                  ModkitPtr<IVideoOutputQueue>(), 0, QString());
    const bool isCreated = !handle.isNull() && dynamic_cast<ITuneDecoding &>(*object).decoderCount() == 1;
    object->stop();
    std::_Exit(isRefused && isReported && isCreated ? 0 : 1);
}

} // namespace

TEST(IgnoredAssertionDeathTest, RequestsWithoutQueuesGoOn)
{
    EXPECT_EXIT(requestWithoutQueues(), ExitedWithCode(0), "");
}
