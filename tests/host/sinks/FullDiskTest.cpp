#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <thread>

#include "host/sinks/LimitedDisk.h"
#include "host/sinks/Records.h"
#include "sinks/SinkFactory.h"
#include <gmock/gmock.h>

namespace {

constexpr qint64 plenty = 1 << 30;
// Longer than what is written stays in a buffer.
constexpr std::chrono::milliseconds bufferTime(250);

template <class Condition>
bool comesTrue(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

/// Writes the records 0 to 5 of a stream, of which there is no room for the third and the fourth.
class FullDisk : public testing::TestWithParam<OutputSpec::Kind> {
protected:
    static VideoFrameHandle record(int number)
    {
        return Records::picture(AV_PIX_FMT_YUV420P, 64, 48, Records::packedBytes(AV_PIX_FMT_YUV420P, 64, 48, number),
                                number);
    }
    static AudioSampleHandle sound(int number)
    {
        return Records::samples(std::vector<qint16>(1000, static_cast<qint16>(number)), 8000, 1, number * 1000);
    }

    OutputSpec spec(const char *folder) const
    {
        OutputSpec spec;
        spec.kind = GetParam();
        spec.directory = path(folder).toStdString();
        spec.snapshotInterval = std::chrono::milliseconds(1);
        return spec;
    }
    QString path(const QString &name) const { return _folder.filePath(name); }

    ModkitPtr<VideoSink> videoSink(OutputSpec::Kind kind)
    {
        OutputSpec spec;
        spec.kind = kind;
        spec.directory = path("full").toStdString();
        return std::get<ModkitPtr<VideoSink>>(SinkFactory::createVideoSink(spec, _input, _workers));
    }
    /// @return a sink to which two pictures were written, each of them by itself.
    ModkitPtr<VideoSink> sinkWithTwoPictures()
    {
        auto sink = videoSink(OutputSpec::Raw);
        sink->push(record(0), 0, 0);
        EXPECT_TRUE(comesTrue([&] { return sink->status().bytesWritten > 0; }));
        std::this_thread::sleep_for(bufferTime);
        sink->push(record(1), 0, 40);
        EXPECT_TRUE(comesTrue([&] { return sink->status().bytesWritten > 64 * 48 * 3 / 2; }));
        return sink;
    }

    template <class Sink, class Handle>
    void pushAll(Sink &sink, const std::function<Handle(int)> &make, bool isFull)
    {
        for (int number = 0; number < 6; ++number) {
            const bool isLeftOut = number == 2 || number == 3;
            if (!isFull && isLeftOut)
                continue;
            // Some room, but not for a whole record; and none of those before is still in a buffer.
            if (isFull && (number == 1 || number == 2))
                std::this_thread::sleep_for(bufferTime);
            if (isFull)
                LimitedDisk::setRoom(number == 2 ? 20 : number == 3 ? 0 : plenty);
            const quint64 before = sink.status().bytesWritten;
            sink.push(make(number), 0, number * 125);
            ASSERT_TRUE(comesTrue([&] {
                return isFull && isLeftOut ? sink.status().failed == static_cast<quint64>(number) - 1
                                           : sink.status().bytesWritten > before;
            })) << number;
            EXPECT_EQ(sink.status().failing, isLeftOut);
        }
        sink.finish();
    }

    /// Expects the same files as where the records that had no room never came.
    void expectSameFiles() const
    {
        const QDir full(path("full"));
        const QDir never(path("never"));
        ASSERT_EQ(full.entryList(QDir::Files), never.entryList(QDir::Files));
        ASSERT_FALSE(full.entryList(QDir::Files).isEmpty());
        for (const QString &name : full.entryList(QDir::Files)) {
            QFile left(full.filePath(name));
            QFile right(never.filePath(name));
            ASSERT_TRUE(left.open(QIODevice::ReadOnly) && right.open(QIODevice::ReadOnly));
            EXPECT_TRUE(left.readAll() == right.readAll()) << name.toStdString();
        }
    }

    const QTemporaryDir _folder;
    SinkWorkers _workers{1};
    SinkFactory::Input _input{QStringLiteral("clip"), 0, {}};
};

using FullDiskOfPictures = FullDisk;
using FullDiskOfSamples = FullDisk;

} // namespace

TEST_P(FullDiskOfPictures, CostsThePicturesThatItHasNoRoomForAndNoOthers)
{
    const std::function<VideoFrameHandle(int)> make = record;
    {
        const LimitedDisk disk(plenty);
        const auto created = SinkFactory::createVideoSink(spec("full"), _input, _workers);
        const auto &sink = std::get<ModkitPtr<VideoSink>>(created);
        pushAll(*sink, make, true);
        EXPECT_EQ(sink->status().records, 6U);
        EXPECT_EQ(sink->status().failed, 2U);
        EXPECT_THAT(sink->status().error, testing::Optional(testing::HasSubstr("No space left on device")));
    }
    const auto created = SinkFactory::createVideoSink(spec("never"), _input, _workers);
    pushAll(*std::get<ModkitPtr<VideoSink>>(created), make, false);
    expectSameFiles();
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullDiskOfPictures,
                         testing::Values(OutputSpec::FrameMd5, OutputSpec::Y4m, OutputSpec::Raw, OutputSpec::Png));

TEST_P(FullDiskOfSamples, CostsTheSamplesThatItHasNoRoomForAndNoOthers)
{
    const std::function<AudioSampleHandle(int)> make = sound;
    {
        const LimitedDisk disk(plenty);
        const auto created = SinkFactory::createAudioSink(spec("full"), _input, _workers);
        const auto &sink = std::get<ModkitPtr<AudioSink>>(created);
        pushAll(*sink, make, true);
        EXPECT_EQ(sink->status().failed, 2U);
    }
    const auto created = SinkFactory::createAudioSink(spec("never"), _input, _workers);
    pushAll(*std::get<ModkitPtr<AudioSink>>(created), make, false);
    expectSameFiles();
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullDiskOfSamples,
                         testing::Values(OutputSpec::FrameMd5, OutputSpec::Raw, OutputSpec::Wav));

TEST_F(FullDisk, LeavesNoPartOfAPictureAtTheEnd)
{
    const LimitedDisk disk(plenty);
    const auto sink = sinkWithTwoPictures();
    LimitedDisk::setRoom(20);
    std::this_thread::sleep_for(bufferTime);
    sink->push(record(2), 0, 80);
    ASSERT_TRUE(comesTrue([&] { return sink->status().failing; }));
    sink->finish();
    EXPECT_EQ(QFile(path("full/clip.video.raw")).size(), 2 * 64 * 48 * 3 / 2);
}

TEST_F(FullDisk, CountsWhatItHasNoRoomForAtTheEnd)
{
    const LimitedDisk disk(plenty);
    const auto sink = sinkWithTwoPictures();
    LimitedDisk::setRoom(20);
    sink->push(record(2), 0, 80); // which stays in the buffer
    sink->finish();
    EXPECT_EQ(sink->status().failed, 1U);
    EXPECT_EQ(QFile(path("full/clip.video.raw")).size(), 2 * 64 * 48 * 3 / 2);
}

TEST_F(FullDisk, HasRoomForAFileThatCouldNotBeBegun)
{
    const LimitedDisk disk(3);
    const auto sink = videoSink(OutputSpec::Y4m);
    sink->push(record(0), 0, 0);
    ASSERT_TRUE(comesTrue([&] { return sink->status().failed == 1; }));
    LimitedDisk::setRoom(plenty);
    sink->push(record(1), 0, 40);
    sink->finish();
    EXPECT_FALSE(sink->status().failing);
    QFile file(path("full/clip.y4m"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    EXPECT_TRUE(content.startsWith("YUV4MPEG2 W64 H48 "));
    EXPECT_EQ(content.count("FRAME\n"), 1);
}
