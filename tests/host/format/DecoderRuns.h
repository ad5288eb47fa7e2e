#ifndef HOST_FORMAT_TESTS_DECODERRUNS_H
#define HOST_FORMAT_TESTS_DECODERRUNS_H

#include <memory>

#include "Clip.h"
#include "FfmpegTool.h"
#include "Records.h"
#include "SmallStack.h"
#include "format/FormatManager.h"
#include "format/Fourcc.h"
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/samplefmt.h>
}

/// Decodes @p clip to its end into @p outputs, on the calling thread.
template <class CodecDecoder, class OutputQueue>
void decodeClip(CodecDecoder &decoder, const Clip &clip, const std::vector<ModkitPtr<OutputQueue>> &outputs)
{
    const int count = static_cast<int>(outputs.size());
    qint64 timeMs = 0;
    for (const Clip::Block &block : clip.blocks)
        decoder->decode(block.data, block.keyBlock, 0, ++timeMs, outputs.data(), count);
    decoder->decode(QByteArray(), false, 0, 0, outputs.data(), count);
}

/// A decoder's part of its stack belongs to its thread's event loop and the component.
constexpr std::size_t stackForCodec = SmallStack::size * 95 / 100;

inline void checkStack(const Clip &clip, std::size_t used)
{
    if (!SmallStack::isMeasured)
        return;
    const char *const codec = avcodec_get_name(clip.parameters->codec_id);
    std::printf("%-14s uses %6zu of %zu bytes of stack\n", codec, used, SmallStack::size);
    testing::Test::RecordProperty(codec, static_cast<int>(used));
    EXPECT_LT(used, stackForCodec) << codec;
}

/// Decodes the clip on the stack of a decoder thread, and compares every picture with what the ffmpeg command makes of
/// the clip, when it arrives and after the decoder has gone.
inline void expectPicturesOfFfmpeg(const Clip &clip, const std::shared_ptr<DamageCounts> &damage)
{
    FormatManager manager(damage);
    auto *const records = new PictureRecords;
    const std::vector<ModkitPtr<IVideoOutputQueue>> outputs{ModkitPtr<IVideoOutputQueue>(records)};
    const std::size_t used = SmallStack::run([&] {
        const auto decoder = manager.createVideoCodecDecoder(fourccOf(*clip.parameters).value());
        ASSERT_FALSE(decoder.isNull());
        decodeClip(decoder, clip, outputs);
    });
    checkStack(clip, used);

    const std::vector<std::string> expected = FfmpegTool::pictureHashes(clip.path, clip.streamIndex);
    const std::vector<std::string> hashes = records->hashes();
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(hashes.size(), expected.size());
    for (std::size_t index = 0; index < hashes.size(); ++index) {
        ASSERT_EQ(hashes[index], expected[index]) << "picture " << index;
        ASSERT_EQ(pictureHash(*records->entries[index].frame), hashes[index])
            << "picture " << index << " changed while it was kept";
    }
}

/// The same for samples.
inline void expectSamplesOfFfmpeg(const Clip &clip, const std::shared_ptr<DamageCounts> &damage)
{
    FormatManager manager(damage);
    auto *const records = new SamplesRecords;
    const std::vector<ModkitPtr<IAudioOutputQueue>> outputs{ModkitPtr<IAudioOutputQueue>(records)};
    const std::size_t used = SmallStack::run([&] {
        const auto decoder = manager.createAudioCodecDecoder(fourccOf(*clip.parameters).value());
        ASSERT_FALSE(decoder.isNull());
        decodeClip(decoder, clip, outputs);
    });
    checkStack(clip, used);

    ASSERT_FALSE(records->entries.empty());
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (const SamplesRecords::Entry &entry : records->entries)
        ASSERT_TRUE(addSamples(*entry.samples, hash));
    const auto format = static_cast<AVSampleFormat>(SamplesHeader::of(*records->entries.front().samples)->sampleFormat);
    const AVCodecID rawCodec = av_get_pcm_codec(av_get_packed_sample_fmt(format), 0);
    EXPECT_EQ(hash.result().toHex().toStdString(),
              FfmpegTool::samplesHash(clip.path, clip.streamIndex, avcodec_get_name(rawCodec)));
}

#endif
