#include "cli/DecodeReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "cli/ExitCode.h"
#include "cli/ReportText.h"
#include "media/ClockTime.h"
#include "terminal/DisplayText.h"

using decoding::Snapshot;
using DisplayText::counted;
using DisplayText::grouped;

namespace {

constexpr int gap = 2; // characters between two columns
constexpr int minNameWidth = 12;
constexpr int textColumns = 3; // the first ones; the others hold numbers, which stand at the right

using Row = std::array<QString, 10>;

/// Qt takes its own type for numbers of this size only, and which that is differs with the system.
qint64 asQint64(std::int64_t number)
{
    return static_cast<qint64>(number);
}

/// Over the time that the input's decoders worked; of a live input, from the first frame on.
double framesPerSecond(const Snapshot::Input &input, const Snapshot::Stream &stream)
{
    const auto timeMs = (input.live ? stream.delivering : input.decoding).count();
    return timeMs > 0 ? static_cast<double>(stream.frames) * 1000 / static_cast<double>(timeMs) : 0;
}

/// That the decoder was given nothing until any of its outputs had room.
qint64 waitedMs(const Snapshot::Stream &stream)
{
    qint64 sumMs = 0;
    for (const Snapshot::Output &output : stream.outputs)
        sumMs += asQint64(output.waitedMs);
    return sumMs;
}

/// Frames, by its outputs.
qint64 dropped(const Snapshot::Stream &stream)
{
    qint64 sum = 0;
    for (const Snapshot::Output &output : stream.outputs)
        sum += asQint64(output.dropped);
    return sum;
}

QString latencyOf(const Snapshot::Input &input)
{
    return input.latency ? grouped(input.latency->averageMs, 1) + QStringLiteral(" / ") +
                               grouped(asQint64(input.latency->maximumMs))
                         : QStringLiteral("-");
}

Row rowOf(const Snapshot::Input &input, const Snapshot::Stream &stream)
{
    // Measured for the whole input; of a stream without a decoder there is nothing to measure.
    const auto first = std::find_if(input.streams.begin(), input.streams.end(),
                                    [](const Snapshot::Stream &each) { return each.missingCodec.empty(); });
    const bool hasLatency = &stream == &(first == input.streams.end() ? input.streams.front() : *first);
    const QString form = DisplayText::printable(stream.form());
    return {DisplayText::printable(input.name),
            QString::fromStdString(stream.kind),
            stream.missingCodec.empty() ? form : form + QStringLiteral(", no decoder"),
            grouped(asQint64(stream.frames)),
            grouped(asQint64(stream.damaged)),
            grouped(asQint64(stream.lost)),
            grouped(framesPerSecond(input, stream), 1),
            hasLatency ? latencyOf(input) : QString(),
            grouped(waitedMs(stream)),
            grouped(dropped(stream))};
}

QString percent(double share)
{
    return grouped(share * 100, 0) + QStringLiteral(" %");
}

QString seconds(qint64 timeMs)
{
    return grouped(static_cast<double>(timeMs) / 1000, 2) + QStringLiteral(" s");
}

QString joined(const std::vector<std::string> &texts)
{
    QStringList list;
    for (const std::string &text : texts)
        list.append(QString::fromStdString(text));
    return list.join(QStringLiteral(", "));
}

QJsonValue orNull(const std::optional<std::string> &text)
{
    return text ? QJsonValue(QString::fromStdString(*text)) : QJsonValue();
}

QJsonValue toValue(const std::optional<Snapshot::Trouble> &trouble)
{
    if (!trouble)
        return QJsonValue();
    return QJsonObject{{QStringLiteral("at"), QString::fromStdString(ClockTime::full(trouble->at))},
                       {QStringLiteral("text"), QString::fromStdString(trouble->text)}};
}

QJsonObject toObject(const Snapshot::Output &output)
{
    return {{QStringLiteral("kind"), QString::fromStdString(output.kind)},
            {QStringLiteral("frames"), asQint64(output.frames)},
            {QStringLiteral("dropped"), asQint64(output.dropped)},
            {QStringLiteral("nullBlocks"), asQint64(output.nullBlocks)},
            {QStringLiteral("bytes"), asQint64(output.bytes)},
            {QStringLiteral("notWritten"), asQint64(output.failed)},
            {QStringLiteral("waitedMs"), asQint64(output.waitedMs)},
            {QStringLiteral("error"), orNull(output.error)}};
}

QJsonObject toObject(const Snapshot::Input &input, const Snapshot::Stream &stream)
{
    QJsonArray outputs;
    for (const Snapshot::Output &output : stream.outputs)
        outputs.append(toObject(output));
    return {{QStringLiteral("index"), stream.index},
            {QStringLiteral("kind"), QString::fromStdString(stream.kind)},
            {QStringLiteral("codec"), QString::fromStdString(stream.codec)},
            {QStringLiteral("width"), stream.width},
            {QStringLiteral("height"), stream.height},
            {QStringLiteral("state"), QString::fromLatin1(toText(input.stateOf(stream)))},
            {QStringLiteral("frames"), asQint64(stream.frames)},
            {QStringLiteral("damaged"), asQint64(stream.damaged)},
            {QStringLiteral("lost"), asQint64(stream.lost)},
            {QStringLiteral("durationMs"), asQint64(input.decoding.count())},
            {QStringLiteral("framesPerSecond"), framesPerSecond(input, stream)},
            {QStringLiteral("waitedMs"), waitedMs(stream)},
            {QStringLiteral("notWritten"), asQint64(stream.notWritten())},
            {QStringLiteral("lastError"), toValue(stream.lastError)},
            {QStringLiteral("outputs"), outputs}};
}

QJsonObject toObject(const Snapshot::Input &input)
{
    QJsonArray streams;
    for (const Snapshot::Stream &stream : input.streams)
        streams.append(toObject(input, stream));
    QJsonValue latency;
    if (input.latency)
        latency = QJsonObject{{QStringLiteral("average"), input.latency->averageMs},
                              {QStringLiteral("maximum"), asQint64(input.latency->maximumMs)}};
    return {{QStringLiteral("name"), QString::fromStdString(input.name)},
            {QStringLiteral("live"), input.live},
            {QStringLiteral("state"), QString::fromLatin1(toText(input.state))},
            {QStringLiteral("connections"), asQint64(input.connections)},
            {QStringLiteral("packets"), asQint64(input.packets)},
            {QStringLiteral("bytes"), asQint64(input.bytes)},
            {QStringLiteral("peakQueuedBlocks"), asQint64(input.peakQueuedBlocks)},
            {QStringLiteral("peakQueuedBytes"), asQint64(input.peakQueuedBytes)},
            {QStringLiteral("latencyMs"), latency},
            {QStringLiteral("error"), orNull(input.error)},
            {QStringLiteral("lastError"), toValue(input.lastError)},
            {QStringLiteral("streams"), streams}};
}

/// @return null when the run was too short for a sample.
QJsonValue toValue(const Snapshot::Load &load)
{
    if (load.samples == 0)
        return QJsonValue();
    return QJsonObject{{QStringLiteral("average"), load.average}, {QStringLiteral("maximum"), load.maximum}};
}

} // namespace

