#include <cstdint>
#include <limits>
#include <random>
#include <type_traits>

#include "PlacementModel.h"
#include "RunningManagerFixture.h"
#include "decoders/AudioStreamDecoder.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/RecordedMessages.h"
#include "fakes/TestSeed.h"

namespace {

constexpr int threadCount = 3;
constexpr int streamCount = 12;
constexpr std::size_t handleLimit = 60;

/// Throws when asked for one of a decoder's seven indications; hands out none.
class ThrowingIndications final : public IIndicationManager {
public:
    int throwAfter = -1; // so many more indications; negative: never

    void reserved1() override {}
    void removeIndication(const ModkitPtr<IIndicationObject> & /*indication*/) override {}
    ModkitPtr<IIndicationObject> createIndication(void * /*reserved*/, const QString & /*name*/,
                                                  const QString & /*ownerName*/, int /*initialValue*/) override
    {
        if (throwAfter >= 0 && throwAfter-- == 0)
            throw std::bad_alloc();
        return ModkitPtr<IIndicationObject>();
    }
};

} // namespace

/// Drives the manager and the model alike.
class DecodingManagerModelTest : public RunningManagerTest {
protected:
    struct Handle {
        ModkitPtr<IDecoder> handle;
        bool isVideo;
        std::int32_t id;
    };

