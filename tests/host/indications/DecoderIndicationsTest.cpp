#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fakes/FakeFormatManager.h"
#include "fakes/FakeInputQueue.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/WaitUntil.h"
#include "indications/IndicationManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectTrace.h"
#include "modkit/Settings.h"
#include "session/ComponentHost.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The component with two decoder threads, which shows what it does in an indication manager.
class DecoderIndicationsTest : public testing::Test {
protected:
    DecoderIndicationsTest()
    {
        auto *const fresh = new Settings;
        const ModkitPtr<ISettings> settings(fresh);
        fresh->addMap({{"THREADS", "2"}}, "the test");
        registry.setObject(InterfaceIdentifiers::avFormatManager, ModkitPtr<IPolymorph>(new FakeFormatManager));
        registry.setObject(InterfaceIdentifiers::indicationManager, indications);
        host = std::make_unique<ComponentHost>(settings, registry);
    }

    void SetUp() override
    {
        ASSERT_EQ(host->start(QStringLiteral(COMPONENT_FILE)), std::nullopt);
        decoding = registry.getObject(InterfaceIdentifiers::decodingManager);
        tuning = registry.getObject(InterfaceIdentifiers::tuneDecoding);
    }

    ModkitPtr<IDecoder> decode(const ModkitPtr<IInputQueue> &queue, const QString &name)
    {
        return decoding->createVideoDecoder(queue, output, 0, name);
    }

    /// The first value of that name; without a name when no owner has it.
    IndicationManager::Value value(const char *name) const
    {
        for (const IndicationManager::Owner &owner : indications->snapshot())
            for (const IndicationManager::Value &one : owner.values)
                if (one.name == QLatin1String(name))
                    return one;
        return {QString(), -1, Light::Bad, QString()};
    }
    bool shows(const char *name, Light light) const
    {
        const IndicationManager::Value shown = value(name);
        return !shown.name.isEmpty() && shown.light == light;
    }
    bool comesToShow(const char *name, Light light) const
    {
        return waitUntil([&] { return shows(name, light); });
    }
    /// The same while blocks keep coming, so that a blink is not missed.
    bool comesToShow(const char *name, Light light, FakeInputQueue &queue, const FakeInputQueue::Block &block) const
    {
        return waitUntil([&] {
            queue.append(block);
            return shows(name, light);
        });
    }

    ObjectRegistry registry;
    ModkitPtr<IndicationManager> indications{new IndicationManager};
    ModkitPtr<IVideoOutputQueue> output{new FakeVideoOutputQueue("left")};
    std::unique_ptr<ComponentHost> host;
    ModkitPtr<IDecodingManager> decoding;
    ModkitPtr<ITuneDecoding> tuning;
};

FakeInputQueue::Block keyBlock()
{
    FakeInputQueue::Block block;
    block.data = "H264, coded";
    block.keyBlock = true;
    block.lost = 2;
    block.latency = 200;
    return block;
}

} // namespace

TEST_F(DecoderIndicationsTest, ADecoderShowsItsSevenAndTheThreadThatItLivesOn)
{
    const ModkitPtr<IInputQueue> queue(new FakeInputQueue);
    const ModkitPtr<IDecoder> handle = decode(queue, QStringLiteral("camera 1"));
    const std::vector<IndicationManager::Owner> owners = indications->snapshot();
    ASSERT_EQ(owners.size(), 1U);
    EXPECT_EQ(owners[0].name, QStringLiteral("camera 1"));
    std::vector<std::string> names;
    for (const IndicationManager::Value &one : owners[0].values)
        names.push_back(one.name.toStdString());
    EXPECT_THAT(names, ElementsAre("DecoderMode", "DecoderLost", "DecoderCycle", "DecoderMaxLatency",
                                   "DecoderKeyBlockReceived", "DecoderNullBlockReceived", "DecoderDataPushed"));
    EXPECT_TRUE(waitUntil([&] { return value("DecoderCycle").thread == QLatin1String("Decoder/1"); }))
        << value("DecoderCycle").thread.toStdString();
}

