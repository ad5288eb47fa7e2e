#include <cstdio>

#include "DecodeFixture.h"

namespace {

using ManyStreams = DecodeFixture;

constexpr int streams = 200;
constexpr int queuedBlocks = 64; // that an input may hold

} // namespace

TEST_F(ManyStreams, OnTwoThreadsGiveAllFramesInBoundedMemory)
{
    constexpr int rounds = 5;
    const QStringList files{sample("tree.avi")};
    const QStringList options{"--threads", "2", "--repeat", QString::number(rounds)};
    const HostRun one = HostRun::decode(options + files);
    one.expectSuccess();
    const QString count = QString::number(streams);
    const HostRun many = HostRun::decode(options + QStringList{"--copies", count, "--at-once", count} + files);
    many.expectSuccess();

    ASSERT_EQ(many.inputs().size(), streams);
    const QJsonObject alone = one.stream("tree.avi", "video");
    const int frames = alone["frames"].toInt();
    ASSERT_GT(frames, 0);
    double decodedBytes = 0;
    double queuedBytes = 0;
    for (const QJsonValue &input : many.inputs()) {
        EXPECT_EQ(input["streams"].toArray().at(0)["frames"].toInt(), frames);
        EXPECT_LE(input["peakQueuedBlocks"].toInt(), queuedBlocks + 1); // an empty block does not wait for room
        queuedBytes += input["peakQueuedBytes"].toDouble();
        decodedBytes += frames * 320.0 * 240 * 3;
    }

    // A stream may hold what its queue does, the blocks read of the file included; of pictures, the codec's own, the
    // one that is being made, and the one that the sink has been given; and half a megabyte for its demuxer, its codec
    // and the stack of its source's thread.
    const double picture = 320.0 * 240 * 3;
    const double bound =
        one.totals()["peakMemoryBytes"].toDouble() + queuedBytes + streams * (4 * picture + 512 * 1024);
    // A sanitizer's own memory is no part of that.
#if !defined(__SANITIZE_ADDRESS__)
    const double peak = many.totals()["peakMemoryBytes"].toDouble();
    std::printf("%.0f MB of memory at most, of %.0f allowed; %.0f decoded\n", peak / 1e6, bound / 1e6,
                decodedBytes / 1e6);
    EXPECT_LT(peak, bound);
#endif
    // The bound tells something only if keeping all pictures would have crossed it.
    EXPECT_GT(decodedBytes, 2 * bound);
}

TEST_F(ManyStreams, OfOneFileGiveItsFramesEach)
{
    const QString clip = generate("clip.mp4", "-f lavfi -i testsrc2=size=64x64:rate=25:duration=4 -f lavfi -i "
                                              "sine=frequency=700:sample_rate=48000:duration=4");
    const HostRun run = HostRun::decode(
        {"--threads", "2", "--copies", QString::number(streams / 2), "--output", "framemd5:" + path("out"), clip});
    run.expectSuccess();
    EXPECT_EQ(run.totals()["streams"].toInt(), streams);
    expectFramesOfTool(run, {clip}, path("out"), streams / 2);
    for (const QJsonValue &input : run.inputs())
        EXPECT_LE(input["peakQueuedBlocks"].toInt(), queuedBlocks + 2); // of nearly three hundred
}
