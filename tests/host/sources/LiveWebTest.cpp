#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "LiveFixture.h"
#include "host/live/ByteServer.h"
#include "host/live/Loopback.h"
#include "host/live/ServerProcess.h"

namespace {

using testing::IsEmpty;
using testing::MatchesRegex;

/// Live sources that come by HTTP, as one stream or in the parts of a playlist, and what a session description tells
/// of.
class LiveWebTest : public LiveFixture {
protected:
    static QString clip() { return QStringLiteral(SAMPLES_DIR "/cup.mp4"); }

    static QStringList words(const QString &text) { return text.split(QLatin1Char(' ')); }

    /// Sends the clip over and over in real time, as @p output says.
    static std::unique_ptr<ServerProcess> sender(const QString &output)
    {
        return std::make_unique<ServerProcess>(
            QStringLiteral("ffmpeg"),
            words(QStringLiteral("-v error -re -stream_loop -1 -i %1 -an -c copy ").arg(clip()) + output));
    }

    /// Serves the files of the test.
    std::unique_ptr<ServerProcess> fileServer(quint16 port) const
    {
        return std::make_unique<ServerProcess>(
            QStringLiteral("/usr/bin/python3"),
            words(QStringLiteral("-m http.server --bind 127.0.0.1 --directory %1 %2").arg(path(QString())).arg(port)));
    }

    bool isThere(const QString &name) const
    {
        return eventually([&] { return QFileInfo(path(name)).size() > 0; });
    }

    bool ends()
    {
        return takeUntil([&] { return source->status().state == LiveSource::State::Ended; });
    }

    /// @return the answer of a server of HTTP, and half of it where the rest never comes.
    static ByteServer::Script answer(const QByteArray &content, bool isWhole = true)
    {
        const QByteArray head = "HTTP/1.0 200 OK\r\nContent-Length: " + QByteArray::number(content.size()) + "\r\n\r\n";
        return {head + (isWhole ? content : content.left(content.size() / 2)), !isWhole};
    }

    static QByteArray playlist(int count)
    {
        QByteArray text = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:0\n";
        for (int segment = 0; segment < count; ++segment)
            text += "#EXTINF:1,\n" + QByteArray::number(segment) + ".ts\n";
        return text;
    }

    QByteArray segment() const
    {
        return contents(make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=1 -c:v mpeg2video"),
                             QStringLiteral("segment.ts")));
    }
};

TEST_F(LiveWebTest, RtpIsReceivedAsASessionDescriptionSays)
{
    const quint16 port = Loopback::freePort(SOCK_DGRAM);
    const QString target = QStringLiteral("-f rtp -sdp_file %1 rtp://127.0.0.1:%2").arg(path("door.sdp")).arg(port);
    auto sending = sender(target);
    ASSERT_TRUE(isThere(QStringLiteral("door.sdp")));
    start(QStringLiteral("sdp:") + path(QStringLiteral("door.sdp")));
    ASSERT_TRUE(takeVideo(40));
    EXPECT_EQ(source->streams()[0].codec, "h264");
    EXPECT_EQ(source->streams()[0].width, 640);
    EXPECT_THAT(reports, IsEmpty());
    sending->kill();
    ASSERT_TRUE(takeReports(1));
    EXPECT_EQ(reports[0], "camera: no packet for 1.5 s; reconnecting");
    sending = sender(target);
    ASSERT_TRUE(takeReports(2));
    EXPECT_THAT(reports[1], MatchesRegex("camera: delivers again after .*"));
    expectDecodable(videoBlocks);
    EXPECT_LT(timeToStop(), milliseconds(300));
}

TEST_F(LiveWebTest, AFileThatIsNotWhatItsSchemeSaysEndsTheSource)
{
    const QString words = write(QStringLiteral("words"), "some words\n");
    for (const auto &[url, trouble] : std::vector<std::pair<QString, std::string>>{
             {QStringLiteral("sdp:") + path(QStringLiteral("missing")), "there is no such file"},
             {QStringLiteral("hls:") + path(QStringLiteral("missing")), "there is no such file"},
             {QStringLiteral("sdp:") + path(QString()), "this is a directory; name a media file in it"},
             {QStringLiteral("sdp:") + words, "this is no session description (SDP)"},
             {QStringLiteral("hls:") + words, "this is no playlist (M3U8)"}}) {
        start(url);
        ASSERT_TRUE(ends()) << url.toStdString();
        EXPECT_EQ(source->status().trouble, trouble) << url.toStdString();
        EXPECT_THAT(reports, IsEmpty());
    }
}

TEST_F(LiveWebTest, ADescriptionThatIsTakenForAFileIsToldFromMedia)
{
    const QString file = write(QStringLiteral("door.sdp"), "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\n"
                                                           "t=0 0\nm=video 5004 RTP/AVP 96\na=rtpmap:96 H264/90000\n");
    EXPECT_EQ(errorOf(file),
              file.toStdString() + ": this is a session description; to receive what it describes, name it sdp:FILE");
}

