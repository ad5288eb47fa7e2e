#include <algorithm>
#include <chrono>
#include <future>
#include <pthread.h>

#include "MediaFixture.h"
#include "host/live/Loopback.h"
#include "host/queues/Eventually.h"

namespace {

using MediaSourceStopTest = MediaFixture;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Reads on until the queue is drained. @return how many blocks came, and how many of them were empty.
std::pair<int, int> drain(BlockQueue &queue)
{
    QueueReader reader{queue};
    int blocks = 0;
    int empty = 0;
    EXPECT_TRUE(eventually([&] {
        while (const auto block = reader.take()) {
            ++blocks;
            empty += block->data.isEmpty() ? 1 : 0;
        }
        return queue.isDrained();
    }));
    return {blocks, empty};
}

bool joinsSoon(MediaSource &source)
{
    const auto joined = std::async(std::launch::async, [&source] { source.join(); });
    return joined.wait_for(seconds(20)) == std::future_status::ready;
}

/// Asks more stack for each new thread than there are addresses, so that none can begin.
class NoMoreThreads final {
public:
    NoMoreThreads()
    {
        pthread_getattr_default_np(&_attributes);
        pthread_attr_t absurd = _attributes;
        pthread_attr_setstacksize(&absurd, std::size_t(1) << 60);
        EXPECT_EQ(pthread_setattr_default_np(&absurd), 0);
    }
    ~NoMoreThreads() { pthread_setattr_default_np(&_attributes); }
    Q_DISABLE_COPY(NoMoreThreads)

private:
    pthread_attr_t _attributes = {};
};

/// Whether no block but those that end streams is due before the one in front of it.
bool inOrderOfTime(std::vector<QueueReader::Block> blocks)
{
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), [](const auto &block) { return block.data.isEmpty(); }),
                 blocks.end());
    return std::is_sorted(blocks.begin(), blocks.end(),
                          [](const auto &one, const auto &other) { return one.blockTimeMs < other.blockTimeMs; });
}

