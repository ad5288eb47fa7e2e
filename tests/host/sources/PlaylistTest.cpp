#include <QFile>

#include "MediaFixture.h"
#include "host/live/ByteServer.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Optional;
using testing::StartsWith;

/// Playlists of HTTP live streaming, and DASH manifests, whose demuxers pass over what they cannot read.
class PlaylistTest : public MediaFixture {
protected:
    /// @return the answer of a server of HTTP. @param missing bytes at its end that it never sends.
    static ByteServer::Script answer(const QByteArray &content, int missing = 0)
    {
        return {"HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(content.size() + missing) + "\r\n\r\n" +
                content};
    }

    static QByteArray playlist(int firstSegment, int count, bool isLive)
    {
        QByteArray text = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:" + QByteArray::number(firstSegment);
        for (int segment = firstSegment; segment < firstSegment + count; ++segment)
            text += "\n#EXTINF:1,\n" + QByteArray::number(segment) + ".ts";
        return text + (isLive ? "\n" : "\n#EXT-X-ENDLIST\n");
    }

    QByteArray segment() const
    {
        return contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=1 -c:v mpeg2video"),
                             QStringLiteral("segment.ts")));
    }

    /// @return the answer, half of which never comes.
    static ByteServer::Script half(const QByteArray &content)
    {
        ByteServer::Script script = answer(content.left(content.size() / 2), content.size() - content.size() / 2);
        script.keepsOpen = true;
        return script;
    }

    /// Reads what a server gives that answers with one script after the other.
    std::optional<std::string> errorOfServed(std::vector<ByteServer::Script> scripts,
                                             const QString &name = QStringLiteral("list.m3u8"))
    {
        MediaSource::Options options;
        options.stallLimit = std::chrono::milliseconds(1500);
        const ByteServer server(std::move(scripts));
        const auto source = open(
            server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")) + QLatin1Char('/') + name, options);
        _blocks = deliver(*source).size();
        return source->error();
    }

    std::size_t _blocks = 0;
};

} // namespace

TEST_F(PlaylistTest, ThatIsWholeIsReadWithoutAnError)
{
    const QByteArray content = segment();
    EXPECT_EQ(errorOfServed({answer(playlist(0, 2, false)), answer(content), answer(content)}), std::nullopt);
    EXPECT_EQ(_blocks, 51U);
}

TEST_F(PlaylistTest, OfFilesOneOfWhichIsMissingIsReadOnAndReported)
{
    const QByteArray content = segment();
    for (const int missing : {1, 2}) {
        const QString list = write(QStringLiteral("list-%1.m3u8").arg(missing), playlist(0, 3, false));
        for (const int number : {0, 1, 2})
            write(QStringLiteral("%1.ts").arg(number), content);
        ASSERT_TRUE(QFile::remove(path(QStringLiteral("%1.ts").arg(missing))));
        const auto source = open(list);
        EXPECT_EQ(deliver(*source).size(), 51U);
        EXPECT_THAT(source->error(), Optional(StartsWith(list.toStdString() +
                                                         ": a part of it is missing: Failed to open "
                                                         "segment " +
                                                         std::to_string(missing))));
    }
}

TEST_F(PlaylistTest, WhoseServerDiesIsReported)
{
    const QByteArray content = segment();
    EXPECT_THAT(errorOfServed({answer(playlist(0, 2, true)), answer(content), answer(content), {}}),
                Optional(HasSubstr("/list.m3u8: a part of it is missing: Failed to reload playlist 0")));
    EXPECT_EQ(_blocks, 51U);
}

TEST_F(PlaylistTest, WithASegmentThatIsCutOffIsReported)
{
    const QByteArray content = segment();
    EXPECT_THAT(errorOfServed({answer(playlist(0, 2, false)), answer(content, 1000), answer(content)}),
                Optional(MatchesRegex("http://127.0.0.1:[0-9]+/list.m3u8: a part of it is missing: "
                                      "http://127.0.0.1:[0-9]+/0.ts was cut off: Input/output error")));
    EXPECT_EQ(_blocks, 51U);
}

TEST_F(PlaylistTest, ThatMovesOnTooFastIsReported)
{
    const QByteArray content = segment();
    EXPECT_THAT(
        errorOfServed({answer(playlist(0, 1, true)), answer(content), answer(playlist(5, 1, false)), answer(content)}),
        Optional(HasSubstr("a part of it is missing: skipping 4 segments ahead")));
    EXPECT_EQ(_blocks, 51U);
}

