#include "format/AudioCodecDecoder.h"

#include <cstring>

#include "DecoderRuns.h"
#include "GeneratedClip.h"
#include "fakes/RecordedMessages.h"
#include "format/MediaBlock.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const char *const audioOrigin = "clip audio";

class AudioCodecDecoding : public testing::Test {
protected:
    void SetUp() override
    {
        if (!FfmpegTool::isInstalled())
            GTEST_SKIP() << "the ffmpeg command is not installed";
    }

    Clip made(const char *encoding, const char *fileName)
    {
        files.push_back(std::make_unique<GeneratedClip>(GeneratedClip::tone, encoding, fileName));
        auto clip = Clip::read(files.back()->path(), AVMEDIA_TYPE_AUDIO, audioOrigin);
        EXPECT_TRUE(clip);
        return clip ? std::move(*clip) : Clip();
    }

    SamplesRecords *addOutput()
    {
        auto *const records = new SamplesRecords;
        outputs.emplace_back(records);
        return records;
    }

    void decodeAll(const Clip &clip)
    {
        for (const Clip::Block &block : clip.blocks)
            decode(block);
    }
    void decode(const Clip::Block &block)
    {
        decoder->decode(block.data, block.keyBlock, 0, 77, outputs.data(), static_cast<int>(outputs.size()));
    }
    void drain() { decode({QByteArray(), false}); }

    static qint64 sampleCountOf(const SamplesRecords &records)
    {
        qint64 count = 0;
        for (const SamplesRecords::Entry &entry : records.entries)
            count += SamplesHeader::of(*entry.samples)->sampleCount;
        return count;
    }

    std::vector<std::unique_ptr<GeneratedClip>> files;
    std::shared_ptr<DamageCounts> damage = std::make_shared<DamageCounts>();
    std::vector<ModkitPtr<IAudioOutputQueue>> outputs;
    ModkitPtr<AudioCodecDecoder> decoder{new AudioCodecDecoder(damage)};
};

TEST_F(AudioCodecDecoding, EveryOutputGetsTheSameRecord)
{
    const Clip clip = made("-c:a aac", "clip.mp4");
    const SamplesRecords *const first = addOutput();
    const SamplesRecords *const second = addOutput();
    decodeAll(clip);
    drain();
    ASSERT_GT(first->entries.size(), 10U);
    ASSERT_EQ(first->entries.size(), second->entries.size());
    for (std::size_t index = 0; index < first->entries.size(); ++index)
        EXPECT_EQ(first->entries[index].samples.data(), second->entries[index].samples.data());
}

