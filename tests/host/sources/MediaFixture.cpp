#include "MediaFixture.h"

#include <QFile>
#include <QProcess>

#include "format/MediaBlock.h"

QString MediaFixture::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(bytes), bytes.size());
    return file.fileName();
}

QByteArray MediaFixture::contents(const QString &fileName)
{
    QFile file(fileName);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << fileName.toStdString();
    return file.readAll();
}

QString MediaFixture::make(const QString &arguments, const QString &name) const
{
    QProcess tool;
    tool.start(QStringLiteral("ffmpeg"), QStringLiteral("-v error -y %1").arg(arguments).split(QLatin1Char(' '))
                                             << path(name));
    EXPECT_TRUE(tool.waitForFinished()) << tool.errorString().toStdString();
    EXPECT_EQ(tool.exitCode(), 0) << tool.readAllStandardError().toStdString();
    return path(name);
}

QString MediaFixture::makeClip(const QString &name) const
{
    return make(QStringLiteral("-f lavfi -i testsrc=size=64x48:rate=25:duration=2 -f lavfi -i sine=duration=2 "
                               "-c:v mpeg4 -g 10 -bf 2 -c:a aac"),
                name);
}

QString MediaFixture::corpus(const QString &name)
{
    const QString directory = qEnvironmentVariable("DECODING_MEDIA_DIR");
    return directory.isEmpty() ? QString() : directory + QLatin1Char('/') + name;
}

std::unique_ptr<MediaSource> MediaFixture::open(const QString &fileName, const MediaSource::Options &options)
{
    auto opened = MediaSource::open(fileName.toStdString(), options);
    if (const auto *const error = std::get_if<std::string>(&opened))
        throw std::runtime_error(*error);
    return std::move(std::get<std::unique_ptr<MediaSource>>(opened));
}

std::string MediaFixture::errorOf(const QString &fileName, const MediaSource::Options &options)
{
    const auto opened = MediaSource::open(fileName.toStdString(), options);
    const auto *const error = std::get_if<std::string>(&opened);
    EXPECT_TRUE(error) << fileName.toStdString() << " could be opened";
    if (!error)
        return std::string();
    EXPECT_EQ(error->find(fileName.toStdString() + ": "), 0u) << *error;
    EXPECT_EQ(error->find('\n'), std::string::npos) << *error;
    return *error;
}

std::vector<QueueReader::Block> MediaFixture::deliver(MediaSource &source)
{
    BlockQueue queue(1, roomy);
    EXPECT_EQ(source.start(queue), std::nullopt);
    source.join();
    std::vector<QueueReader::Block> blocks;
    QueueReader reader{queue};
    while (const auto block = reader.take())
        blocks.push_back(*block);
    EXPECT_TRUE(queue.isDrained());
    return blocks;
}

std::vector<MediaFixture::Packet> MediaFixture::packetsOf(const QString &fileName, int index)
{
    AVFormatContext *context = nullptr;
    std::vector<Packet> packets;
    EXPECT_EQ(avformat_open_input(&context, fileName.toUtf8().constData(), nullptr, nullptr), 0);
    if (!context)
        return packets;
    EXPECT_GE(avformat_find_stream_info(context, nullptr), 0);
    AVPacket *packet = av_packet_alloc();
    while (av_read_frame(context, packet) == 0) {
        if (packet->stream_index == index && packet->size > 0)
            packets.push_back(copy(*packet));
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&context);
    return packets;
}

std::vector<MediaFixture::Packet> MediaFixture::packetsIn(const std::vector<QueueReader::Block> &blocks,
                                                          quint32 streamId)
{
    std::vector<Packet> packets;
    AVPacket *packet = av_packet_alloc();
    for (const QueueReader::Block &block : blocks) {
        QByteArray parameters;
        if (block.streamId != streamId || block.data.isEmpty())
            continue;
        EXPECT_TRUE(MediaBlock::unpack(block.data, block.keyBlock, packet, &parameters));
        EXPECT_EQ(block.timestamp, packet->pts);
        packets.push_back(copy(*packet));
    }
    av_packet_free(&packet);
    return packets;
}

MediaFixture::Packet MediaFixture::copy(const AVPacket &packet)
{
    Packet result;
    result.data = QByteArray(reinterpret_cast<const char *>(packet.data), packet.size);
    for (int index = 0; index < packet.side_data_elems; ++index) {
        const AVPacketSideData &sideData = packet.side_data[index];
        result.sideData += QByteArray::number(sideData.type) + ':' +
                           QByteArray(reinterpret_cast<const char *>(sideData.data), static_cast<int>(sideData.size));
    }
    result.pts = packet.pts;
    result.dts = packet.dts;
    result.duration = packet.duration;
    result.flags = packet.flags;
    return result;
}
