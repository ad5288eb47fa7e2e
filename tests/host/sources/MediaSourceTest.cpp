#include <QFile>
#include <QtEndian>

#include "MediaFixture.h"
#include "format/MediaBlock.h"

namespace {

using MediaSourceTest = MediaFixture;
using Blocks = std::vector<QueueReader::Block>;

Blocks ofStream(const Blocks &blocks, quint32 streamId)
{
    Blocks found;
    for (const QueueReader::Block &block : blocks) {
        if (block.streamId == streamId)
            found.push_back(block);
    }
    return found;
}

/// The bounds of each repetition in the blocks of one stream: where a run of blocks begins, and its empty block.
std::vector<std::pair<std::size_t, std::size_t>> repetitions(const Blocks &blocks)
{
    std::vector<std::pair<std::size_t, std::size_t>> found;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < blocks.size(); ++at) {
        if (blocks[at].data.isEmpty()) {
            found.emplace_back(begin, at);
            begin = at + 1;
        }
    }
    EXPECT_EQ(begin, blocks.size()) << "the stream was not ended";
    return found;
}

void expectWellFormed(const Blocks &blocks, const MediaSource::Stream &stream)
{
    const Blocks its = ofStream(blocks, stream.streamId);
    for (const auto &[begin, end] : repetitions(its)) {
        ASSERT_LT(begin, end);
        EXPECT_TRUE(its[begin].keyBlock);
        EXPECT_FALSE(its[end].keyBlock);
    }
    for (std::size_t at = 0; at < its.size(); ++at) {
        const QueueReader::Block &block = its[at];
        EXPECT_GE(block.blockTimeMs, its[at > 0 ? at - 1 : 0].blockTimeMs);
        EXPECT_TRUE(stream.streamId == 0 || block.keyBlock || block.data.isEmpty());
        EXPECT_TRUE(!block.keyBlock || qFromLittleEndian<quint32>(block.data.constData()) == stream.fourcc);
    }
}

/// Compares all that a source delivers of @p fileName with libavformat's own packets.
template <class PacketsOf, class PacketsIn>
void expectFaithful(MediaSource &source, const Blocks &blocks, PacketsOf packetsOf, PacketsIn packetsIn)
{
    for (const MediaSource::Stream &stream : source.streams()) {
        const auto expected = packetsOf(stream.index);
        EXPECT_FALSE(expected.empty());
        EXPECT_TRUE(packetsIn(blocks, stream.streamId) == expected) << stream.origin.constData();
        expectWellFormed(blocks, stream);
    }
}

TEST_F(MediaSourceTest, DeliversRealFilesPacketForPacket)
{
    const char *const names[] = {"BA1_FT_C.264",
                                 "BA_MW_D_P_LOST.264",
                                 "bbb_800x640_768kbps_30fps_avc_pyramid_3b.mp4",
                                 "bear.flac",
                                 "bear.opus",
                                 "bear_vorbis.ogg",
                                 "derived_nasa_mjpeg_mulaw.avi",
                                 "girlshy.h265",
                                 "master_elements_containing_crc32.mkv",
                                 "nasa_13013.mp4",
                                 "sintel-captions.ts",
                                 "vp80-05-sharpness-1438.ivf"};
    if (corpus(QString()).isEmpty())
        GTEST_SKIP() << "DECODING_MEDIA_DIR names no directory of media files";
    for (const char *const name : names) {
        SCOPED_TRACE(name);
        const QString fileName = corpus(QLatin1String(name));
        const auto source = open(fileName);
        const Blocks blocks = deliver(*source);
        EXPECT_FALSE(source->error()) << *source->error();
        EXPECT_EQ(source->progress(), 1.0);
        expectFaithful(
            *source, blocks, [&](int index) { return packetsOf(fileName, index); }, packetsIn);
    }
}

TEST_F(MediaSourceTest, DeliversMadeFilesPacketForPacket)
{
    for (const char *const name : {"clip.mkv", "clip.mp4", "clip.avi", "clip.ts", "clip.mov", "clip.nut"}) {
        SCOPED_TRACE(name);
        const QString fileName = makeClip(QLatin1String(name));
        const auto source = open(fileName);
        ASSERT_EQ(source->streams().size(), 2u);
        const Blocks blocks = deliver(*source);
        EXPECT_FALSE(source->error()) << *source->error();
        expectFaithful(
            *source, blocks, [&](int index) { return packetsOf(fileName, index); }, packetsIn);
        EXPECT_EQ(source->packets(), blocks.size() - 2);
    }
}

TEST_F(MediaSourceTest, SideDataTravelsWithItsPackets)
{
    const QString fileName = makeClip(QStringLiteral("clip.mp4"));
    const auto source = open(fileName);
    const auto packets = packetsIn(deliver(*source), 8);
    ASSERT_FALSE(packets.empty());
    EXPECT_FALSE(packets.front().sideData.isEmpty()) << "an AAC stream begins with samples to be skipped";
}

