#include <QJsonObject>

#include <memory>
#include <mutex>

#include "DecodeFixture.h"
#include "fakes/WaitUntil.h"
#include "format/FormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectTrace.h"
#include "session/ComponentHost.h"
#include "session/HostSettings.h"
#include "sinks/SinkFactory.h"
#include "slab/BigBlockCounts.h"
#include "sources/MediaSource.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

/// Remembers how many frames came before each null block.
template <class Queue, class Handle>
class NullBlocks final : public Queue {
public:
    void push(const Handle &record, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (record.isNull())
            _positions.push_back(_frames);
        else
            ++_frames;
    }

    std::vector<int> positions() const
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _positions;
    }

private:
    mutable std::mutex _mutex;
    int _frames = 0;
    std::vector<int> _positions;
};

struct Pictures {
    static constexpr const char *kind = "video";
    using Queue = IVideoOutputQueue;
    using Handle = VideoFrameHandle;
    static constexpr auto createSink = SinkFactory::createVideoSink;
    static constexpr auto createDecoder = &IDecodingManager::createVideoDecoder;
};

struct Samples {
    static constexpr const char *kind = "audio";
    using Queue = IAudioOutputQueue;
    using Handle = AudioSampleHandle;
    static constexpr auto createSink = SinkFactory::createAudioSink;
    static constexpr auto createDecoder = &IDecodingManager::createAudioDecoder;
};

enum class Between { EmptyBlock, Nothing };

/// Files one after the other in one queue, which the loaded component decodes in this process.
class ChangeInMidStream : public DecodeFixture {
protected:
    void SetUp() override
    {
        ComponentOptions options;
        options.threads = 2;
        _registry.setObject(
            InterfaceIdentifiers::avFormatManager,
            ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FormatManager(std::make_shared<DamageCounts>()))));
        _host =
            std::make_unique<ComponentHost>(std::get<ModkitPtr<ISettings>>(HostSettings::collect(options)), _registry);
        const auto error = _host->start(QStringLiteral(COMPONENT_FILE));
        ASSERT_FALSE(error.has_value()) << *error;
    }

    void TearDown() override
    {
        _host.reset();
        EXPECT_EQ(_registry.identifiers().size(), 1U);
        _registry.setObject(InterfaceIdentifiers::avFormatManager, ModkitPtr<IPolymorph>());
        EXPECT_EQ(ObjectTrace::liveCountByType().size(), 0U);
        EXPECT_EQ(slab::liveBlockCount(), 0U);
    }

    /// Decodes them all, and compares what comes out with what the tool makes of each.
    /// @return the number of frames before each null block.
    template <class Media>
    std::vector<int> nullBlocksOf(const QStringList &files, Between between)
    {
        const ModkitPtr<IDecodingManager> manager(_registry.getObject(InterfaceIdentifiers::decodingManager));
        const ModkitPtr<BlockQueue> queue(new BlockQueue(1, BlockQueue::Limits()));
        SinkWorkers workers(1);
        OutputSpec spec;
        spec.kind = OutputSpec::FrameMd5;
        spec.directory = path("out").toStdString();
        const auto sink = std::get<0>(Media::createSink(spec, {"joined", 0, {}, std::make_shared<Gate>()}, workers));
        const ModkitPtr<NullBlocks<typename Media::Queue, typename Media::Handle>> nullBlocks(
            new NullBlocks<typename Media::Queue, typename Media::Handle>);
        {
            const auto first = (*manager.*Media::createDecoder)(queue, sink, 0, "joined");
            const auto second = (*manager.*Media::createDecoder)(queue, nullBlocks, 0, "joined");
            for (const QString &file : files)
                append<Media>(file, between == Between::EmptyBlock || file == files.last(), *queue);
            queue->end();
            EXPECT_TRUE(waitUntil([&] { return queue->isDrained(); }));
        }
        sink->finish();
        EXPECT_TRUE(ToolFrames::hashes(framemd5(path("out"), "joined", Media::kind)) == _expected)
            << sink->status().records << " frames, not " << _expected.size();
        return nullBlocks->positions();
    }

    int framesOf(int file) const { return _frames.at(static_cast<std::size_t>(file)); }

