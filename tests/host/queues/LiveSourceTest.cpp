#include <chrono>

#include "Eventually.h"
#include "LiveFixture.h"
#include "Loopback.h"
#include "format/MediaBlock.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LiveSourceTest : public LiveFixture {
protected:
    using Clock = std::chrono::steady_clock;

    static QString graph(const QString &description) { return QStringLiteral("lavfi:") + description; }
};

TEST_F(LiveSourceTest, AGeneratedSourceDeliversAtThePaceOfItsTimes)
{
    const auto begin = Clock::now();
    start(graph(QStringLiteral("testsrc=size=64x48:rate=25[out0];sine[out1]")));
    ASSERT_TRUE(takeVideo(26));
    EXPECT_GE(Clock::now() - begin, milliseconds(1000));
    EXPECT_EQ(source->status().state, LiveSource::State::Delivering);
    EXPECT_EQ(source->status().connections, 1u);
    EXPECT_EQ(source->status().trouble, "");
    source->requestStop();
    source->join();
    takeMore();
    EXPECT_THAT(reports, IsEmpty());
    expectDecodable(videoBlocks);
    expectDecodable(audioBlocks);
    EXPECT_GT(audioBlocks.size(), 20u);
    EXPECT_THAT(breaksIn(videoBlocks), ElementsAre(videoBlocks.size() - 1));
    EXPECT_THAT(breaksIn(audioBlocks), ElementsAre(audioBlocks.size() - 1));
    EXPECT_TRUE(video->isDrained());
    EXPECT_EQ(source->status().state, LiveSource::State::Ended);
    EXPECT_EQ(source->status().packets + 2, video->figures().blocks + audio->figures().blocks);
}

} // namespace
