#ifndef TESTS_HOST_SOURCES_MEDIAFIXTURE_H
#define TESTS_HOST_SOURCES_MEDIAFIXTURE_H

#include <QTemporaryDir>

#include <memory>
#include <string>
#include <vector>

#include "host/queues/QueueReader.h"
#include "sources/MediaSource.h"
#include <gmock/gmock.h>

/// A directory for media files that the ffmpeg tool makes, and what it takes to see what a source delivers of them.
class MediaFixture : public testing::Test {
protected:
    static constexpr BlockQueue::Limits roomy = {100'000, 1'000'000'000};

    /// What matters of one packet.
    struct Packet {
        QByteArray data;
        QByteArray sideData;
        qint64 pts = 0;
        qint64 dts = 0;
        qint64 duration = 0;
        int flags = 0;

        bool operator==(const Packet &other) const
        {
            return data == other.data && sideData == other.sideData && pts == other.pts && dts == other.dts &&
                   duration == other.duration && flags == other.flags;
        }
    };

    QString path(const QString &name) const { return _directory.filePath(name); }

    /// Writes @p bytes. @return the file's path.
    QString write(const QString &name, const QByteArray &bytes) const;
    static QByteArray contents(const QString &fileName);

    /// Runs the ffmpeg tool with @p arguments and the output @p name. @return the file's path.
    QString make(const QString &arguments, const QString &name) const;

    /// 2 seconds of video and sound.
    QString makeClip(const QString &name = QStringLiteral("clip.mkv")) const;

    /// A file of the corpus; empty where it is missing, and the test is to be skipped.
    static QString corpus(const QString &name);

    static std::unique_ptr<MediaSource> open(const QString &fileName, const MediaSource::Options &options = {});
    /// @return the error of opening @p fileName; empty, and a failure, when it could be opened.
    static std::string errorOf(const QString &fileName, const MediaSource::Options &options = {});

    /// Lets @p source fill a queue that takes everything. @return all blocks in their order.
    static std::vector<QueueReader::Block> deliver(MediaSource &source);

    /// What libavformat itself yields of the stream @p index.
    static std::vector<Packet> packetsOf(const QString &fileName, int index);
    /// The packets in those of @p blocks that belong to @p streamId, without the empty blocks.
    static std::vector<Packet> packetsIn(const std::vector<QueueReader::Block> &blocks, quint32 streamId);

private:
    static Packet copy(const AVPacket &packet);

    QTemporaryDir _directory;
};

#endif