private:
    template <class Media>
    void append(const QString &file, bool withEnd, BlockQueue &queue)
    {
        MediaSource::Options options;
        options.video = Media::kind == std::string("video");
        options.audio = !options.video;
        auto opened = MediaSource::open(file.toStdString(), options);
        ASSERT_EQ(opened.index(), 0U) << std::get<1>(opened);
        MediaSource &source = *std::get<0>(opened);
        BlockQueue blocks(1, BlockQueue::Limits());
        ASSERT_EQ(source.start(blocks), std::nullopt);

        QueueCursor cursor;
        const bool done = waitUntil([&] {
            BlockQueue::Block block;
            quint32 lost = 0;
            qint64 latencyMs = 0;
            while (blocks.readBlock(&block.data, &block.streamId, &block.keyBlock, &block.timestamp, &block.blockTimeMs,
                                    &cursor, nullptr, nullptr, &lost, &latencyMs)) {
                if (block.data.isEmpty() && !withEnd)
                    continue;
                EXPECT_TRUE(queue.append(block));
            }
            return blocks.isDrained();
        });
        EXPECT_TRUE(done);
        blocks.close(); // where it was not done, the source would wait for ever
        source.join();

        const QJsonArray streams{QJsonObject{{"index", source.streams().front().index}, {"kind", Media::kind}}};
        const auto hashes = ToolFrames::hashes(ToolFrames::framemd5(file, streams, Media::kind));
        EXPECT_FALSE(hashes.empty());
        _expected.insert(_expected.end(), hashes.begin(), hashes.end());
        _frames.push_back(static_cast<int>(hashes.size()));
    }

    ObjectRegistry _registry;
    std::unique_ptr<ComponentHost> _host;
    std::vector<std::string> _expected; // hashes of all files
    std::vector<int> _frames;           // of each
};

} // namespace

TEST_F(ChangeInMidStream, OfTheFourccIsSeamlessAcrossAnEmptyBlock)
{
    const auto nullBlocks = nullBlocksOf<Pictures>({sample("cup.mp4"), sample("tree.avi")}, Between::EmptyBlock);
    EXPECT_THAT(nullBlocks, ElementsAre(framesOf(0), framesOf(0) + framesOf(1)));
}

TEST_F(ChangeInMidStream, OfTheFourccDrainsTheFirstCodecWithoutAnEmptyBlock)
{
    const auto nullBlocks = nullBlocksOf<Pictures>({sample("cup.mp4"), sample("tree.avi")}, Between::Nothing);
    EXPECT_THAT(nullBlocks, ElementsAre(framesOf(0), framesOf(0) + framesOf(1)));
}

TEST_F(ChangeInMidStream, OfTheFourccOfSoundDrainsTheFirstCodecToo)
{
    const auto nullBlocks = nullBlocksOf<Samples>({sample("cup.mp4"), sample("box.mp4")}, Between::Nothing);
    EXPECT_THAT(nullBlocks, ElementsAre(framesOf(0), framesOf(0) + framesOf(1)));
}

TEST_F(ChangeInMidStream, OfTheSizeIsSeamlessAcrossAnEmptyBlock)
{
    const QString small = generate("small.mp4", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=2 -c:v libx264");
    const auto nullBlocks = nullBlocksOf<Pictures>({sample("cup.mp4"), small, sample("box.mp4")}, Between::EmptyBlock);
    EXPECT_THAT(nullBlocks,
                ElementsAre(framesOf(0), framesOf(0) + framesOf(1), framesOf(0) + framesOf(1) + framesOf(2)));
}

TEST_F(ChangeInMidStream, OfTheSizeLosesNothingWithoutAnEmptyBlock)
{
    const QString small = generate("small.mp4", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=2 -c:v libx264");
    const auto nullBlocks = nullBlocksOf<Pictures>({small, sample("cup.mp4")}, Between::Nothing);
    EXPECT_EQ(nullBlocks.back(), framesOf(0) + framesOf(1));
}

TEST_F(ChangeInMidStream, OfTheSizeWithinOneFileGivesTheFramesOfTheTool)
{
    const QByteArray large =
        read(generate("large.264", "-f lavfi -i testsrc2=size=352x288:rate=25:duration=1 -c:v libx264"));
    const QByteArray small =
        read(generate("small.264", "-f lavfi -i testsrc2=size=176x144:rate=25:duration=1 -c:v libx264"));
    const QString file = write("joined.264", large + small + large);
    const HostRun run = HostRun::decode({"--output", "framemd5:" + path("out"), file});
    run.expectSuccess();
    expectFramesOfTool(run, {file}, path("out"));
    EXPECT_EQ(run.stream("joined.264", "video")["frames"].toInt(), 75);
}
