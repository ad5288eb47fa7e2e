#include "cli/InputSpec.h"

#include <algorithm>

#include "media/ShownUrl.h"
#include "sources/LiveUrl.h"
#include <decoding/Error.h>

namespace {

bool isInScheme(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '.' || character == '-' || character == '+';
}

bool isInName(char character)
{
    return (isInScheme(character) && character != '+') || character == '_';
}

bool isUrl(const std::string &text)
{
    const std::size_t end = text.find("://");
    return LiveUrl::isLive(text) ||
           (end != std::string::npos && end > 0 &&
            std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), isInScheme));
}

} // namespace

InputSpec InputSpec::parse(const std::string &text)
{
    const std::size_t sign = text.find('=');
    const bool isPath = text.rfind('/', 0) == 0 || text.rfind('.', 0) == 0;
    // Files may have such a sign in their names.
    if (sign == std::string::npos || isPath || isUrl(text) || !isUrl(text.substr(sign + 1)))
        return {text, std::nullopt};
    const std::string name = text.substr(0, sign);
    if (name.empty() || !std::all_of(name.begin(), name.end(), isInName))
        throw decoding::Error(ShownUrl::withoutSecrets(text) +
                              ": what stands before the \"=\" is no name; use letters, digits, dots, dashes and "
                              "underscores");
    return {text.substr(sign + 1), name};
}

bool InputSpec::isLive() const
{
    return LiveUrl::isLive(url);
}
