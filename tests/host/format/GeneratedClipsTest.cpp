#include "CountingSlab.h"
#include "DecoderRuns.h"
#include "GeneratedClip.h"
#include <gtest/gtest.h>

namespace {

// The codecs that differ in how they use a picture's memory: kept and shown again, changed in place, with a palette, upside
// down, cropped, of an odd size, without direct rendering.
const Recipe videoRecipes[] = {
    {"H264", "clip.mp4", "-c:v libx264 -preset veryfast -bf 3 -pix_fmt yuv420p"},
    {"H264Interlaced", "clip.mp4", "-c:v libx264 -preset veryfast -flags +ilme+ildct -pix_fmt yuv420p"},
    {"H264Cropped", "clip.mkv", "-vf crop=350:286 -c:v libx264 -preset veryfast -pix_fmt yuv420p"},
    {"H264Bits10", "clip.mkv", "-c:v libx264 -preset veryfast -pix_fmt yuv422p10le"},
    {"Hevc", "clip.mp4", "-c:v libx265 -preset ultrafast -x265-params log-level=none -pix_fmt yuv420p"},
    {"HevcBits10", "clip.mkv", "-c:v libx265 -preset ultrafast -x265-params log-level=none -pix_fmt yuv422p10le"},
    {"Vp8", "clip.webm", "-c:v libvpx -auto-alt-ref 1 -lag-in-frames 16 -deadline realtime -cpu-used 8"},
    {"Vp9", "clip.webm", "-c:v libvpx-vp9 -auto-alt-ref 1 -lag-in-frames 16 -deadline good -cpu-used 5"},
    {"Vp9Bits10", "clip.webm", "-c:v libvpx-vp9 -deadline good -cpu-used 5 -pix_fmt yuv420p10le"},
    {"Av1", "clip.mkv", "-c:v libaom-av1 -cpu-used 8 -usage realtime -frames:v 15"},
    {"Av1Bits10", "clip.mkv", "-c:v libsvtav1 -preset 8 -pix_fmt yuv420p10le"},
    {"Av1FilmGrain", "clip.mkv", "-c:v libsvtav1 -preset 8 -svtav1-params film-grain=20 -pix_fmt yuv420p"},
    {"Mpeg1", "clip.mpg", "-c:v mpeg1video"},
    {"Mpeg2", "clip.ts", "-c:v mpeg2video -bf 2"},
    {"Mpeg2Interlaced", "clip.ts", "-c:v mpeg2video -flags +ilme+ildct"},
    {"Mpeg4", "clip.mp4", "-c:v mpeg4 -bf 2 -flags +qpel+mv4"},
    {"MsMpeg4V2", "clip.avi", "-c:v msmpeg4v2"},
    {"MsMpeg4", "clip.avi", "-c:v msmpeg4"},
    {"Wmv1", "clip.avi", "-c:v wmv1"},
    {"Wmv2", "clip.avi", "-c:v wmv2"},
    {"H263", "clip.avi", "-c:v h263"},
    {"Flv", "clip.flv", "-c:v flv"},
    {"Theora", "clip.ogg", "-c:v libtheora"},
    {"Mjpeg", "clip.avi", "-c:v mjpeg"},
    {"Ljpeg", "clip.avi", "-c:v ljpeg -pix_fmt yuvj420p"},
    {"Cinepak", "clip.avi", "-frames:v 8 -vf scale=160:120 -c:v cinepak"},
    {"MsVideo1", "clip.avi", "-frames:v 8 -c:v msvideo1 -pix_fmt rgb555le"},
    {"Prores", "clip.mov", "-c:v prores_ks"},
    {"Dnxhd", "clip.mov", "-s 1280x720 -frames:v 5 -c:v dnxhd -b:v 110M -pix_fmt yuv422p"},
    {"Dv", "clip.avi", "-s 720x576 -frames:v 5 -c:v dvvideo -pix_fmt yuv420p"},
    {"Ffv1", "clip.mkv", "-c:v ffv1 -level 3"},
    {"Huffyuv", "clip.avi", "-c:v huffyuv"},
    {"Ffvhuff", "clip.avi", "-c:v ffvhuff"},
    {"Utvideo", "clip.avi", "-c:v utvideo"},
    {"Magicyuv", "clip.avi", "-c:v magicyuv"},
    {"Png", "clip.avi", "-c:v png"},
    {"Gif", "clip.mov", "-c:v gif"},
    {"Qtrle", "clip.mov", "-c:v qtrle"},
    {"QtrlePalette", "clip.mov", "-c:v qtrle -pix_fmt gray"},
    {"Svq1", "clip.mov", "-c:v svq1"},
    {"Zmbv", "clip.avi", "-c:v zmbv"},
    {"ZmbvPalette", "clip.avi", "-c:v zmbv -pix_fmt pal8"},
    {"FlashScreen", "clip.flv", "-c:v flashsv"},
    {"Snow", "clip.avi", "-c:v snow -strict experimental"},
    {"Jpeg2000", "clip.mkv", "-frames:v 5 -c:v jpeg2000"},
    {"Cfhd", "clip.mov", "-frames:v 10 -c:v cfhd"},
    {"Dirac", "clip.mkv", "-frames:v 5 -c:v vc2 -strict experimental"},
    {"Hap", "clip.mov", "-c:v hap"},
    {"RawRgbUpsideDown", "clip.avi", "-c:v rawvideo -pix_fmt bgr24"},
    {"RawPalette", "clip.avi", "-c:v rawvideo -pix_fmt pal8"},
    {"RawPlanar", "clip.avi", "-c:v rawvideo -pix_fmt yuv420p"},
    {"RawOddSize", "clip.avi", "-s 33x17 -c:v rawvideo -pix_fmt bgr24"},
    {"V210", "clip.mov", "-frames:v 5 -c:v v210"},
};

const Recipe audioRecipes[] = {
    {"Aac", "clip.mp4", "-c:a aac"},
    {"AacAdts", "clip.ts", "-c:a aac"},
    {"Mp3", "clip.mp3", "-c:a libmp3lame"},
    {"Mp2", "clip.mp2", "-c:a mp2"},
    {"Ac3", "clip.ac3", "-c:a ac3"},
    {"Eac3", "clip.ts", "-c:a eac3"},
    {"Dts", "clip.wav", "-c:a dca -strict experimental"},
    {"TrueHd", "clip.mp4", "-c:a truehd -strict experimental"},
    {"Opus", "clip.opus", "-c:a libopus"},
    {"Vorbis", "clip.ogg", "-c:a libvorbis"},
    {"Flac", "clip.flac", "-c:a flac"},
    {"FlacBits24", "clip.mkv", "-c:a flac -sample_fmt s32"},
    {"Alac", "clip.m4a", "-c:a alac"},
    {"Wma1", "clip.wma", "-c:a wmav1"},
    {"Wma2", "clip.wma", "-c:a wmav2"},
    {"Wavpack", "clip.wv", "-c:a wavpack"},
    {"Tta", "clip.tta", "-c:a tta"},
    {"PcmU8", "clip.wav", "-c:a pcm_u8"},
    {"PcmS16", "clip.wav", "-c:a pcm_s16le"},
    {"PcmS16BigEndian", "clip.mov", "-c:a pcm_s16be"},
    {"PcmS24", "clip.wav", "-c:a pcm_s24le"},
    {"PcmS32", "clip.wav", "-c:a pcm_s32le"},
    {"PcmF32", "clip.wav", "-c:a pcm_f32le"},
    {"PcmF64", "clip.wav", "-c:a pcm_f64le"},
    {"PcmALaw", "clip.wav", "-c:a pcm_alaw"},
    {"PcmMuLaw", "clip.wav", "-c:a pcm_mulaw"},
    {"AdpcmMs", "clip.wav", "-c:a adpcm_ms"},
    {"AdpcmIma", "clip.wav", "-c:a adpcm_ima_wav"},
    {"Gsm", "clip.wav", "-c:a libgsm_ms -ar 8000 -ac 1"},
    {"G726", "clip.wav", "-c:a g726 -ar 8000 -ac 1"},
    {"Speex", "clip.ogg", "-c:a libspeex -ar 16000 -ac 1"},
    {"SixChannels", "clip.ac3", "-ac 6 -c:a ac3"},
};

class GeneratedClips : public testing::TestWithParam<Recipe> {
protected:
    void SetUp() override
    {
        if (!FfmpegTool::isInstalled())
            GTEST_SKIP() << "the ffmpeg command is not installed";
    }