std::vector<std::string> DecodeReport::allErrors() const
{
    std::vector<std::string> all;
    for (const Snapshot::Input &input : snapshot.inputs) {
        for (std::string &error : input.errors())
            all.push_back(std::move(error));
    }
    all.insert(all.end(), removedOutputErrors.begin(), removedOutputErrors.end());
    for (const QString &left : leftBehind())
        all.push_back("the component left " + left.toStdString());
    return all;
}

QStringList DecodeReport::leftBehind() const
{
    QStringList left;
    if (!remains.published.empty())
        left.append(QStringLiteral("%1 published: %2")
                        .arg(counted(static_cast<qint64>(remains.published.size()), QStringLiteral("identifier")),
                             joined(remains.published)));
    if (!remains.threads.empty())
        left.append(counted(static_cast<qint64>(remains.threads.size()), QStringLiteral("thread")));
    if (!objectsLeft.empty()) {
        qint64 objectCount = 0;
        std::vector<std::string> types;
        for (const auto &[type, count] : objectsLeft) {
            objectCount += static_cast<qint64>(count);
            types.push_back(std::to_string(count) + " of " + type);
        }
        left.append(QStringLiteral("%1: %2").arg(counted(objectCount, QStringLiteral("object")), joined(types)));
    }
    if (slabBlocksLeft > 0)
        left.append(counted(slabBlocksLeft, QStringLiteral("big block")));
    return left;
}

int DecodeReport::exitCode() const
{
    if (interrupted)
        return ExitCode::interrupted;
    return allErrors().empty() ? ExitCode::success : ExitCode::failure;
}

