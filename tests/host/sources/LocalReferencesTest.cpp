#include "sources/LocalReferences.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

#include "MediaFixture.h"
#include "host/live/ByteServer.h"
#include "sources/MediaProbe.h"
#include <sys/stat.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

/// A playlist in a folder of its own, and a file outside.
class LocalReferencesTest : public MediaFixture {
protected:
    LocalReferencesTest()
    {
        QDir(path(QString())).mkpath(QStringLiteral("list/parts"));
        QDir(path(QString())).mkpath(QStringLiteral("list-too"));
        for (const char *const name : {"list/0.ts", "list/parts/1.ts", "outside.ts", "list-too/2.ts"})
            write(QLatin1String(name), "bytes");
    }

    std::string at(const char *name) const { return path(QLatin1String(name)).toStdString(); }

    std::string followed(const std::string &url) const
    {
        const auto result = LocalReferences(at("list/list.m3u8")).follow(url);
        const auto *const name = std::get_if<std::string>(&result);
        return name ? *name : "refused: " + std::get<LocalReferences::Refusal>(result).what;
    }

    /// Writes a playlist of @p segments in the folder. @return its path.
    QString playlistOf(const QStringList &segments) const
    {
        QByteArray text = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:0\n";
        for (const QString &segment : segments)
            text += "#EXTINF:1,\n" + segment.toUtf8() + '\n';
        return write(QStringLiteral("list/list.m3u8"), text + "#EXT-X-ENDLIST\n");
    }

    QByteArray segment() const
    {
        return contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=1 -c:v mpeg2video"),
                             QStringLiteral("segment.ts")));
    }
};

TEST_F(LocalReferencesTest, AreFollowedBesideThePlaylistAndBelow)
{
    const std::string beside = "file:" + QFileInfo(path(QStringLiteral("list/0.ts"))).canonicalFilePath().toStdString();
    EXPECT_EQ(followed(at("list/0.ts")), beside);
    EXPECT_EQ(followed("file:" + at("list/0.ts")), beside);
    EXPECT_EQ(followed(at("list/parts/../0.ts")), beside);
    EXPECT_EQ(followed("crypto:" + at("list/0.ts")), "crypto:" + beside);
    EXPECT_EQ(followed("crypto+file:" + at("list/0.ts")), "crypto+" + beside);
    EXPECT_THAT(followed(at("list/parts/1.ts")), HasSubstr("/list/parts/1.ts"));
    EXPECT_EQ(followed("data:text/plain,x"), "data:text/plain,x");
    EXPECT_EQ(followed(at("list/missing.ts")), "refused: ") << "that it is missing is told in another way";
}

TEST_F(LocalReferencesTest, AreFollowedNowhereElse)
{
    for (const char *const name : {"outside.ts", "list/../outside.ts", "list-too/2.ts"})
        EXPECT_THAT(followed("file:" + at(name)),
                    AllOf(StartsWith("refused: it names " + at(name)),
                          HasSubstr("which does not lie beside it; references=anywhere")));
    for (const char *const url : {"http://host/0.ts", "tcp://host:1", "concat:a|b", "crypto+http://host/0.ts",
                                  "crypto:http://host/0.ts", "subfile,,start,0,end,9,,:/etc/hostname"})
        EXPECT_THAT(followed(url), HasSubstr("which is no file beside it")) << url;
    EXPECT_EQ(followed("file,,follow,1,,:" + at("outside.ts")), "refused: ") << "it is no such file";
}

