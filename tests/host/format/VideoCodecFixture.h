#ifndef TESTS_HOST_FORMAT_VIDEOCODECFIXTURE_H
#define TESTS_HOST_FORMAT_VIDEOCODECFIXTURE_H

#include <memory>
#include <utility>
#include <vector>

#include "CountingSlab.h"
#include "DecoderRuns.h"
#include "GeneratedClip.h"
#include "format/VideoCodecDecoder.h"
#include <gmock/gmock.h>

const char *const videoOrigin = "clip video";

/// Decodes clips that the ffmpeg command makes, and checks that no picture's memory is left.
class VideoCodecDecoding : public testing::Test {
protected:
    void SetUp() override
    {
        if (!FfmpegTool::isInstalled())
            GTEST_SKIP() << "the ffmpeg command is not installed";
    }
    void TearDown() override
    {
        outputs.clear();
        decoder.reset();
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);
    }

    Clip made(const char *encoding, const char *fileName, const char *source = GeneratedClip::pictures)
    {
        files.push_back(std::make_unique<GeneratedClip>(source, encoding, fileName));
        auto clip = Clip::read(files.back()->path(), AVMEDIA_TYPE_VIDEO, videoOrigin);
        EXPECT_TRUE(clip);
        return clip ? std::move(*clip) : Clip();
    }

    PictureRecords *addOutput()
    {
        auto *const records = new PictureRecords;
        outputs.emplace_back(records);
        return records;
    }

    void decode(const Clip::Block &block)
    {
        decoder->decode(block.data, block.keyBlock, 0, 77, outputs.data(), static_cast<int>(outputs.size()));
    }
    void decodeAll(const Clip &clip)
    {
        for (const Clip::Block &block : clip.blocks)
            decode(block);
    }
    void drain() { decode({QByteArray(), false}); }
    quint64 damageOf(DamageCounts::Kind kind) const { return damage->conditionOf({videoOrigin}).counts[kind]; }

    std::vector<std::unique_ptr<GeneratedClip>> files;
    std::shared_ptr<DamageCounts> damage = std::make_shared<DamageCounts>();
    std::vector<ModkitPtr<IVideoOutputQueue>> outputs;
    ModkitPtr<VideoCodecDecoder> decoder{new VideoCodecDecoder(damage)};
};

const char *const h264 = "-c:v libx264 -preset veryfast -bf 3 -pix_fmt yuv420p";
const char *const h264Small = "-s 176x144 -c:v libx264 -preset veryfast -bf 3 -pix_fmt yuv420p";

#endif
