#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <map>

#include "DecodeFixture.h"
#include <gmock/gmock.h>

namespace {

/// Decodes files with bursts of different lengths, which must make no difference.
class Bursts : public DecodeFixture {
protected:
    struct Decoding {
        QByteArray reports; // what the report says of the inputs, except times and what was queued at once
        std::map<std::string, QByteArray> framemd5;
        int damaged = 0;
    };

    Decoding decoded(const QStringList &options, const QStringList &files)
    {
        const QString directory = path(QString("out-%1").arg(++_runs));
        const HostRun run = HostRun::decode(QStringList{"--output", "framemd5:" + directory} + options + files);
        run.expectNothingLeft();
        Decoding decoding;
        for (const QJsonValue &each : run.inputs()) {
            QJsonObject input = each.toObject();
            QJsonArray streams;
            for (const QJsonValue &of : input["streams"].toArray()) {
                const QJsonObject stream = of.toObject();
                decoding.damaged += stream["damaged"].toInt();
                const QJsonObject output = stream["outputs"].toArray()[0].toObject();
                streams.append(QJsonObject{{"frames", stream["frames"]},
                                           {"damaged", stream["damaged"]},
                                           {"lost", stream["lost"]},
                                           {"written", output["frames"]},
                                           {"nullBlocks", output["nullBlocks"]}});
                const std::string name = input["name"].toString().toStdString();
                const std::string kind = stream["kind"].toString().toStdString();
                const std::string stem = input["name"].toString().section('.', 0, -2).toStdString();
                decoding.framemd5[name + ' ' + kind] = framemd5(directory, stem, kind);
            }
            decoding.reports += QJsonDocument(QJsonObject{{"name", input["name"]},
                                                          {"packets", input["packets"]},
                                                          {"bytes", input["bytes"]},
                                                          {"error", input["error"]},
                                                          {"streams", streams}})
                                    .toJson();
        }
        return decoding;
    }

    void expectNoDifference(const QStringList &files, const QStringList &options = {})
    {
        const Decoding one = decoded(options + QStringList{"--burst", "1"}, files);
        EXPECT_GE(one.framemd5.size(), static_cast<std::size_t>(files.size()));
        for (const QStringList &bursts : {QStringList(), QStringList{"--burst", "5"}, QStringList{"--burst", "1000"}}) {
            SCOPED_TRACE(bursts.join(' ').toStdString());
            const Decoding with = decoded(options + bursts, files);
            EXPECT_EQ(with.reports.toStdString(), one.reports.toStdString());
            EXPECT_TRUE(with.framemd5 == one.framemd5);
        }
    }

private:
    int _runs = 0;
};

} // namespace

TEST_F(Bursts, MakeNoDifferenceToTheSamples)
{
    expectNoDifference(samples());
}

TEST_F(Bursts, MakeNoDifferenceToKeyBlocksOfTheSamples)
{
    expectNoDifference(samples(), {"--time-saving"});
}

TEST_F(Bursts, MakeNoDifferenceToTheSamplesTwiceOnOneThread)
{
    expectNoDifference(samples(), {"--repeat", "2", "--threads", "1"});
}

TEST_F(Bursts, MakeNoDifferenceToTheMediaFolder)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectNoDifference(mediaFiles());
}

TEST_F(Bursts, MakeNoDifferenceToKeyBlocksOfTheMediaFolder)
{
    if (mediaFiles().isEmpty())
        GTEST_SKIP() << noMediaFolder;
    expectNoDifference(mediaFiles(), {"--time-saving"});
}

TEST_F(Bursts, MakeNoDifferenceToDamagedFiles)
{
    QByteArray bytes = read(sample("cup.mp4"));
    for (int at = 40'000; at + 200 < bytes.size() - 40'000; at += 20'011)
        bytes.replace(at, 60, QByteArray(60, '\x5a'));
    const QString damaged = write("damaged.mp4", bytes);
    expectNoDifference({damaged});
    EXPECT_GT(decoded({}, {damaged}).damaged, 5);
}