TEST_F(LocalReferencesTest, AreFollowedOverNoLinkThatLeadsOutAndIntoNoPipe)
{
    ASSERT_EQ(symlink("../outside.ts", at("list/link.ts").c_str()), 0);
    ASSERT_EQ(symlink("0.ts", at("list/near.ts").c_str()), 0);
    ASSERT_EQ(symlink("..", at("list/up").c_str()), 0);
    ASSERT_EQ(mkfifo(at("list/pipe.ts").c_str(), 0600), 0);
    EXPECT_THAT(followed(at("list/link.ts")), HasSubstr("/list/link.ts, which does not lie beside it"));
    EXPECT_THAT(followed(at("list/up/outside.ts")), HasSubstr("which does not lie beside it"));
    EXPECT_THAT(followed(at("list/near.ts")), HasSubstr("/list/0.ts"));
    EXPECT_THAT(followed(at("list/pipe.ts")), HasSubstr("which is not a regular file"));
    // Nor does it matter how the playlist itself is reached.
    ASSERT_EQ(symlink("list", at("alias").c_str()), 0);
    const auto result = LocalReferences(at("alias/list.m3u8")).follow(at("alias/0.ts"));
    EXPECT_TRUE(std::holds_alternative<std::string>(result));
}

TEST_F(LocalReferencesTest, OfAPlaylistToAnAddressAreErrorsAndNobodyIsConnectedTo)
{
    const QByteArray content = segment();
    write(QStringLiteral("list/0.ts"), content);
    const ByteServer server(std::vector<ByteServer::Script>{
        {"HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(content.size()) + "\r\n\r\n" + content}});
    const QString address = server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")) + "/1.ts";
    const QString list = playlistOf({address});
    const std::string refusal = ": it names " + address.toStdString() + ", which is no file beside it";
    EXPECT_THAT(errorOf(list), HasSubstr(refusal));
    const auto probed = MediaProbe::of("file://" + list.toStdString());
    ASSERT_TRUE(std::holds_alternative<std::string>(probed));
    EXPECT_THAT(std::get<std::string>(probed), HasSubstr(refusal));

    // Behind a part that is there.
    playlistOf({QStringLiteral("0.ts"), address});
    const auto source = open(list);
    EXPECT_EQ(deliver(*source).size(), 26U);
    EXPECT_THAT(source->error(), Optional(HasSubstr("a part of it is missing: it names " + address.toStdString())));
    EXPECT_EQ(server.clients(), 0);

    MediaSource::Options options;
    options.access.mayNameAnything = true;
    const auto allowed = open(list, options);
    EXPECT_EQ(deliver(*allowed).size(), 51U);
    EXPECT_EQ(allowed->error(), std::nullopt);
    EXPECT_EQ(server.clients(), 1);
}

TEST_F(LocalReferencesTest, OfAPlaylistToFilesElsewhereAreErrors)
{
    const QByteArray content = segment();
    write(QStringLiteral("outside.ts"), content);
    for (const QString &name : {QStringLiteral("../outside.ts"), path(QStringLiteral("outside.ts"))}) {
        const QString list = playlistOf({name});
        EXPECT_THAT(errorOf(list),
                    AllOf(HasSubstr(": it names "), HasSubstr("outside.ts, which does not lie beside it")));
        MediaSource::Options options;
        options.access.mayNameAnything = true;
        EXPECT_EQ(deliver(*open(list, options)).size(), 26U);
    }
    // A playlist of playlists, one of which is elsewhere.
    write(QStringLiteral("inner.m3u8"), contents(playlistOf({QStringLiteral("0.ts")})));
    const QString outer =
        write(QStringLiteral("list/outer.m3u8"), "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n../inner.m3u8\n");
    EXPECT_THAT(errorOf(outer), HasSubstr("inner.m3u8, which does not lie beside it"));
}

TEST_F(LocalReferencesTest, OfADashManifestAreNotFollowedAtAll)
{
    const QString list = QStringLiteral("list/list.mpd");
    make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=2 -c:v mpeg4 -f dash"), list);
    EXPECT_THAT(errorOf(path(list)), HasSubstr("references=anywhere allows that"));
    MediaSource::Options options;
    options.access.mayNameAnything = true;
    EXPECT_GT(deliver(*open(path(list), options)).size(), 20U);
}

} // namespace