TEST_F(MediaSourceTest, DescribesItsStreams)
{
    MediaSource::Options options;
    options.label = QStringLiteral("door");
    const auto source = open(makeClip(), options);
    ASSERT_EQ(source->streams().size(), 2u);
    const MediaSource::Stream &video = source->streams()[0];
    EXPECT_EQ(video.streamId, 0u);
    EXPECT_EQ(video.index, 0);
    EXPECT_EQ(video.codec, "mpeg4");
    EXPECT_EQ(video.width, 64);
    EXPECT_EQ(video.height, 48);
    EXPECT_EQ(video.frameRateNumerator, 25 * video.frameRateDenominator);
    EXPECT_NE(video.fourcc, 0u);
    EXPECT_EQ(video.origin, "door video");
    const MediaSource::Stream &audio = source->streams()[1];
    EXPECT_EQ(audio.streamId, 8u);
    EXPECT_EQ(audio.index, 1);
    EXPECT_EQ(audio.codec, "aac");
    EXPECT_EQ(audio.sampleRate, 44100);
    EXPECT_EQ(audio.channels, 1);
    EXPECT_EQ(audio.origin, "door audio");
}

TEST_F(MediaSourceTest, KeyBlocksCarryTheStreamsParameters)
{
    const auto source = open(makeClip());
    const Blocks blocks = ofStream(deliver(*source), 0);
    AVPacket *packet = av_packet_alloc();
    AVCodecParameters *codec = avcodec_parameters_alloc();
    int keyBlocks = 0;
    for (const QueueReader::Block &block : blocks) {
        if (!block.keyBlock)
            continue;
        ++keyBlocks;
        QByteArray parameters;
        ASSERT_TRUE(MediaBlock::unpack(block.data, true, packet, &parameters));
        const auto unpacked = MediaBlock::unpackParameters(parameters, codec);
        ASSERT_TRUE(unpacked);
        EXPECT_EQ(unpacked->origin, "clip.mkv video");
        EXPECT_EQ(unpacked->frameRateNumerator, 25 * unpacked->frameRateDenominator);
        EXPECT_EQ(unpacked->timeBaseDenominator, 1000);
        EXPECT_EQ(codec->codec_id, AV_CODEC_ID_MPEG4);
        EXPECT_EQ(codec->width, 64);
    }
    EXPECT_GT(keyBlocks, 2);
    EXPECT_LT(keyBlocks, 20);
    avcodec_parameters_free(&codec);
    av_packet_free(&packet);
}

TEST_F(MediaSourceTest, AStreamThatBeginsBetweenKeyFramesBeginsWithAKeyBlock)
{
    const QByteArray whole =
        contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=2 -c:v mpeg2video -g 20"),
                      QStringLiteral("a.ts")));
    constexpr int transportPacket = 188;
    const int quarter = whole.size() / 4 / transportPacket * transportPacket;
    const QString fileName = write(QStringLiteral("joined.ts"), whole.left(3 * transportPacket) + whole.mid(quarter));
    const auto source = open(fileName);
    const Blocks blocks = deliver(*source);
    const auto packets = packetsIn(blocks, 0);
    ASSERT_FALSE(packets.empty());
    ASSERT_EQ(packets.front().flags & AV_PKT_FLAG_KEY, 0) << "the file begins with a key frame";
    EXPECT_TRUE(packets == packetsOf(fileName, 0));
    expectWellFormed(blocks, source->streams()[0]);
}

TEST_F(MediaSourceTest, ACodecThatNoContainerHasATagForIsDeliveredToo)
{
    const QString fileName = make(QStringLiteral("-f lavfi -i testsrc=size=64x64:rate=30:duration=1 -c:v roqvideo"),
                                  QStringLiteral("clip.roq"));
    const auto source = open(fileName);
    EXPECT_EQ(source->streams()[0].codec, "roq");
    EXPECT_NE(source->streams()[0].fourcc, 0u);
    const Blocks blocks = deliver(*source);
    EXPECT_TRUE(packetsIn(blocks, 0) == packetsOf(fileName, 0));
    expectWellFormed(blocks, source->streams()[0]);
}

TEST_F(MediaSourceTest, DeliversOnlyWhatIsAskedFor)
{
    const QString fileName = makeClip();
    for (const bool video : {true, false}) {
        MediaSource::Options options;
        options.video = video;
        options.audio = !video;
        const auto source = open(fileName, options);
        ASSERT_EQ(source->streams().size(), 1u);
        const Blocks blocks = deliver(*source);
        EXPECT_EQ(ofStream(blocks, video ? 0 : 8).size(), blocks.size());
        EXPECT_TRUE(packetsIn(blocks, video ? 0 : 8) == packetsOf(fileName, video ? 0 : 1));
    }
}