TEST_F(PlaylistTest, WithASegmentWhoseConnectionIsResetIsReadOnAndReported)
{
    const QByteArray content = segment();
    ByteServer::Script reset = answer(content.left(content.size() / 2), content.size() - content.size() / 2);
    reset.resets = true;
    EXPECT_THAT(errorOfServed({answer(playlist(0, 3, false)), answer(content), reset, answer(content)}),
                Optional(MatchesRegex("http://127.0.0.1:[0-9]+/list.m3u8: a part of it is missing: "
                                      "http://127.0.0.1:[0-9]+/1.ts was cut off: Connection reset by peer")));
    EXPECT_GT(_blocks, 51U);
    EXPECT_LT(_blocks, 76U);
}

TEST_F(PlaylistTest, WhoseServerFallsSilentInASegmentFailsAfterTheStallLimit)
{
    const QByteArray content = segment();
    EXPECT_THAT(errorOfServed({answer(playlist(0, 3, false)), answer(content), half(content), answer(content)}),
                Optional(HasSubstr("/list.m3u8: nothing has come for 1.5 s, after ")));
    EXPECT_GT(_blocks, 26U);
    EXPECT_LT(_blocks, 51U);
}

TEST_F(PlaylistTest, WhoseServerDoesNotAnswerAnyMoreFailsAfterTheStallLimit)
{
    const QByteArray content = segment();
    EXPECT_THAT(errorOfServed({answer(playlist(0, 1, true)), answer(content), {QByteArray(), true}}),
                Optional(HasSubstr("/list.m3u8: nothing has come for 1.5 s, after 25 packets")));
}

TEST_F(PlaylistTest, MayPauseForLongerThanTheStallLimit)
{
    const QByteArray content = segment();
    const QByteArray slow =
        playlist(0, 1, true).replace("TARGETDURATION:1", "TARGETDURATION:4").replace("INF:1", "INF:2");
    const QByteArray end = playlist(0, 2, false);
    EXPECT_EQ(errorOfServed({answer(slow), answer(content), answer(end), answer(content)}), std::nullopt);
    EXPECT_EQ(_blocks, 51U);
}

TEST_F(PlaylistTest, ToWhichNothingIsAddedAnyMoreIsReported)
{
    const QByteArray content = segment();
    for (const int number : {0, 1})
        write(QStringLiteral("%1.ts").arg(number), content);
    for (const char *const type : {"", "#EXT-X-PLAYLIST-TYPE:EVENT\n"}) {
        const QString list = write(QStringLiteral("list.m3u8"),
                                   playlist(0, 2, true).replace("#EXT-X-MEDIA", QByteArray(type) + "#EXT-X-MEDIA"));
        const auto source = open(list);
        EXPECT_EQ(deliver(*source).size(), 51U);
        EXPECT_EQ(source->error(), list.toStdString() + ": nothing more is added to it, after 50 packets, and it does "
                                                        "not say that it is complete");
    }
}

TEST_F(PlaylistTest, OrAnyOtherFileOfASilentServerFailsAfterTheStallLimit)
{
    // Enough that it is not read whole when it is opened.
    const QByteArray content = contents(make(QStringLiteral("-f lavfi -i testsrc=size=640x480:rate=25:duration=20 "
                                                            "-c:v mpeg2video -q:v 2"),
                                             QStringLiteral("long.ts")));
    const std::optional<std::string> error = errorOfServed({half(content)}, QStringLiteral("long.ts"));
    EXPECT_THAT(error, Optional(MatchesRegex("http://127.0.0.1:[0-9]+/long.ts: nothing has come for 1.5 s, after "
                                             "[0-9]+ packets")));
}

TEST_F(PlaylistTest, OfDashOneOfWhoseChunksIsMissingIsReadOnAndReported)
{
    const QString manifest = make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=6 -c:v libx264 "
                                                 "-preset ultrafast -g 25 -bf 0 -f dash -seg_duration 1"),
                                  QStringLiteral("clip.mpd"));
    MediaSource::Options options;
    options.access.mayNameAnything = true;
    {
        const auto source = open(manifest, options);
        EXPECT_EQ(deliver(*source).size(), 151U);
        EXPECT_EQ(source->error(), std::nullopt);
    }
    ASSERT_TRUE(QFile::remove(path(QStringLiteral("chunk-stream0-00003.m4s"))));
    const auto source = open(manifest, options);
    EXPECT_EQ(deliver(*source).size(), 126U);
    EXPECT_THAT(source->error(),
                Optional(HasSubstr("/clip.mpd: a part of it is missing: Failed to open fragment of playlist")));
}
