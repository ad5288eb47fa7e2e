#include "sources/StreamSearch.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "MediaFixture.h"
#include "sources/MediaProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

struct CloseFormat {
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
using Format = std::unique_ptr<AVFormatContext, CloseFormat>;

class StreamSearchTest : public MediaFixture {
protected:
    static Format opened(const QString &file)
    {
        AVFormatContext *context = nullptr;
        EXPECT_GE(avformat_open_input(&context, file.toUtf8().constData(), nullptr, nullptr), 0);
        return Format(context);
    }

    /// What the host tells of the streams and gives to codecs, and the times of all packets.
    static std::string shown(AVFormatContext *context)
    {
        std::string text = std::to_string(context->duration) + ' ' + std::to_string(context->start_time);
        const auto add = [&text](qint64 value) { text += ' ' + std::to_string(value); };
        for (unsigned int index = 0; index < context->nb_streams; ++index) {
            AVStream *const stream = context->streams[index];
            const AVCodecParameters &codec = *stream->codecpar;
            const AVRational rate = av_guess_frame_rate(context, stream, nullptr);
            for (const qint64 value : std::initializer_list<qint64>{
                     qint64(codec.codec_id), qint64(codec.format), qint64(codec.width), qint64(codec.height),
                     qint64(codec.video_delay), qint64(codec.profile), qint64(codec.level), qint64(codec.sample_rate),
                     qint64(codec.ch_layout.nb_channels), qint64(codec.extradata_size), qint64(rate.num),
                     qint64(rate.den), qint64(stream->sample_aspect_ratio.num), qint64(stream->sample_aspect_ratio.den),
                     stream->start_time, stream->duration})
                add(value);
        }
        AVPacket *packet = av_packet_alloc();
        while (av_read_frame(context, packet) >= 0) {
            for (const qint64 value :
                 std::initializer_list<qint64>{packet->pts, packet->dts, packet->duration, packet->flags})
                add(value);
            av_packet_unref(packet);
        }
        av_packet_free(&packet);
        return text;
    }

    static std::string shownByLibavformat(const QString &file)
    {
        const Format context = opened(file);
        EXPECT_GE(avformat_find_stream_info(context.get(), nullptr), 0);
        return shown(context.get());
    }

    /// Whether libavformat has decoded a picture of the first stream: then it knows more than containers tell.
    static bool isDecoded(const AVFormatContext &context)
    {
        return context.streams[0]->codecpar->chroma_location != AVCHROMA_LOC_UNSPECIFIED ||
               context.streams[0]->codecpar->bits_per_raw_sample != 0;
    }

    const QString pictures = "-f lavfi -i testsrc2=size=160x96:rate=25:duration=1.2 ";
};

} // namespace

TEST_F(StreamSearchTest, FindsWhatLibavformatFindsWithoutDecodingPictures)
{
    for (const char *const encoding :
         {"-c:v libx264 -pix_fmt yuv420p", "-c:v libx264 -profile:v baseline -pix_fmt yuv420p",
          "-c:v libx264 -pix_fmt yuv420p -vf setsar=4/3", "-c:v libx264 -pix_fmt yuv420p -flags +ildct+ilme"}) {
        SCOPED_TRACE(encoding);
        const QString file = make(pictures + encoding, "clip.mp4");
        const Format context = opened(file);
        StreamSearch search(true);
        ASSERT_GE(search.run(*context), 0);
        EXPECT_FALSE(search.wasMisled());
        EXPECT_FALSE(isDecoded(*context));
        EXPECT_EQ(shown(context.get()), shownByLibavformat(file));
    }
}

TEST_F(StreamSearchTest, FindsTheSameWhereTheHeaderDoesNotTellAll)
{
    const std::pair<const char *, const char *> kinds[] = {
        {"-c:v libx264 -pix_fmt yuv422p", "clip.mp4"}, {"-c:v libx264 -pix_fmt yuv420p", "clip.mkv"},
        {"-c:v libx264 -pix_fmt yuv420p", "clip.ts"},  {"-c:v mpeg4 -bf 2", "clip.mp4"},
        {"-c:v mpeg2video -bf 2", "clip.ts"},          {"-c:v libx265 -x265-params log-level=none", "clip.mp4"}};
    for (const auto &[encoding, fileName] : kinds) {
        SCOPED_TRACE(std::string(encoding) + ' ' + fileName);
        const QString file = make(pictures + encoding, fileName);
        for (const bool mayOpenAgain : {true, false}) {
            const Format context = opened(file);
            StreamSearch search(mayOpenAgain);
            ASSERT_GE(search.run(*context), 0);
            EXPECT_FALSE(search.wasMisled());
            EXPECT_EQ(shown(context.get()), shownByLibavformat(file));
        }
    }
}

TEST_F(StreamSearchTest, AsksADecoderWhereNoTimesTellWhetherPicturesComeInAnotherOrder)
{
    const QString file = make(pictures + "-c:v libx264 -bf 0 -pix_fmt yuv420p", "clip.mp4");
    const Format context = opened(file);
    ASSERT_EQ(context->streams[0]->codecpar->video_delay, 0);
    StreamSearch search(true);
    ASSERT_GE(search.run(*context), 0);
    EXPECT_TRUE(isDecoded(*context));
    EXPECT_EQ(shown(context.get()), shownByLibavformat(file));
}

TEST_F(StreamSearchTest, NoticesWhenAHeaderTellsAnotherSize)
{
    QByteArray bytes = contents(make(pictures + "-c:v libx264 -pix_fmt yuv420p", "clip.mp4"));
    const int entry = bytes.indexOf("avc1", bytes.indexOf("stsd"));
    ASSERT_GT(entry, 0);
    bytes[entry + 4 + 25] = 80; // the width's lower byte
    const QString file = write("wrong.mp4", bytes);
    {
        const Format context = opened(file);
        ASSERT_EQ(context->streams[0]->codecpar->width, 80);
        StreamSearch search(true);
        ASSERT_GE(search.run(*context), 0);
        EXPECT_TRUE(search.wasMisled());
    }
    {
        const Format context = opened(file);
        StreamSearch search(false);
        ASSERT_GE(search.run(*context), 0);
        EXPECT_FALSE(search.wasMisled());
        EXPECT_EQ(context->streams[0]->codecpar->width, 160);
    }
    const auto probe = MediaProbe::of(file.toStdString(), {});
    ASSERT_TRUE(std::holds_alternative<MediaProbe>(probe));
    EXPECT_EQ(std::get<MediaProbe>(probe).streams.at(0).width, 160);
}
