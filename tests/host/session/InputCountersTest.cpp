#include <chrono>

#include "host/live/ByteServer.h"
#include "host/session/SessionFixture.h"
#include "host/sinks/FfmpegTool.h"
#include <decoding/Session.h>

using namespace std::chrono_literals;
using decoding::InputOptions;
using decoding::Snapshot;

namespace {

class InputCountersTest : public SessionFixture {
protected:
    Snapshot::Input shown() const { return _session->snapshot().inputs.at(0); }

    static void expectNoneLess(const Snapshot::Input &now, const Snapshot::Input &before)
    {
        EXPECT_GE(now.connections, before.connections);
        EXPECT_GE(now.packets, before.packets);
        EXPECT_GE(now.bytes, before.bytes);
        EXPECT_GE(now.peakQueuedBlocks, before.peakQueuedBlocks);
        EXPECT_GE(now.peakQueuedBytes, before.peakQueuedBytes);
        EXPECT_GE(now.decoding, before.decoding);
        ASSERT_GE(now.streams.size(), before.streams.size());
        for (std::size_t index = 0; index < before.streams.size(); ++index) {
            EXPECT_GE(now.streams[index].frames, before.streams[index].frames);
            EXPECT_GE(now.streams[index].lost, before.streams[index].lost);
            EXPECT_GE(now.streams[index].damaged, before.streams[index].damaged);
        }
    }
};

} // namespace

TEST_F(InputCountersTest, DoNotFallWhenALiveInputComesBack)
{
    const QByteArray clip =
        FfmpegTool::run("-f lavfi -i testsrc2=size=64x48:rate=25:duration=2 -c:v mpeg2video -f mpegts -");
    const ByteServer server({{clip}, {clip}, {clip, true}});
    InputOptions options;
    options.outputs.emplace_back();
    const auto input = _session->openLater(server.url().toStdString(), options);
    Snapshot::Input before;
    ASSERT_TRUE(waitUntil([&] {
        const Snapshot::Input now = shown();
        expectNoneLess(now, before);
        before = now;
        return HasFailure() || now.connections == 3;
    }));
    EXPECT_GE(before.packets, 100) << "of two connections";
    ASSERT_TRUE(waitUntil([&] { return shown().streams.at(0).frames > 100; }));
}

TEST_F(InputCountersTest, DoNotFallWhenAReaderLeaves)
{
    const auto input = _session->open(sample("cup.mp4"));
    // From the source that opened it, which stays; the pictures, which take more room, from one that goes.
    ASSERT_TRUE(input->addAudioReader()->next());
    auto reader = input->addVideoReader();
    ASSERT_TRUE(waitUntil([&] { return reader->next() && reader->frames() > 100; }));
    const Snapshot::Input before = shown();
    ASSERT_GT(before.peakQueuedBytes, 30'000);
    reader.reset();
    for (const auto end = std::chrono::steady_clock::now() + 300ms;
         !HasFailure() && std::chrono::steady_clock::now() < end;)
        expectNoneLess(shown(), before);
}
