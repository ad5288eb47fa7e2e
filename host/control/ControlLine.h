#ifndef HOST_CONTROL_CONTROLLINE_H
#define HOST_CONTROL_CONTROLLINE_H

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

/// The lines of the control protocol, which docs/control.md describes, without their ends. All operations are
/// thread-safe.
namespace ControlLine {

/// The longest request, in bytes without its end.
constexpr std::size_t maxRequestBytes = 65536;

/// @return the words of a request, or one line that says what is wrong with it: it is not UTF-8, holds control
///         characters, or a quotation mark has no counterpart.
[[nodiscard]] std::variant<std::vector<std::string>, std::string> split(const std::string &request);

/// @return the request that is split into @p words again, as long as these are UTF-8 without control characters.
[[nodiscard]] std::string join(const std::vector<std::string> &words);

/// The last line of an answer: all is done.
constexpr const char *okLine = "ok";
/// The beginning of the last line of an answer that tells a failure.
constexpr const char *errorMark = "error ";
/// The beginning of every other line of an answer.
constexpr char dataMark = ' ';

/// @return one field of a line of tab-separated fields: @p text as SafeText makes it, which ends neither the line nor
///         the field.
[[nodiscard]] std::string field(const std::string &text);

/// @return @p line, which holds tab-separated fields of somebody else, with each of them as `field` makes it.
[[nodiscard]] std::string fields(const std::string &line);

} // namespace ControlLine

#endif