std::string DecodeReport::toText(int width) const
{
    QString text = QString::fromStdString(table(width));
    text += ReportText::line("total",
                             QStringLiteral("%1, %2, %3 in %4%5")
                                 .arg(counted(static_cast<qint64>(snapshot.inputs.size()), QStringLiteral("input")),
                                      counted(streamCount(), QStringLiteral("stream")),
                                      counted(frameCount(), QStringLiteral("frame")), seconds(wallTimeMs),
                                      interrupted ? QStringLiteral(", interrupted") : QString()));
    text += ReportText::line("processor",
                             QStringLiteral("%1 of CPU time, %2 of %3")
                                 .arg(seconds(cpuTimeMs), percent(cpuShare()), counted(cores, QStringLiteral("core"))));
    if (snapshot.measuredLoad.samples > 0)
        text += ReportText::line(
            "load", QStringLiteral("%1 measured, at most %2")
                        .arg(percent(snapshot.measuredLoad.average), percent(snapshot.measuredLoad.maximum)));
    if (snapshot.load.samples > 0)
        text += ReportText::line("load", QStringLiteral("%1 by the component's count, at most %2")
                                             .arg(percent(snapshot.load.average), percent(snapshot.load.maximum)));
    text += ReportText::line("memory",
                             grouped(static_cast<double>(peakMemoryBytes) / 1e6, 1) + QStringLiteral(" MB at most"));

    const QStringList left = leftBehind();
    text += ReportText::line("left", left.isEmpty() ? QStringLiteral("nothing") : left.join(QStringLiteral("; ")));
    for (const std::string &error : allErrors())
        text += ReportText::line("error", QString::fromStdString(error));
    return text.toStdString();
}

std::string DecodeReport::table(int width) const
{
    std::vector<Row> rows{{QStringLiteral("input"), QStringLiteral("stream"), QStringLiteral("codec"),
                           QStringLiteral("frames"), QStringLiteral("damaged"), QStringLiteral("lost"),
                           QStringLiteral("fps"), QStringLiteral("latency ms"), QStringLiteral("waited ms"),
                           QStringLiteral("dropped")}};
    for (const Snapshot::Input &input : snapshot.inputs) {
        for (const Snapshot::Stream &stream : input.streams)
            rows.push_back(rowOf(input, stream));
    }

    std::array<int, std::tuple_size_v<Row>> widths{};
    for (const Row &row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    int othersWidth = 0;
    for (std::size_t column = 1; column < widths.size(); ++column)
        othersWidth += gap + widths[column];
    widths[0] = std::min(widths[0], std::max(width - othersWidth, minNameWidth));

    QString text;
    for (Row &row : rows) {
        row[0] = DisplayText::shortenedAtLeft(row[0], widths[0]);
        for (std::size_t column = 0; column < row.size(); ++column)
            row[column] = column < textColumns ? row[column].leftJustified(widths[column])
                                               : row[column].rightJustified(widths[column]);
        text += QStringList(row.begin(), row.end()).join(QString(gap, QLatin1Char(' '))) + QLatin1Char('\n');
    }
    return text.toStdString();
}

qint64 DecodeReport::streamCount() const
{
    std::size_t count = 0;
    for (const Snapshot::Input &input : snapshot.inputs)
        count += input.streams.size();
    return static_cast<qint64>(count);
}

qint64 DecodeReport::frameCount() const
{
    qint64 count = 0;
    for (const Snapshot::Input &input : snapshot.inputs) {
        for (const Snapshot::Stream &stream : input.streams)
            count += asQint64(stream.frames);
    }
    return count;
}

double DecodeReport::cpuShare() const
{
    return wallTimeMs > 0 ? static_cast<double>(cpuTimeMs) / (static_cast<double>(wallTimeMs) * cores) : 0;
}

std::string DecodeReport::toJson() const
{
    QJsonArray inputArray;
    for (const Snapshot::Input &input : snapshot.inputs)
        inputArray.append(toObject(input));
    QJsonObject objects;
    for (const auto &[type, count] : objectsLeft)
        objects.insert(QString::fromStdString(type), static_cast<qint64>(count));
    QJsonArray threads;
    for (const int thread : remains.threads)
        threads.append(thread);
    const QJsonObject report{
        {QStringLiteral("exitCode"), exitCode()},
        {QStringLiteral("interrupted"), interrupted},
        {QStringLiteral("inputs"), inputArray},
        {QStringLiteral("errors"), ReportText::array(allErrors())},
        {QStringLiteral("totals"), QJsonObject{{QStringLiteral("inputs"), static_cast<qint64>(snapshot.inputs.size())},
                                               {QStringLiteral("streams"), streamCount()},
                                               {QStringLiteral("frames"), frameCount()},
                                               {QStringLiteral("wallTimeMs"), wallTimeMs},
                                               {QStringLiteral("cpuTimeMs"), cpuTimeMs},
                                               {QStringLiteral("cpuShare"), cpuShare()},
                                               {QStringLiteral("cores"), cores},
                                               {QStringLiteral("peakMemoryBytes"), peakMemoryBytes},
                                               {QStringLiteral("componentCpuLoad"), toValue(snapshot.load)},
                                               {QStringLiteral("measuredCpuLoad"), toValue(snapshot.measuredLoad)}}},
        {QStringLiteral("afterStop"), QJsonObject{{QStringLiteral("published"), ReportText::array(remains.published)},
                                                  {QStringLiteral("threads"), threads},
                                                  {QStringLiteral("liveObjects"), objects},
                                                  {QStringLiteral("bigBlocks"), slabBlocksLeft}}},
    };
    return QJsonDocument(report).toJson().toStdString();
}
