#include "cli/InputSpec.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "media/ShownUrl.h"
#include "sources/FormatOptions.h"
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

/// An input, and what stands behind it in "#{" and "}".
struct Parts {
    std::string input;
    std::string options;
    bool hasOptions = false;
};

const std::string optionsBegin = "#{";

Parts partsOf(const std::string &text)
{
    const std::size_t begin = text.rfind(optionsBegin);
    if (begin == std::string::npos || text.back() != '}')
        return {text, std::string()};
    const std::size_t first = begin + optionsBegin.size();
    return {text.substr(0, begin), text.substr(first, text.size() - first - 1), true};
}

/// @return what @p text, without options, means.
InputSpec named(const std::string &text)
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

/// @throws decoding::Error unless @p word is one of the host's or of libavformat's.
void checkWord(const std::string &word, const std::string &url)
{
    // What devices take is not known before they are opened.
    if (InputWords::isWord(word) || (LiveUrl::isLive(url) && LiveUrl(url).isOfDevice()))
        return;
    const std::vector<std::string> names = FormatOptions::names();
    if (std::find(names.begin(), names.end(), word) == names.end())
        throw decoding::Error("there is no option \"" + word + "\" of an input; the nearest is \"" +
                              InputWords::nearest(word, names) + '"');
}

} // namespace

InputSpec InputSpec::parse(const std::string &text, const std::optional<std::string> &given)
{
    const Parts parts = partsOf(text);
    InputSpec input = given ? InputSpec{parts.input, given} : named(parts.input);
    const std::string shown = ShownUrl::withoutSecrets(input.url) + ": ";
    // Shells and people lose a bracket sooner than an address has one.
    if (!parts.hasOptions && ShownUrl::isAddress(input.url) && input.url.find(optionsBegin) != std::string::npos)
        throw decoding::Error(shown + "the options behind \"#{\" do not end with \"}\"");
    try {
        input.settings = InputWords::parse(parts.options);
        for (const InputWords::Setting &setting : input.settings)
            checkWord(setting.word, input.url);
    } catch (const decoding::Error &error) {
        throw decoding::Error(shown + error.what());
    }
    return input;
}

std::string InputSpec::completed(const std::string &text)
{
    const Parts parts = partsOf(text);
    const std::string path = LiveUrl::pathOf(parts.input);
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        return text;
    return parts.input.substr(0, parts.input.size() - path.size()) +
           std::filesystem::absolute(path, error).lexically_normal().string() + text.substr(parts.input.size());
}

decoding::InputOptions InputSpec::over(decoding::InputOptions options) const
{
    options.name = name.value_or(std::string());
    try {
        InputWords::setAll(options, settings);
    } catch (const decoding::Error &error) {
        throw decoding::Error(ShownUrl::withoutSecrets(url) + ": " + error.what());
    }
    return options;
}

bool InputSpec::hasOutputs() const
{
    return std::any_of(settings.begin(), settings.end(), [](const auto &setting) { return setting.word == "output"; });
}

bool InputSpec::isLive() const
{
    return LiveUrl::isLive(url);
}