TEST_F(MediaSourceTest, EachRepetitionIsTheSameAndTimeGoesOn)
{
    for (const char *const name : {"clip.mkv", "clip.ts", "clip.avi"}) {
        SCOPED_TRACE(name);
        const QString fileName = makeClip(QLatin1String(name));
        MediaSource::Options options;
        options.repeat = 3;
        const auto source = open(fileName, options);
        const Blocks blocks = deliver(*source);
        EXPECT_FALSE(source->error());
        for (const MediaSource::Stream &stream : source->streams()) {
            expectWellFormed(blocks, stream);
            const Blocks its = ofStream(blocks, stream.streamId);
            const auto bounds = repetitions(its);
            ASSERT_EQ(bounds.size(), 3u);
            const auto expected = packetsOf(fileName, stream.index);
            for (const auto &[begin, end] : bounds) {
                const Blocks repetition(its.begin() + static_cast<std::ptrdiff_t>(begin),
                                        its.begin() + static_cast<std::ptrdiff_t>(end));
                EXPECT_TRUE(packetsIn(repetition, stream.streamId) == expected);
            }
            const qint64 secondBeginsMs = its[bounds[1].first].blockTimeMs - its[0].blockTimeMs;
            const qint64 thirdBeginsMs = its[bounds[2].first].blockTimeMs - its[bounds[1].first].blockTimeMs;
            EXPECT_NEAR(static_cast<double>(secondBeginsMs), 2000, 150);
            EXPECT_EQ(thirdBeginsMs, secondBeginsMs);
        }
    }
}

TEST_F(MediaSourceTest, TheDurationLeavesOutWhatIsLater)
{
    MediaSource::Options options;
    options.repeat = 3;
    options.duration = std::chrono::milliseconds(2500);
    const auto source = open(makeClip(), options);
    const Blocks blocks = deliver(*source);
    EXPECT_FALSE(source->error());
    const qint64 beginMs = blocks.front().blockTimeMs;
    for (const MediaSource::Stream &stream : source->streams()) {
        const Blocks its = ofStream(blocks, stream.streamId);
        EXPECT_EQ(repetitions(its).size(), 2u);
        qint64 lastMs = 0;
        for (const QueueReader::Block &block : its) {
            if (!block.data.isEmpty())
                lastMs = block.blockTimeMs - beginMs;
        }
        EXPECT_LT(lastMs, 2500);
        EXPECT_GE(lastMs, 2500 - 100);
    }
}

TEST_F(MediaSourceTest, AFileThatEndsInAPacketIsDeliveredUpToThereAndReported)
{
    const QString clip = makeClip();
    const std::pair<const char *, const char *> files[] = {
        {"whole.mkv", " -c copy"}, {"whole.avi", " -c copy"}, {"whole.mp4", " -c copy -movflags +faststart"}};
    for (const auto &[name, remux] : files) {
        SCOPED_TRACE(name);
        const QByteArray whole =
            contents(make(QStringLiteral("-i ") + clip + QLatin1String(remux), QLatin1String(name)));
        const QString fileName = write(QLatin1String("cut-") + QLatin1String(name), whole.left(whole.size() / 2));
        MediaSource::Options options;
        options.repeat = 2;
        const auto source = open(fileName, options);
        const Blocks blocks = deliver(*source);
        ASSERT_TRUE(source->error()) << name;
        EXPECT_EQ(source->error()->find(fileName.toStdString() + ": "), 0u);
        EXPECT_EQ(source->error()->find('\n'), std::string::npos);
        for (const MediaSource::Stream &stream : source->streams()) {
            EXPECT_EQ(repetitions(ofStream(blocks, stream.streamId)).size(), 1u);
            EXPECT_GT(packetsIn(blocks, stream.streamId).size(), 10u);
            EXPECT_TRUE(packetsIn(blocks, stream.streamId) == packetsOf(fileName, stream.index));
        }
    }
}

TEST_F(MediaSourceTest, DamageWithinPacketsIsLeftToTheCodec)
{
    const QString fileName = corpus(QStringLiteral("truncated_corrupted.mp4"));
    if (fileName.isEmpty())
        GTEST_SKIP() << "DECODING_MEDIA_DIR names no directory of media files";
    const auto source = open(fileName);
    const Blocks blocks = deliver(*source);
    EXPECT_FALSE(source->error());
    EXPECT_TRUE(packetsIn(blocks, 0) == packetsOf(fileName, source->streams()[0].index));
    expectWellFormed(blocks, source->streams()[0]);
}

TEST_F(MediaSourceTest, AFileThatVanishesBetweenRepetitionsIsReported)
{
    const QString fileName = makeClip();
    MediaSource::Options options;
    options.repeat = 2;
    const auto source = open(fileName, options);
    ASSERT_TRUE(QFile::remove(fileName));
    const Blocks blocks = deliver(*source);
    ASSERT_TRUE(source->error());
    EXPECT_THAT(*source->error(), testing::HasSubstr("there is no such file"));
    EXPECT_EQ(repetitions(ofStream(blocks, 0)).size(), 1u);
}

TEST_F(MediaSourceTest, AFileThatChangesBetweenRepetitionsIsReported)
{
    const QString fileName = makeClip();
    MediaSource::Options options;
    options.repeat = 2;
    const auto source = open(fileName, options);
    ASSERT_TRUE(QFile::remove(fileName));
    make(QStringLiteral("-f lavfi -i testsrc=size=32x32:duration=1 -c:v mpeg4"), QStringLiteral("clip.mkv"));
    deliver(*source);
    ASSERT_TRUE(source->error());
    EXPECT_THAT(*source->error(), testing::HasSubstr("has changed"));
}

} // namespace
