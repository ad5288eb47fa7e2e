#include "format/Fourcc.h"

#include <memory>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

std::optional<quint32> fourccOfCodec(AVMediaType mediaType, AVCodecID codec, quint32 tag = 0)
{
    AVCodecParameters *parameters = avcodec_parameters_alloc();
    parameters->codec_type = mediaType;
    parameters->codec_id = codec;
    parameters->codec_tag = tag;
    const auto fourcc = fourccOf(*parameters);
    avcodec_parameters_free(&parameters);
    return fourcc;
}

TEST(Fourcc, OfVideoIsTheContainersTagWhereThatNamesTheCodec)
{
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264, MKTAG('a', 'v', 'c', '1')),
              MKTAG('a', 'v', 'c', '1'));
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_HEVC, MKTAG('h', 'v', 'c', '1')),
              MKTAG('h', 'v', 'c', '1'));
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC, MKTAG('m', 'p', '4', 'a')), MKTAG('m', 'p', '4', 'a'));
}

TEST(Fourcc, OfAForeignTagIsTheFirstOneOfTheTables)
{
    // Tags of MPEG transport streams mean nothing elsewhere, nor does another codec's.
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264, 0x1b), MKTAG('H', '2', '6', '4'));
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_VP8, MKTAG('V', 'P', '9', '0')), MKTAG('V', 'P', '8', '0'));
}

TEST(Fourcc, OfACodecThatNoTableKnowsIsMadeOfItsNumber)
{
    const auto fourcc = fourccOfCodec(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_WAVPACK);
    ASSERT_TRUE(fourcc);
    EXPECT_TRUE(isKnownFourcc(*fourcc, AVMEDIA_TYPE_AUDIO));
    EXPECT_FALSE(isKnownFourcc(*fourcc, AVMEDIA_TYPE_VIDEO));
}

TEST(Fourcc, OfWhatIsNeitherVideoNorAudioIsNone)
{
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_SUBTITLE, AV_CODEC_ID_SUBRIP), std::nullopt);
    EXPECT_EQ(fourccOfCodec(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_NONE), std::nullopt);
}

TEST(Fourcc, IsKnownForEveryCodecThatCanBeDecoded)
{
    int count = 0;
    void *position = nullptr;
    while (const AVCodec *const codec = av_codec_iterate(&position)) {
        if (!av_codec_is_decoder(codec) || (codec->type != AVMEDIA_TYPE_VIDEO && codec->type != AVMEDIA_TYPE_AUDIO))
            continue;
        const auto fourcc = fourccOfCodec(codec->type, codec->id);
        ASSERT_TRUE(fourcc) << codec->name;
        EXPECT_TRUE(isKnownFourcc(*fourcc, codec->type)) << codec->name;
        ++count;
    }
    EXPECT_GT(count, 100);
}

TEST(Fourcc, IsKnownForItsOwnKindOfMediaOnly)
{
    for (const char *const name : {"H264", "avc1", "hev1", "hvc1", "VP80", "VP90", "AV01", "mpg2", "FMP4", "mp4v",
                                   "MP42", "MP43", "MJPG", "cvid"}) {
        const quint32 fourcc = MKTAG(name[0], name[1], name[2], name[3]);
        EXPECT_TRUE(isKnownFourcc(fourcc, AVMEDIA_TYPE_VIDEO)) << name;
        EXPECT_FALSE(isKnownFourcc(fourcc, AVMEDIA_TYPE_AUDIO)) << name;
    }
    for (const char *const name : {"mp4a", "Opus", "fLaC", "ac-3", "sowt", "twos", "alaw", "ulaw", ".mp3"}) {
        const quint32 fourcc = MKTAG(name[0], name[1], name[2], name[3]);
        EXPECT_TRUE(isKnownFourcc(fourcc, AVMEDIA_TYPE_AUDIO)) << name;
        EXPECT_FALSE(isKnownFourcc(fourcc, AVMEDIA_TYPE_VIDEO)) << name;
    }
}

TEST(Fourcc, IsKnownForTheNumbersOfRiffFiles)
{
    // PCM, A-law, mu-law, MP3, AAC, AC-3, Vorbis, FLAC.
    for (const quint32 fourcc : {0x1U, 0x6U, 0x7U, 0x55U, 0xffU, 0x2000U, 0x566fU, 0xf1acU})
        EXPECT_TRUE(isKnownFourcc(fourcc, AVMEDIA_TYPE_AUDIO)) << fourcc;
}

TEST(Fourcc, IsUnknownForAnythingElse)
{
    for (const quint32 fourcc : {0U, 0xffffffffU, MKTAG('?', '?', '?', '?'), MKTAG('x', 'y', 'z', '#')}) {
        EXPECT_FALSE(isKnownFourcc(fourcc, AVMEDIA_TYPE_VIDEO)) << fourcc;
        EXPECT_FALSE(isKnownFourcc(fourcc, AVMEDIA_TYPE_AUDIO)) << fourcc;
    }
    EXPECT_FALSE(isKnownFourcc(MKTAG('H', '2', '6', '4'), AVMEDIA_TYPE_SUBTITLE));
}

TEST(Fourcc, IsShownAsItsCharactersOrElseItsNumber)
{
    EXPECT_EQ(fourccText(MKTAG('N', 'O', 'P', 'E')), "NOPE");
    EXPECT_EQ(fourccText(MKTAG('a', 'b', 1, '\xff')), "0xff016261");
}

TEST(Fourcc, NamesACodecThatLibavcodecDoesNotKnow)
{
    AVCodecParameters *parameters = avcodec_parameters_alloc();
    EXPECT_EQ(codecNameOf(*parameters), "an unknown codec");
    parameters->codec_tag = MKTAG('N', 'O', 'P', 'E');
    EXPECT_EQ(codecNameOf(*parameters), "NOPE");
    parameters->codec_id = AV_CODEC_ID_H264;
    EXPECT_EQ(codecNameOf(*parameters), "h264");
    avcodec_parameters_free(&parameters);
}

} // namespace