TEST_F(LiveWebTest, AStreamByHttpIsConnectedToAgainWhenItWasLost)
{
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    const QString output = QStringLiteral("-f mpegts -listen 1 http://127.0.0.1:%1").arg(port);
    auto sending = sender(output);
    start(QStringLiteral("live:http://127.0.0.1:%1/door.ts").arg(port));
    ASSERT_TRUE(takeVideo(40));
    EXPECT_EQ(source->streams()[0].codec, "h264");
    reports.clear();
    sending->kill();
    ASSERT_TRUE(takeReports(1));
    sending = sender(output);
    ASSERT_TRUE(takeUntil([&] { return source->status().connections == 2; }));
    ASSERT_TRUE(takeVideo(videoBlocks.size() + 20));
    expectDecodable(videoBlocks);
    EXPECT_EQ(breaksIn(videoBlocks).size(), 1U);
    EXPECT_LT(timeToStop(), milliseconds(300));
}

TEST_F(LiveWebTest, AStreamByHttpThatFallsSilentIsReported)
{
    const QByteArray content = contents(make(QStringLiteral("-f lavfi -i testsrc=size=320x240:rate=25:duration=8 "
                                                            "-c:v mpeg2video"),
                                             QStringLiteral("long.ts")));
    const ByteServer server(std::vector<ByteServer::Script>{answer(content, false)});
    start(QStringLiteral("live:") + server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")));
    ASSERT_TRUE(takeReports(1));
    EXPECT_EQ(reports[0], "camera: no packet for 1.5 s; reconnecting");
}

TEST_F(LiveWebTest, AServerOfHttpThatForbidsEndsTheSource)
{
    const ByteServer server(std::vector<ByteServer::Script>{{"HTTP/1.0 403 Forbidden\r\n\r\n"}});
    start(QStringLiteral("live:") + server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")));
    ASSERT_TRUE(ends());
    EXPECT_EQ(source->status().trouble, "cannot be opened: Server returned 403 Forbidden (access denied)");
    EXPECT_EQ(server.clients(), 1);
}

TEST_F(LiveWebTest, APlaylistGoesOnAtThePaceOfItsTimesAndIsFoundAgain)
{
    const quint16 port = Loopback::freePort(SOCK_STREAM);
    const auto sending = sender(QStringLiteral("-f hls -hls_time 1 -hls_flags delete_segments ") + path("door.m3u8"));
    // As many parts as come at once in the beginning.
    ASSERT_TRUE(isThere(QStringLiteral("door3.ts")));
    auto server = fileServer(port);
    start(QStringLiteral("hls:http://127.0.0.1:%1/door.m3u8").arg(port));
    ASSERT_TRUE(takeVideo(20));
    const auto begin = std::chrono::steady_clock::now();
    const qint64 beginMs = videoBlocks.back().blockTimeMs;
    reports.clear();
    ASSERT_TRUE(takeVideo(110));
    const auto passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed, milliseconds(videoBlocks.back().blockTimeMs - beginMs - 500));
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_THAT(breaksIn(videoBlocks), IsEmpty());
    for (std::size_t position = 1; position < videoBlocks.size(); ++position)
        ASSERT_EQ(videoBlocks[position].lost, 0U) << position;
    server->kill();
    ASSERT_TRUE(takeReports(1));
    server = fileServer(port);
    ASSERT_TRUE(takeUntil([&] { return source->status().connections == 2; }));
    ASSERT_TRUE(takeVideo(videoBlocks.size() + 20));
    expectDecodable(videoBlocks);
    EXPECT_LT(timeToStop(), milliseconds(400));
}

TEST_F(LiveWebTest, APlaylistThatIsALocalFileGoesOnToo)
{
    const auto sending = sender(QStringLiteral("-f hls -hls_time 1 -hls_flags delete_segments ") + path("door.m3u8"));
    ASSERT_TRUE(isThere(QStringLiteral("door.m3u8")));
    start(QStringLiteral("hls:") + path(QStringLiteral("door.m3u8")));
    ASSERT_TRUE(takeVideo(80));
    EXPECT_THAT(breaksIn(videoBlocks), IsEmpty());
    sending->kill();
    reports.clear();
    ASSERT_TRUE(takeReports(1));
    EXPECT_EQ(reports[0], "camera: nothing more is added to the playlist; reconnecting");
}

TEST_F(LiveWebTest, APlaylistWhoseServerFallsSilentIsReported)
{
    const QByteArray content = segment();
    const ByteServer server({answer(playlist(2)), answer(content), answer(content), {QByteArray(), true}});
    start(QStringLiteral("hls:") + server.url().replace(QStringLiteral("tcp"), QStringLiteral("http")) +
          QStringLiteral("/list.m3u8"));
    ASSERT_TRUE(takeReports(1));
    EXPECT_EQ(reports[0], "camera: nothing has come for 1.5 s; reconnecting");
    EXPECT_EQ(videoBlocks.size(), 51U);
}

/// A playlist with pictures and sound whose second part of three is cut off in transfer. Whether its connection is
/// reset there.
class LiveWebCutOff : public LiveWebTest, public testing::WithParamInterface<bool> {
protected:
    /// Each second a key picture, and a part.
    void makeParts(const QString &type)
    {
        make(QStringLiteral("-f lavfi -i testsrc=size=640x480:rate=25:duration=3 -f lavfi -i sine=duration=3 "
                            "-c:v libx264 -preset ultrafast -g 25 -bf 0 -c:a aac -f hls -hls_time 1 "
                            "-hls_segment_type %1 -hls_segment_filename ")
                     .arg(type) +
                 path(QStringLiteral("%d.ts")),
             QStringLiteral("list.m3u8"));
    }

    QByteArray file(const QByteArray &name) const { return contents(path(QString::fromUtf8(name))); }
    QByteArray part(int number) const { return file(QByteArray::number(number) + ".ts"); }

    void start(bool givesRanges)
    {
        _server = std::make_unique<ByteServer>([=](const QByteArray &request) { return answer(request, givesRanges); });
        LiveWebTest::start(QStringLiteral("hls:") +
                           _server->url().replace(QStringLiteral("tcp"), QStringLiteral("http")) +
                           QStringLiteral("/list.m3u8"));
    }

    /// Where @p givesRanges, what is cut off is whole when it is asked for from elsewhere than its beginning.
    ByteServer::Script answer(const QByteArray &request, bool givesRanges) const
    {
        const QByteArray name = request.split(' ')[1].mid(1);
        const QByteArray content = file(name);
        const int begin = givesRanges ? request.mid(request.indexOf("bytes=") + 6).split('-')[0].toInt() : 0;
        const bool isCutOff = name == "1.ts" && begin == 0;
        QByteArray head = givesRanges ? "HTTP/1.0 206 Partial Content\r\n" : "HTTP/1.0 200 OK\r\n";
        if (givesRanges)
            head += "Content-Range: bytes " + QByteArray::number(begin) + '-' + QByteArray::number(content.size() - 1) +
                    '/' + QByteArray::number(content.size()) + "\r\n";
        head += "Content-Length: " + QByteArray::number(content.size() - begin) + "\r\n\r\n";
        ByteServer::Script script;
        script.bytes = head + (isCutOff ? content.left(content.size() / 2) : content.mid(begin));
        script.resets = isCutOff && GetParam();
        return script;
    }

    /// The source delivers what libavformat yields of @p file, and ends.
    void expectPacketsOf(const QString &file)
    {
        ASSERT_TRUE(takeUntil([&] { return !breaksIn(videoBlocks).empty() && !breaksIn(audioBlocks).empty(); }));
        EXPECT_LT(timeToStop(), milliseconds(300));
        for (const auto &[blocks, stream] : {std::pair(&videoBlocks, 0), std::pair(&audioBlocks, 1)}) {
            SCOPED_TRACE(stream);
            blocks->resize(breaksIn(*blocks).front());
            const std::vector<Packet> expected = packetsOf(file, stream);
            const std::vector<Packet> came =
                packetsIn(*blocks, streamIdOf(stream == 0 ? StreamKind::Video : StreamKind::Audio));
            ASSERT_EQ(came.size(), expected.size());
            for (std::size_t position = 0; position < came.size(); ++position)
                ASSERT_TRUE(came[position].data == expected[position].data) << position;
        }
    }

    /// Of both streams.
    quint32 lost() const
    {
        quint32 sum = 0;
        for (const auto *const blocks : {&videoBlocks, &audioBlocks}) {
            for (const QueueReader::Block &block : *blocks)
                sum += block.lost;
        }
        return sum;
    }

private:
    std::unique_ptr<ByteServer> _server;
};

TEST_P(LiveWebCutOff, CostsWhatDidNotComeAndCountsOnce)
{
    makeParts(QStringLiteral("mpegts"));
    const QString cut = write(QStringLiteral("cut.ts"), part(0) + part(1).left(part(1).size() / 2) + part(2));
    start(false);
    expectPacketsOf(cut);
    EXPECT_LT(videoBlocks.size(), 75U);
    EXPECT_EQ(lost(), 1U);
}

TEST_P(LiveWebCutOff, CostsNothingWhereTheServerGivesTheRest)
{
    makeParts(QStringLiteral("mpegts"));
    const QString whole = write(QStringLiteral("whole.ts"), part(0) + part(1) + part(2));
    start(true);
    expectPacketsOf(whole);
    EXPECT_EQ(videoBlocks.size(), 75U);
    EXPECT_EQ(lost(), 0U);
}

TEST_P(LiveWebCutOff, InFragmentedMp4CostsNothingEitherThen)
{
    makeParts(QStringLiteral("fmp4"));
    const QString whole = write(QStringLiteral("whole.mp4"), file("init.mp4") + part(0) + part(1) + part(2));
    start(true);
    expectPacketsOf(whole);
    EXPECT_EQ(videoBlocks.size(), 75U);
    EXPECT_EQ(lost(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Live, LiveWebCutOff, testing::Bool(),
                         [](const auto &test) { return test.param ? "Reset" : "Ended"; });

} // namespace
