#include "cli/ProbeRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

#include "cli/InputSpec.h"
#include "format/Fourcc.h"
#include "media/ShownUrl.h"
#include "sources/MediaProbe.h"
#include "terminal/DisplayText.h"

namespace {

double frameRate(const StreamDescription &stream)
{
    return stream.frameRateDenominator == 0
               ? 0
               : static_cast<double>(stream.frameRateNumerator) / stream.frameRateDenominator;
}

bool isDecoded(const MediaProbe &probe, const StreamDescription &stream)
{
    return stream.index == probe.videoIndex || stream.index == probe.audioIndex;
}

QString lineOf(const MediaProbe &probe, const StreamDescription &stream)
{
    QString line = QStringLiteral("  %1 %2 %3 ")
                       .arg(isDecoded(probe, stream) ? QLatin1Char('*') : QLatin1Char(' '))
                       .arg(stream.index, 3)
                       .arg(QString::fromStdString(stream.kind), -6);
    line += DisplayText::printable(stream.codec);
    if (stream.fourcc != 0)
        line += QStringLiteral(" (%1)").arg(QString::fromStdString(fourccText(stream.fourcc)));
    if (stream.width > 0)
        line += QStringLiteral(", %1x%2").arg(stream.width).arg(stream.height);
    if (frameRate(stream) > 0)
        line += QStringLiteral(", %1 fps").arg(frameRate(stream), 0, 'g', 5);
    if (stream.sampleRate > 0)
        line += QStringLiteral(", %1 Hz, %2")
                    .arg(stream.sampleRate)
                    .arg(DisplayText::counted(stream.channels, QStringLiteral("channel")));
    if (!stream.obstacle.empty())
        line += QStringLiteral(" - ") + DisplayText::printable(stream.obstacle);
    return line + QLatin1Char('\n');
}

QString textOf(const QString &shown, const MediaProbe &probe)
{
    QString text = QStringLiteral("%1: %2").arg(shown, DisplayText::printable(probe.container));
    if (probe.duration.count() >= 0)
        text += QStringLiteral(", %1 s").arg(static_cast<double>(probe.duration.count()) / 1000, 0, 'f', 2);
    text += QLatin1Char('\n');
    for (const StreamDescription &stream : probe.streams)
        text += lineOf(probe, stream);
    return text;
}

QJsonObject toObject(const MediaProbe &probe, const StreamDescription &stream)
{
    QJsonObject object{{QStringLiteral("index"), stream.index},
                       {QStringLiteral("kind"), QString::fromStdString(stream.kind)},
                       {QStringLiteral("codec"), QString::fromStdString(stream.codec)},
                       {QStringLiteral("decoded"), isDecoded(probe, stream)}};
    if (stream.fourcc != 0)
        object.insert(QStringLiteral("fourcc"), QString::fromStdString(fourccText(stream.fourcc)));
    if (stream.width > 0) {
        object.insert(QStringLiteral("width"), stream.width);
        object.insert(QStringLiteral("height"), stream.height);
        object.insert(QStringLiteral("frameRate"), frameRate(stream));
    }
    if (stream.sampleRate > 0) {
        object.insert(QStringLiteral("sampleRate"), stream.sampleRate);
        object.insert(QStringLiteral("channels"), stream.channels);
    }
    if (!stream.obstacle.empty())
        object.insert(QStringLiteral("obstacle"), QString::fromStdString(stream.obstacle));
    return object;
}

QJsonObject toObject(const QString &shown, const MediaProbe &probe)
{
    QJsonArray streams;
    for (const StreamDescription &stream : probe.streams)
        streams.append(toObject(probe, stream));
    QJsonObject object{{QStringLiteral("input"), shown},
                       {QStringLiteral("container"), QString::fromStdString(probe.container)},
                       {QStringLiteral("streams"), streams}};
    if (probe.duration.count() >= 0)
        object.insert(QStringLiteral("durationMs"), static_cast<qint64>(probe.duration.count()));
    return object;
}

} // namespace

ProbeRun::Result ProbeRun::run(const ProbeOptions &options)
{
    Result result;
    QString text;
    QJsonArray inputs;
    for (const std::string &input : options.inputs) {
        const InputSpec spec = InputSpec::parse(input);
        const QString shown = DisplayText::printable(ShownUrl::withoutSecrets(spec.url));
        const decoding::InputOptions own = spec.over({});
        const auto probed = MediaProbe::of(spec.url, {own.formatOptions, own.mayNameAnything});
        if (const std::string *const error = std::get_if<std::string>(&probed)) {
            result.errors.push_back(*error);
            inputs.append(QJsonObject{{QStringLiteral("input"), shown},
                                      {QStringLiteral("error"), QString::fromStdString(*error)}});
            continue;
        }
        const MediaProbe &probe = std::get<MediaProbe>(probed);
        text += textOf(shown, probe);
        inputs.append(toObject(shown, probe));
    }
    result.text = options.json ? QJsonDocument(inputs).toJson().toStdString() : text.toStdString();
    return result;
}
