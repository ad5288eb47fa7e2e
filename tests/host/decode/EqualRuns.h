#ifndef HOST_DECODE_TESTS_EQUALRUNS_H
#define HOST_DECODE_TESTS_EQUALRUNS_H

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <map>

#include "DecodeFixture.h"

/// Decodes files with options that must make no difference.
class EqualRuns : public DecodeFixture {
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

    /// @param variants of the options, the first of which the others are compared with.
    void expectNoDifference(const QStringList &files, const QList<QStringList> &variants)
    {
        const Decoding one = decoded(variants.first(), files);
        EXPECT_GE(one.framemd5.size(), static_cast<std::size_t>(files.size()));
        for (const QStringList &options : variants.mid(1)) {
            SCOPED_TRACE(options.join(' ').toStdString());
            const Decoding with = decoded(options, files);
            EXPECT_EQ(with.reports.toStdString(), one.reports.toStdString());
            EXPECT_TRUE(with.framemd5 == one.framemd5);
        }
    }

private:
    int _runs = 0;
};

#endif
