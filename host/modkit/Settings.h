#ifndef HOST_MODKIT_SETTINGS_H
#define HOST_MODKIT_SETTINGS_H

#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/ISettings.h"

/// The host's settings: layers of texts by key, of which the one added first wins. Shared by ModkitPtr.
///
/// The host adds all layers before it hands the object out; from then on nothing changes and getInt is thread-safe.
/// Texts, keys and origins are UTF-8.
class Settings final : public ISettings {
public:
    /// The value is the text of the first layer that has @p key. It is an optional sign and decimal digits, blanks
    /// around them ignored. Any other text, or a number beyond 32 bits, is reported with qWarning in one line, which
    /// names the layer's origin, the key and the text, and @p defaultValue is returned: later layers are not asked.
    /// Running out of memory ends the process, because the interface allows no exception.
    std::int32_t getInt(const std::string &key, std::int32_t defaultValue) noexcept override;

    /// @return the text of the first layer that has @p key, as getInt reads it; nothing when no layer has it.
    [[nodiscard]] std::optional<std::string> text(const std::string &key) const;

    /// @param origin what a user calls the place where the values come from, such as "the command line".
    void addMap(std::map<std::string, std::string> values, const std::string &origin);

    /// Adds the process's environment variables whose names begin with @p prefix, as they are at this call: the rest
    /// of the name is the key. No other thread may change the environment during the call.
    void addEnvironment(const QString &prefix);

    /// Adds the keys of an INI file, those in a group as "group/key". A list of texts separated by commas is one text.
    /// @return nothing on success; otherwise one line that names the file and what is wrong with it, and no layer is
    ///         added. A format error is found only the first time that the process reads an unchanged file: treat it
    ///         as final.
    [[nodiscard]] std::optional<std::string> addIniFile(const QString &path);

private:
    struct Layer {
        std::string origin;
        std::map<std::string, std::string> values;
    };

    /// @return null when no layer has @p key.
    const Layer *firstLayerWith(const std::string &key) const;

    std::vector<Layer> _layers; // constant once the object is shared
};

#endif