TEST_F(DecoderIndicationsTest, ADecodedBlockLightsUpAndItsBlinksGoOut)
{
    auto *const fresh = new FakeInputQueue;
    const ModkitPtr<IInputQueue> queue(fresh);
    const ModkitPtr<IDecoder> handle = decode(queue, QStringLiteral("camera 1"));
    EXPECT_TRUE(comesToShow("DecoderDataPushed", Light::Good, *fresh, keyBlock()));
    EXPECT_TRUE(comesToShow("DecoderKeyBlockReceived", Light::Good, *fresh, keyBlock()));
    EXPECT_TRUE(comesToShow("DecoderLost", Light::Warning));
    EXPECT_TRUE(comesToShow("DecoderMaxLatency", Light::Bad));
    EXPECT_TRUE(comesToShow("DecoderDataPushed", Light::Black));
    EXPECT_TRUE(comesToShow("DecoderKeyBlockReceived", Light::Black));
    EXPECT_TRUE(comesToShow("DecoderCycle", Light::Black));
    EXPECT_EQ(value("DecoderMaxLatency").light, Light::Bad);
}

TEST_F(DecoderIndicationsTest, TheModeIsShownAsTheClientSwitchesIt)
{
    const ModkitPtr<IInputQueue> queue(new FakeInputQueue);
    const ModkitPtr<IDecoder> handle = decode(queue, QStringLiteral("camera 1"));
    EXPECT_EQ(value("DecoderMode").light, Light::Good);
    tuning->useTimeSavingMode();
    EXPECT_EQ(value("DecoderMode").light, Light::Warning);
    tuning->usePerformanceMode();
    EXPECT_EQ(value("DecoderMode").light, Light::Good);
}

TEST_F(DecoderIndicationsTest, LikeNamedDecodersAreShownApartUntilTheirEnd)
{
    ModkitPtr<IDecoder> first = decode(ModkitPtr<IInputQueue>(new FakeInputQueue), QStringLiteral("camera"));
    ModkitPtr<IDecoder> second = decode(ModkitPtr<IInputQueue>(new FakeInputQueue), QStringLiteral("camera"));
    const std::vector<IndicationManager::Owner> owners = indications->snapshot();
    ASSERT_EQ(owners.size(), 2U);
    EXPECT_EQ(owners[0].values.size(), 7U);
    EXPECT_EQ(owners[1].values.size(), 7U);
    first.reset();
    EXPECT_TRUE(waitUntil([&] { return indications->snapshot().size() == 1; }));
    EXPECT_EQ(indications->snapshot().at(0).number, owners[1].number);
    second.reset();
    EXPECT_TRUE(waitUntil([&] { return indications->snapshot().empty(); }));
}

TEST_F(DecoderIndicationsTest, NothingIsLeftWhenTheManagerGoesBeforeItsLastBlinksDo)
{
    auto *const fresh = new FakeInputQueue;
    {
        const ModkitPtr<IInputQueue> queue(fresh);
        ModkitPtr<IDecoder> handle = decode(queue, QStringLiteral("camera 1"));
        EXPECT_TRUE(comesToShow("DecoderDataPushed", Light::Good, *fresh, keyBlock()));
        registry.setObject(InterfaceIdentifiers::indicationManager, ModkitPtr<IPolymorph>());
        handle.reset();
        decoding.reset();
        tuning.reset();
        host.reset();
        EXPECT_THAT(indications->snapshot(), IsEmpty());
        indications.reset();
    }
    const std::map<std::string, std::size_t> live = ObjectTrace::liveCountByType();
    for (const auto &[typeName, count] : live) {
        EXPECT_THAT(typeName, testing::Not(testing::HasSubstr("Indication"))) << count;
        EXPECT_THAT(typeName, testing::Not(testing::HasSubstr("Blacken"))) << count;
    }
}
