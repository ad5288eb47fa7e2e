#ifndef HOST_SESSION_HOSTSETTINGS_H
#define HOST_SESSION_HOSTSETTINGS_H

#include <string>
#include <variant>

#include "interfaces/ISettings.h"
#include "session/ComponentOptions.h"

/// Where the component's settings come from: the command line, then the environment variables DECODING_<KEY>, then the
/// INI file.
namespace HostSettings {

/// @return the settings; otherwise one line that names the file or the setting and what is wrong with it.
[[nodiscard]] std::variant<ModkitPtr<ISettings>, std::string> collect(const ComponentOptions &options);

} // namespace HostSettings

#endif