    void expectNothingIsLeftOrDamaged(const QByteArray &origin) const
    {
        EXPECT_EQ(CountingSlab::liveBlocks(), 0);
        EXPECT_EQ(damage->of(origin), DamageCounts::Counts{});
    }

    const std::shared_ptr<DamageCounts> damage = std::make_shared<DamageCounts>();
};

class GeneratedVideo : public GeneratedClips {};
class GeneratedAudio : public GeneratedClips {};

TEST_P(GeneratedVideo, GivesThePicturesOfTheFfmpegCommand)
{
    const GeneratedClip file(GeneratedClip::pictures, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    const auto clip = Clip::read(file.path(), AVMEDIA_TYPE_VIDEO, "clip video");
    ASSERT_TRUE(clip);
    expectPicturesOfFfmpeg(*clip, damage);
    expectNothingIsLeftOrDamaged("clip video");
}

TEST_P(GeneratedAudio, GivesTheSamplesOfTheFfmpegCommand)
{
    const GeneratedClip file(GeneratedClip::tone, GetParam().encoding, GetParam().fileName);
    if (!file.isMade())
        GTEST_SKIP() << "this ffmpeg command cannot encode it";
    const auto clip = Clip::read(file.path(), AVMEDIA_TYPE_AUDIO, "clip audio");
    ASSERT_TRUE(clip);
    expectSamplesOfFfmpeg(*clip, damage);
    expectNothingIsLeftOrDamaged("clip audio");
}

std::string nameOf(const testing::TestParamInfo<Recipe> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Codecs, GeneratedVideo, testing::ValuesIn(videoRecipes), nameOf);
INSTANTIATE_TEST_SUITE_P(Codecs, GeneratedAudio, testing::ValuesIn(audioRecipes), nameOf);

} // namespace
