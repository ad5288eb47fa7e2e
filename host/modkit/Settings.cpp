#include "modkit/Settings.h"

#include <QDebug>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <utility>

namespace {

std::string textOf(const QVariant &value)
{
    // QSettings splits a text at its commas; put together again it can at least be shown to the user.
    const QString text = value.type() == QVariant::StringList ? value.toStringList().join(',') : value.toString();
    return text.toStdString();
}

} // namespace

std::int32_t Settings::getInt(const std::string &key, std::int32_t defaultValue) noexcept
{
    const Layer *const layer = firstLayerWith(key);
    if (!layer)
        return defaultValue;
    const QString text = QString::fromStdString(layer->values.at(key));
    bool isInteger = false;
    const int value = text.toInt(&isInteger);
    if (isInteger)
        return value;
    // The quotes of the debug stream escape line ends inside a text, so this stays one line.
    qWarning().nospace() << "Settings from " << QString::fromStdString(layer->origin) << ": key "
                         << QString::fromStdString(key) << " holds " << text
                         << ", which is not a 32-bit decimal integer; the default " << defaultValue
                         << " is used instead";
    return defaultValue;
}

std::optional<std::string> Settings::text(const std::string &key) const
{
    const Layer *const layer = firstLayerWith(key);
    return layer ? std::optional<std::string>(layer->values.at(key)) : std::nullopt;
}

void Settings::addMap(std::map<std::string, std::string> values, const std::string &origin)
{
    _layers.push_back({origin, std::move(values)});
}

void Settings::addEnvironment(const QString &prefix)
{
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    std::map<std::string, std::string> values;
    for (const QString &variable : environment.keys()) {
        if (variable.startsWith(prefix))
            values[variable.mid(prefix.size()).toStdString()] = environment.value(variable).toStdString();
    }
    addMap(std::move(values), "environment variables " + prefix.toStdString() + "*");
}

std::optional<std::string> Settings::addIniFile(const QString &path)
{
    const auto failure = [&path](const char *reason) {
        return "Settings file \"" + path.toStdString() + "\" " + reason;
    };
    const QFileInfo file(path);
    if (!file.exists())
        return failure("does not exist");
    if (!file.isFile())
        return failure("is not a file");
    QSettings ini(file.absoluteFilePath(), QSettings::IniFormat);
    ini.setIniCodec("UTF-8");
    const QStringList keys = ini.allKeys();
    if (ini.status() == QSettings::AccessError)
        return failure("cannot be read: check its permissions");
    if (ini.status() == QSettings::FormatError)
        return failure("has a format error: every line must be \"[group]\", \"key=value\" or a comment after \";\"");
    std::map<std::string, std::string> values;
    for (const QString &key : keys)
        values[key.toStdString()] = textOf(ini.value(key));
    addMap(std::move(values), path.toStdString());
    return std::nullopt;
}

const Settings::Layer *Settings::firstLayerWith(const std::string &key) const
{
    for (const Layer &layer : _layers) {
        if (layer.values.count(key) != 0)
            return &layer;
    }
    return nullptr;
}
