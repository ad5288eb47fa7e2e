#include "ReportSums.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <string>
#include <vector>

#include "host/decode/ToolFrames.h"
#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

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

/// @return how each line begins that it has among the report's errors.
std::vector<std::string> expectInputRight(const QJsonObject &input, const QString &directory)
{
    const bool isLive = input["live"].toBool();
    const QString name = input["name"].toString();
    const QJsonArray streams = input["streams"].toArray();
    std::vector<std::string> errors;
    const auto expectLine = [&errors](bool isThere, const QString &line) {
        if (isThere)
            errors.push_back(line.toStdString());
    };
    expectLine(!input["error"].isNull(), input["error"].toString());
    for (const QJsonValue &each : streams) {
        const QJsonObject stream = each.toObject();
        const QString kind = stream["kind"].toString();
        SCOPED_TRACE(kind.toStdString());
        expectOutputsRight(input, stream, directory);
        expectLine(!isLive && number(stream, "damaged") > 0, name + ' ' + kind + ": damaged in ");
        expectLine(isLive && kind == "video" && number(stream, "frames") == 0 && number(stream, "durationMs") >= 1000,
                   name + " video: no picture could be decoded");
        for (const QJsonValue &output : stream["outputs"].toArray())
            expectLine(!output["error"].isNull(), output["error"].toString());
        EXPECT_GE(number(stream, "lost"), 0);
        if (!isLive) {
            EXPECT_EQ(number(stream, "lost"), 0);
        }
    }
    const qint64 counted = sum(streams, "frames") + sum(streams, "damaged") + sum(streams, "lost");
    // A burst that is cut off has left the queue, and is no longer than that was.
    const qint64 ofOne = 2 * number(input, "peakQueuedBlocks") + codecDelay;
    // Of an input that has ended before its streams were decoded none is shown, though packets wait for both.
    const qint64 held = (streams.isEmpty() ? 2 : streams.size()) * ofOne;
    EXPECT_LE(number(input, "packets"), counted + held) << "packets that are neither frames nor damaged nor lost";
    if (isLive && counted > 0) {
        EXPECT_GE(number(input, "connections"), 1);
    }
    return errors;
}

/// Those of the inputs come first, then those of the outputs of inputs that were removed, which all name their file.
void expectErrorsRight(const QJsonArray &errors, const std::vector<std::string> &ofInputs, const QString &directory)
{
    ASSERT_GE(errors.size(), static_cast<int>(ofInputs.size()));
    for (int index = 0; index < errors.size(); ++index) {
        const std::string error = errors[index].toString().toStdString();
        if (index < static_cast<int>(ofInputs.size()))
            EXPECT_THAT(error, StartsWith(ofInputs[static_cast<std::size_t>(index)]));
        else
            EXPECT_THAT(error, AnyOf(StartsWith("cannot write " + directory.toStdString() + '/'),
                                     AllOf(StartsWith(directory.toStdString() + '/'),
                                           HasSubstr(".framemd5 did not take its last "))));
    }
}

} // namespace

void ReportSums::expectRight(const HostRun &run, const QString &directory)
{
    std::vector<std::string> errors;
    qint64 streams = 0;
    qint64 frames = 0;
    for (const QJsonValue &each : run.inputs()) {
        const QJsonObject input = each.toObject();
        SCOPED_TRACE(input["name"].toString().toStdString());
        const std::vector<std::string> ofInput = expectInputRight(input, directory);
        EXPECT_EQ(!ofInput.empty(), input["state"] == "failed" || input["state"] == "no-decoder") << "its state";
        errors.insert(errors.end(), ofInput.begin(), ofInput.end());
        streams += input["streams"].toArray().size();
        frames += sum(input["streams"].toArray(), "frames");
    }
    EXPECT_EQ(number(run.totals(), "inputs"), run.inputs().size());
    EXPECT_EQ(number(run.totals(), "streams"), streams);
    EXPECT_EQ(number(run.totals(), "frames"), frames);
    const QJsonArray reported = run.report["errors"].toArray();
    expectErrorsRight(reported, errors, directory);
    EXPECT_EQ(run.exitCode, run.report["interrupted"].toBool() ? 130 : reported.isEmpty() ? 0 : 1);
    EXPECT_EQ(run.exitCode, number(run.report, "exitCode"));
}