TEST_F(MediaSourceStopTest, ASlowReaderHoldsTheSourceWithinTheLimits)
{
    const auto source = open(makeClip());
    BlockQueue queue(1, {5, 20'000});
    ASSERT_EQ(source->start(queue), std::nullopt);
    QueueReader reader{queue};
    int blocks = 0;
    ASSERT_TRUE(eventually([&] {
        blocks += reader.take() ? 1 : 0;
        return queue.isDrained();
    }));
    source->join();
    EXPECT_EQ(static_cast<quint64>(blocks), queue.figures().blocks);
    EXPECT_EQ(source->packets() + 2, queue.figures().blocks);
    // The two blocks that end the streams do not wait.
    EXPECT_LE(queue.figures().peakBlocks, 5 + 2);
    EXPECT_LE(queue.figures().peakBytes, 20'000);
}

TEST_F(MediaSourceStopTest, TwoReadersOfOneQueueGetEverything)
{
    const auto source = open(makeClip());
    BlockQueue queue(2, {4, 1'000'000});
    ASSERT_EQ(source->start(queue), std::nullopt);
    auto other = std::async(std::launch::async, [&queue] { return drain(queue); });
    const auto mine = drain(queue);
    EXPECT_EQ(other.get(), mine);
    source->join();
    EXPECT_EQ(static_cast<quint64>(mine.first), source->packets() + 2);
    EXPECT_EQ(mine.second, 2);
}

TEST_F(MediaSourceStopTest, StopsWhileTheQueueIsFullAndEndsTheStreams)
{
    const auto source = open(makeClip());
    BlockQueue queue(1, {3, 1'000'000});
    ASSERT_EQ(source->start(queue), std::nullopt);
    ASSERT_TRUE(eventually([&] { return queue.figures().blocks == 3; }));
    source->requestStop();
    ASSERT_TRUE(joinsSoon(*source));
    EXPECT_FALSE(source->error());
    EXPECT_EQ(source->packets(), 3u);
    EXPECT_EQ(drain(queue), std::make_pair(5, 2));
}

TEST_F(MediaSourceStopTest, StopsWhileItWaitsForABlockToBeDue)
{
    MediaSource::Options options;
    options.paced = true;
    // The second picture is due a minute after the first.
    const auto source = open(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=1/60:duration=180 -c:v mjpeg"),
                                  QStringLiteral("slow.mkv")),
                             options);
    BlockQueue queue(1, roomy);
    const auto begin = Clock::now();
    ASSERT_EQ(source->start(queue), std::nullopt);
    ASSERT_TRUE(eventually([&] { return queue.figures().blocks == 1; }));
    source->requestStop();
    ASSERT_TRUE(joinsSoon(*source));
    EXPECT_LT(Clock::now() - begin, seconds(30));
    EXPECT_FALSE(source->error());
    EXPECT_EQ(drain(queue), std::make_pair(2, 1));
}

TEST_F(MediaSourceStopTest, AClosedQueueEndsTheWaitingSource)
{
    const auto source = open(makeClip());
    BlockQueue queue(1, {3, 1'000'000});
    ASSERT_EQ(source->start(queue), std::nullopt);
    ASSERT_TRUE(eventually([&] { return queue.figures().blocks == 3; }));
    queue.close();
    EXPECT_TRUE(joinsSoon(*source));
    EXPECT_EQ(queue.figures().blocks, 3u);
}

TEST_F(MediaSourceStopTest, StoppedBeforeItsStartItDeliversOnlyTheEnds)
{
    const auto source = open(makeClip());
    source->requestStop();
    const auto blocks = deliver(*source);
    EXPECT_EQ(blocks.size(), 2u);
    EXPECT_EQ(source->packets(), 0u);
    EXPECT_FALSE(source->error());
}

TEST_F(MediaSourceStopTest, ItsDestructorStopsIt)
{
    BlockQueue queue(1, {3, 1'000'000});
    {
        const auto source = open(makeClip());
        ASSERT_EQ(source->start(queue), std::nullopt);
        ASSERT_TRUE(eventually([&] { return queue.figures().blocks == 3; }));
    }
    EXPECT_EQ(drain(queue), std::make_pair(5, 2));
}

TEST_F(MediaSourceStopTest, PacedBlocksComeNoEarlierThanTheyAreDue)
{
    MediaSource::Options options;
    options.paced = true;
    options.duration = milliseconds(1000);
    const auto source = open(makeClip(), options);
    BlockQueue queue(1, roomy);
    const auto begin = Clock::now();
    ASSERT_EQ(source->start(queue), std::nullopt);
    QueueReader reader{queue};
    std::optional<qint64> firstMs;
    milliseconds latestDue(0);
    ASSERT_TRUE(eventually([&] {
        while (const auto block = reader.take()) {
            firstMs = firstMs.value_or(block->blockTimeMs);
            latestDue = std::max(latestDue, milliseconds(block->blockTimeMs - *firstMs));
            EXPECT_GE(Clock::now() - begin, milliseconds(block->blockTimeMs - *firstMs));
        }
        return queue.isDrained();
    }));
    source->join();
    EXPECT_GE(latestDue, milliseconds(900));
    EXPECT_LT(Clock::now() - begin, seconds(15));
}

TEST_F(MediaSourceStopTest, PacedBlocksComeInTheOrderOfTheirTimesWhereverTheFileHasThem)
{
    MediaSource::Options options;
    options.paced = true;
    options.repeat = 2;
    // The sound of each second stands before its pictures.
    const QString fileName =
        make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=1 -f lavfi -i sine=duration=1 "
                            "-c:v mpeg4 -bf 0 -c:a aac -audio_preload 800000"),
             QStringLiteral("preload.mov"));
    const auto unpaced = deliver(*open(fileName));
    EXPECT_FALSE(inOrderOfTime(unpaced));

    const auto source = open(fileName, options);
    const auto blocks = deliver(*source);
    EXPECT_FALSE(source->error());
    EXPECT_TRUE(inOrderOfTime(blocks));
    for (const MediaSource::Stream &stream : source->streams()) {
        const auto once = packetsOf(fileName, stream.index);
        auto twice = once;
        twice.insert(twice.end(), once.begin(), once.end());
        EXPECT_TRUE(packetsIn(blocks, stream.streamId) == twice) << stream.origin.constData();
    }
    EXPECT_EQ(blocks.size(), source->packets() + 4);
}

TEST_F(MediaSourceStopTest, AnOpeningThatGetsNoAnswerIsAbandonedOnRequest)
{
    const Loopback silent(SOCK_STREAM);
    const QString url = QStringLiteral("tcp://127.0.0.1:%1").arg(silent.port());
    std::atomic<bool> abandoned(false);
    auto opening = std::async(std::launch::async, [&] {
        const auto opened = MediaSource::open(url.toStdString(), {}, abandoned);
        const auto *const error = std::get_if<std::string>(&opened);
        return error ? *error : std::string();
    });
    // Not until it is connected; then it waits for data that never comes.
    const int connection = accept(silent.descriptor(), nullptr, nullptr);
    EXPECT_EQ(opening.wait_for(milliseconds(50)), std::future_status::timeout);
    const auto begin = Clock::now();
    abandoned = true;
    const std::string error = opening.get();
    // Without the request it gives up after 10 seconds.
    EXPECT_LT(Clock::now() - begin, seconds(5));
    EXPECT_EQ(error, url.toStdString() + ": opening it was abandoned");
    close(connection);
}

TEST_F(MediaSourceStopTest, WithoutAThreadItTellsSoAndMayBeStartedAgain)
{
    const auto source = open(makeClip());
    BlockQueue queue(1, roomy);
    std::optional<std::string> error;
    {
        const NoMoreThreads noMoreThreads;
        error = source->start(queue);
    }
    ASSERT_TRUE(error);
    EXPECT_EQ(error->find(path(QStringLiteral("clip.mkv")).toStdString() + ": "), 0u) << *error;
    EXPECT_EQ(source->error(), std::nullopt);
    EXPECT_EQ(source->start(queue), std::nullopt);
    const auto [blocks, empty] = drain(queue);
    EXPECT_GT(blocks, 1);
    EXPECT_EQ(empty, 2); // one for each stream
}

} // namespace
