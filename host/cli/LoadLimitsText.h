#ifndef HOST_CLI_LOADLIMITSTEXT_H
#define HOST_CLI_LOADLIMITSTEXT_H

#include <string>
#include <variant>

#include <decoding/Session.h>

/// The governor's limits as the user writes them.
namespace LoadLimitsText {

/// @param text `LOW:HIGH`, such as "0.6:0.9", in UTF-8: finite numbers with 0 < LOW < HIGH. HIGH may exceed 1.0: a
///        block that took long counts whole in the second it was finished in.
/// @return the limits, or one line that quotes @p text and says what is wrong.
[[nodiscard]] std::variant<decoding::LoadLimits, std::string> parse(const std::string &text);

} // namespace LoadLimitsText

#endif