    DecodingManagerModelTest()
    {
        registry.objects[InterfaceIdentifiers::indicationManager] =
            ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(throwing));
        setThreads(threadCount);
        for (int stream = 0; stream < streamCount; ++stream)
            queues.push_back(ModkitPtr<IInputQueue>(new FakeInputQueue));
    }

    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); }

    PlacementModel::Kind &modelOf(bool isVideo) { return isVideo ? model.video : model.audio; }
    DecoderRegistry &registryOf(bool isVideo) { return isVideo ? manager()._videoDecoders : manager()._audioDecoders; }

    ModkitPtr<IDecoder> createReal(bool isVideo, int stream, int flags)
    {
        const ModkitPtr<IInputQueue> &queue = queues[static_cast<std::size_t>(stream)];
        if (isVideo)
            return manager().createVideoDecoder(queue, videoOutput, flags, QStringLiteral("camera"));
        return manager().createAudioDecoder(queue, audioOutput, flags, QStringLiteral("microphone"));
    }

    void create()
    {
        const bool isVideo = pick(2) == 0;
        const int stream = pick(streamCount);
        const int flags = pick(8); // also a bit without a meaning
        handles.push_back({createReal(isVideo, stream, flags), isVideo, 0});
        handles.back().id = modelOf(isVideo).nextId;
        model.create(modelOf(isVideo), stream, flags);
    }

    void failToCreate()
    {
        const bool isVideo = pick(2) == 0;
        const int stream = pick(streamCount);
        // A request that joins a decoder makes no indications, so nothing throws there.
        if (!PlacementModel::makesDecoder(modelOf(isVideo), stream))
            return;
        throwing->throwAfter = pick(7);
        EXPECT_THROW(createReal(isVideo, stream, pick(8)), std::bad_alloc);
        throwing->throwAfter = -1;
        model.failToCreate(modelOf(isVideo), stream);
    }

    void drop()
    {
        if (handles.empty())
            return;
        std::swap(handles[static_cast<std::size_t>(pick(static_cast<int>(handles.size())))], handles.back());
        const bool isVideo = handles.back().isVideo;
        const std::int32_t id = handles.back().id;
        handles.pop_back();
        model.drop(modelOf(isVideo), id);
    }

    void switchMode()
    {
        const bool performanceMode = pick(2) == 0;
        if (performanceMode)
            manager().usePerformanceMode();
        else
            manager().useTimeSavingMode();
        model.switchMode(performanceMode);
    }

    /// Sets the next id to a free one near the end of the numbers, or below ids in use.
    void pushNextId()
    {
        const bool isVideo = pick(2) == 0;
        const std::int32_t id = pick(3) == 0 ? pick(40) : std::numeric_limits<std::int32_t>::max() - pick(4);
        if (modelOf(isVideo).ids.count(id) != 0)
            return;
        modelOf(isVideo).nextId = id;
        registryOf(isVideo)._nextId = id;
    }

    void operate()
    {
        const int what = pick(100);
        const bool isFull = handles.size() >= handleLimit;
        if (what < 45 && !isFull)
            create();
        else if (what < 90)
            drop();
        else if (what < 94)
            failToCreate();
        else if (what < 97)
            switchMode();
        else if (what < 98)
            dropAll();
        else
            pushNextId();
    }

    void dropAll()
    {
        // Seldom, so that the tables also run empty.
        if (pick(10) != 0)
            return;
        while (!handles.empty())
            drop();
    }

    void compare()
    {
        ASSERT_EQ(manager().decoderCount(), model.decoderCount());
        ASSERT_EQ(manager()._performanceMode, model.performanceMode);
        const QVector<int> &counts = manager()._decodersPerThread;
        ASSERT_EQ(std::vector<int>(counts.begin(), counts.end()), model.decodersOnThread);
        ASSERT_NO_FATAL_FAILURE(compareKind<VideoStreamDecoder>(true));
        ASSERT_NO_FATAL_FAILURE(compareKind<AudioStreamDecoder>(false));
    }

    template <class StreamDecoder>
    void compareKind(bool isVideo)
    {
        const DecoderRegistry &actual = registryOf(isVideo);
        const PlacementModel::Kind &expected = modelOf(isVideo);
        ASSERT_EQ(actual._nextId, expected.nextId);
        ASSERT_EQ(static_cast<std::size_t>(actual._byQueue.size()),
                  expected.decoders.size() + expected.reserved.size());
        for (const PlacementModel::Stream stream : expected.reserved) {
            const auto place = actual._byQueue.constFind(queues[static_cast<std::size_t>(stream)]);
            ASSERT_NE(place, actual._byQueue.constEnd());
            ASSERT_EQ(place.value(), nullptr);
        }
        for (const auto &[stream, decoder] : expected.decoders) {
            auto *const found =
                static_cast<StreamDecoder *>(actual._byQueue.value(queues[static_cast<std::size_t>(stream)]));
            ASSERT_NE(found, nullptr);
            ASSERT_NO_FATAL_FAILURE(compareDecoder(*found, stream, decoder));
        }
        ASSERT_EQ(static_cast<std::size_t>(actual._byId.size()), expected.ids.size());
        for (const auto &[id, stream] : expected.ids)
            ASSERT_EQ(actual._byId.value(id), actual._byQueue.value(queues[static_cast<std::size_t>(stream)]));
    }

    template <class StreamDecoder>
    void compareDecoder(const StreamDecoder &found, int stream, const PlacementModel::Decoder &expected)
    {
        // One decoder from its first output to its last, and a fresh one afterwards.
        const auto known = decoders.emplace(expected.serial, &found).first;
        ASSERT_EQ(known->second, &found);
        ASSERT_EQ(found.inputQueue(), queues[static_cast<std::size_t>(stream)]);
        ASSERT_EQ(found.threadIndex(), static_cast<quint32>(expected.thread));
        ASSERT_EQ(found.thread(), manager()._threads[expected.thread]);
        ASSERT_EQ(found.flags(), expected.flags);
        ASSERT_EQ(found._performanceMode, expected.performanceMode);
        ASSERT_FALSE(found._disposing);
        ASSERT_EQ(found._outputs.size(), found._outputIds.size());
        std::vector<std::int32_t> ids;
        for (const quint32 id : found._outputIds)
            ids.push_back(static_cast<std::int32_t>(id));
        ASSERT_EQ(ids, expected.outputs);
    }

    std::mt19937_64 random;
    PlacementModel model{threadCount};
    ThrowingIndications *const throwing = new ThrowingIndications;
    std::vector<ModkitPtr<IInputQueue>> queues;
    ModkitPtr<IVideoOutputQueue> videoOutput = countingOutput();
    ModkitPtr<IAudioOutputQueue> audioOutput{new SilentAudioOutput};
    std::vector<Handle> handles;
    std::map<int, const QObject *> decoders; // by their serial number in the model
};

TEST_F(DecodingManagerModelTest, AgreesWithTheModelAfterEveryRandomOperation)
{
    constexpr int operations = 100000;
    const std::uint64_t seed = testSeed();
    random.seed(seed);
    RecordedMessages messages;
    init();
    for (int operation = 0; operation < operations && !HasFailure(); ++operation) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", operation " + std::to_string(operation));
        operate();
        compare();
        if (operation % 1000 == 0) {
            RecordedTrace::take(); // which grows with every handle
            hangGuard.noteProgress();
        }
    }

    stop();
    model.stop();
    compare();
    EXPECT_TRUE(createReal(true, 0, 0).isNull());
    EXPECT_TRUE(createReal(false, 0, 0).isNull());
    while (!handles.empty())
        drop();
    compare();
    for (const std::string &message : messages.take())
        EXPECT_EQ(message.rfind("debug: Decoders set to ", 0), 0U) << message;

    videoOutput.reset();
    audioOutput.reset();
    queues.clear();
}
