#include "ByteServer.h"
#include "host/decode/DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Whether the end of a run tells the truth about what servers have sent.
class LiveWholeness : public DecodeFixture {
protected:
    /// A second of pictures, the first of which is the only key picture.
    QByteArray clip()
    {
        return read(generate("clip.ts", "-f lavfi -i testsrc2=size=160x120:rate=25:duration=1 -pix_fmt yuv420p -c:v "
                                        "libx264 -preset veryfast -bf 0 -g 1000"));
    }

    static ByteServer::Script answer(const QByteArray &content)
    {
        return {"HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(content.size()) + "\r\n\r\n" + content};
    }
};

} // namespace

TEST_F(LiveWholeness, IsThereWithPicturesAndASchemeInLargeLetters)
{
    const ByteServer server({{clip(), true}});
    const HostRun run = HostRun::decode(
        {"--duration", "2", "door=" + server.url().replace(QStringLiteral("tcp"), QStringLiteral("TCP"))});
    run.expectSuccess();
    EXPECT_GE(run.stream("door", "video")["frames"].toInt(), 20);
}

TEST_F(LiveWholeness, IsNotThereWithoutAnyPicture)
{
    // More than is looked at before the first packet is delivered.
    generate("long.ts", "-f lavfi -i testsrc2=size=160x120:rate=25:duration=12 -pix_fmt yuv420p -c:v libx264 -preset "
                        "veryfast -bf 0 -g 1000");
    const QByteArray withoutKeyPicture = read(
        generate("open.mkv", ("-i " + path("long.ts") + " -c copy -bsf:v filter_units=remove_types=5|6").toUtf8()));
    const ByteServer server({{withoutKeyPicture, true}});
    const HostRun run = HostRun::decode({"--duration", "2", "door=" + server.url()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, ElementsAre(testing::EndsWith(": door video: no picture could be decoded")));
    EXPECT_EQ(run.input("door")["connections"].toInt(), 1);
    EXPECT_GT(run.input("door")["packets"].toInt(), 0);
    run.expectNothingLeft();
}

TEST_F(LiveWholeness, IsNotThereWhenTheServerOfAPlaylistDies)
{
    const ByteServer server({answer("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n0.ts\n"), answer(clip()), {}});
    const QString url = server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")) + "/list.m3u8?sesame";
    const HostRun run = HostRun::decode({url});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors,
                ElementsAre(HasSubstr("/list.m3u8?***: a part of it is missing: Failed to reload playlist")));
    EXPECT_EQ(run.stream("list.m3u8", "video")["frames"].toInt(), 25);
    run.expectNothingLeft();
}
