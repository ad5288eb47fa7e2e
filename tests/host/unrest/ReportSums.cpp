#include "ReportSums.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include "host/decode/ToolFrames.h"
#include <gmock/gmock.h>

namespace {

/// Packets whose pictures a codec may not have given out when its input is cut off.
constexpr int codecDelay = 17;

qint64 number(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object[QLatin1String(key)];
    EXPECT_TRUE(value.isDouble()) << key;
    return static_cast<qint64>(value.toDouble());
}

/// Over the objects of @p array.
qint64 sum(const QJsonArray &array, const char *key)
{
    qint64 sum = 0;
    for (const QJsonValue &each : array)
        sum += number(each.toObject(), key);
    return sum;
}

/// @return the file that the stream's frames were written to. Inputs of the same name, one after the other, have
/// numbers behind it.
QString fileOf(const QString &directory, const QJsonObject &input, const QString &kind)
{
    const QString name = input["name"].toString();
    const QRegularExpression pattern(QStringLiteral("^(%1|%2)(-\\d+)?\\.%3\\.framemd5$")
                                         .arg(QRegularExpression::escape(name),
                                              QRegularExpression::escape(QFileInfo(name).completeBaseName()), kind));
    for (const QString &file : QDir(directory).entryList(QDir::Files | QDir::System, QDir::Time)) {
        if (pattern.match(file).hasMatch())
            return QDir(directory).filePath(file);
    }
    ADD_FAILURE() << "no file of " << name.toStdString();
    return QString();
}

void expectOutputsRight(const QJsonObject &input, const QJsonObject &stream, const QString &directory)
{
    const QJsonArray outputs = stream["outputs"].toArray();
    for (const QJsonValue &each : outputs) {
        const QJsonObject output = each.toObject();
        EXPECT_EQ(number(output, "frames"), number(stream, "frames")) << "frames of the output and the stream";
        QFile file(fileOf(directory, input, stream["kind"].toString()));
        if (!QFileInfo(file).isFile())
            continue; // a pipe
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        const auto written = static_cast<qint64>(ToolFrames::hashes(file.readAll()).size());
        EXPECT_EQ(number(output, "frames"), written + number(output, "dropped") + number(output, "notWritten"))
            << written << " frames in " << file.fileName().toStdString() << ", dropped " << number(output, "dropped")
            << ", notWritten " << number(output, "notWritten");
    }
    EXPECT_EQ(sum(outputs, "notWritten"), number(stream, "notWritten"));
    EXPECT_EQ(sum(outputs, "waitedMs"), number(stream, "waitedMs"));
}

/// @return how many lines it has among the report's errors.
int expectInputRight(const QJsonObject &input, const QString &directory)
{
    const bool isLive = input["live"].toBool();
    const QJsonArray streams = input["streams"].toArray();
    int errors = input["error"].isNull() ? 0 : 1;
    for (const QJsonValue &each : streams) {
        const QJsonObject stream = each.toObject();
        SCOPED_TRACE(stream["kind"].toString().toStdString());
        expectOutputsRight(input, stream, directory);
        for (const QJsonValue &output : stream["outputs"].toArray())
            errors += output.toObject()["error"].isNull() ? 0 : 1;
        errors += !isLive && number(stream, "damaged") > 0 ? 1 : 0;
        errors += isLive && stream["kind"] == "video" && number(stream, "frames") == 0 ? 1 : 0;
        EXPECT_GE(number(stream, "lost"), 0);
        if (!isLive) {
            EXPECT_EQ(number(stream, "lost"), 0);
        }
    }
    const qint64 counted = sum(streams, "frames") + sum(streams, "damaged") + sum(streams, "lost");
    const qint64 held = streams.size() * (number(input, "peakQueuedBlocks") + codecDelay);
    EXPECT_LE(number(input, "packets"), counted + held) << "packets that are neither frames nor damaged nor lost";
    if (isLive && counted > 0) {
        EXPECT_GE(number(input, "connections"), 1);
    }
    return errors;
}

} // namespace

void ReportSums::expectRight(const HostRun &run, const QString &directory)
{
    int errors = 0;
    qint64 streams = 0;
    qint64 frames = 0;
    for (const QJsonValue &each : run.inputs()) {
        const QJsonObject input = each.toObject();
        SCOPED_TRACE(input["name"].toString().toStdString());
        const int count = expectInputRight(input, directory);
        EXPECT_EQ(count > 0, input["state"] == "failed" || input["state"] == "no-decoder") << "its state";
        errors += count;
        streams += input["streams"].toArray().size();
        frames += sum(input["streams"].toArray(), "frames");
    }
    EXPECT_EQ(number(run.totals(), "inputs"), run.inputs().size());
    EXPECT_EQ(number(run.totals(), "streams"), streams);
    EXPECT_EQ(number(run.totals(), "frames"), frames);
    EXPECT_GE(run.report["errors"].toArray().size(), errors);
    EXPECT_EQ(run.exitCode, run.report["interrupted"].toBool() ? 130 : errors > 0 ? 1 : 0);
    EXPECT_EQ(run.exitCode, number(run.report, "exitCode"));
}