TEST_F(AudioCodecDecoding, SamplesDescribeThemselves)
{
    const Clip clip = made("-c:a pcm_s16le", "clip.wav");
    const SamplesRecords *const records = addOutput();
    decodeAll(clip);
    drain();
    qint64 count = 0;
    for (const SamplesRecords::Entry &entry : records->entries) {
        const SamplesHeader *const header = SamplesHeader::of(*entry.samples);
        ASSERT_NE(header, nullptr);
        EXPECT_EQ(header->sampleFormat, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(header->sampleRate, 48000);
        EXPECT_EQ(header->channelCount, 2);
        EXPECT_EQ(header->planeCount, 1);
        EXPECT_EQ(header->planeSize, header->sampleCount * 4);
        EXPECT_EQ(header->flags, 0U);
        EXPECT_THAT(header->timeBase, ElementsAre(1, 48000));
        EXPECT_EQ(header->pts, count);
        EXPECT_EQ(entry.timestamp, count);
        EXPECT_EQ(entry.blockTimeMs, av_rescale_q(count, {1, 48000}, {1, 1000}));
        count += header->sampleCount;
    }
    EXPECT_EQ(count, 62400);
}

TEST_F(AudioCodecDecoding, PlanarSamplesStayPlanar)
{
    const Clip clip = made("-ac 6 -c:a ac3", "clip.ac3");
    const SamplesRecords *const records = addOutput();
    decodeAll(clip);
    drain();
    ASSERT_FALSE(records->entries.empty());
    const SamplesHeader *const header = SamplesHeader::of(*records->entries.front().samples);
    EXPECT_EQ(header->sampleFormat, AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(header->planeCount, 6);
    EXPECT_EQ(header->planeSize, header->sampleCount * 4);
    EXPECT_EQ(header->channelMask, quint64(AV_CH_LAYOUT_5POINT1));
}

TEST_F(AudioCodecDecoding, SamplesThatOnlyPrepareTheCodecAreSkipped)
{
    for (const auto &[encoding, fileName] :
         {std::pair("-c:a aac", "clip.mp4"), {"-c:a libmp3lame", "clip.mp3"}, {"-c:a libopus", "clip.opus"}}) {
        SCOPED_TRACE(encoding);
        const Clip clip = made(encoding, fileName);
        outputs.clear();
        const SamplesRecords *const records = addOutput();
        decodeAll(clip);
        drain();
        // An MP4 file does not say how much of the last frame is to be heard.
        EXPECT_GE(sampleCountOf(*records), 62400);
        EXPECT_LT(sampleCountOf(*records), 62400 + 1024);
    }
}

TEST_F(AudioCodecDecoding, WithoutOutputsNothingIsPushed)
{
    const Clip clip = made("-c:a flac", "clip.flac");
    for (std::size_t index = 0; index < 5; ++index)
        decode(clip.blocks[index]);
    const SamplesRecords *const records = addOutput();
    for (std::size_t index = 5; index < clip.blocks.size(); ++index)
        decode(clip.blocks[index]);
    drain();
    EXPECT_EQ(records->entries.size(), clip.blocks.size() - 5);
}

TEST_F(AudioCodecDecoding, OtherParametersOpenTheCodecAnew)
{
    const Clip first = made("-c:a aac", "clip.mp4");
    const Clip second = made("-ar 8000 -ac 1 -c:a pcm_mulaw", "clip.wav");
    const SamplesRecords *const records = addOutput();
    decodeAll(first);
    decodeAll(second);
    drain();
    ASSERT_FALSE(records->entries.empty());
    EXPECT_EQ(SamplesHeader::of(*records->entries.front().samples)->sampleRate, 48000);
    EXPECT_EQ(SamplesHeader::of(*records->entries.back().samples)->sampleRate, 8000);
    EXPECT_EQ(damage->conditionOf({audioOrigin}).counts, DamageCounts::Counts{});
}

TEST_F(AudioCodecDecoding, RefusedBlocksAreCountedAndReportedOnce)
{
    Clip clip = made("-c:a ac3", "clip.ac3");
    const std::size_t count = clip.blocks.size();
    for (const std::size_t index : {2U, 5U}) {
        AVPacket *packet = av_packet_alloc();
        av_new_packet(packet, 40);
        std::memset(packet->data, 0, 40);
        clip.blocks[index] = {MediaBlock::packBlock(*packet), false};
        av_packet_free(&packet);
    }
    const SamplesRecords *const records = addOutput();
    RecordedMessages messages;
    decodeAll(clip);
    decode({"foreign", true});
    drain();
    EXPECT_EQ(records->entries.size(), count - 2);
    EXPECT_EQ(damage->conditionOf({audioOrigin}).counts, (DamageCounts::Counts{2, 0, 1, 0}));
    EXPECT_THAT(messages.take(), ElementsAre(HasSubstr("clip audio: undecodable block: Invalid data"),
                                             HasSubstr("clip audio: not a block of this host")));
}

TEST_F(AudioCodecDecoding, VideoParametersAreUnusable)
{
    Clip clip = made("-c:a pcm_s16le", "clip.wav");
    clip.parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    clip.parameters->codec_id = AV_CODEC_ID_H264;
    AVPacket *packet = av_packet_alloc();
    av_new_packet(packet, 10);
    const QByteArray packed = MediaBlock::packParameters({audioOrigin, 1, 25, 25, 1}, *clip.parameters);
    const SamplesRecords *const records = addOutput();
    const RecordedMessages messages;
    decode({MediaBlock::packKeyBlock(1, packed, *packet), true});
    av_packet_free(&packet);
    EXPECT_TRUE(records->entries.empty());
    EXPECT_GT(damage->conditionOf({audioOrigin}).counts[DamageCounts::UnusableStream], 0U);
}

} // namespace
