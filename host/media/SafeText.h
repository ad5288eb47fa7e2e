#ifndef HOST_MEDIA_SAFETEXT_H
#define HOST_MEDIA_SAFETEXT_H

#include <QString>

#include <string>

/// Texts of others, such as file names and what cameras answer, made safe to be shown. Whatever prints such a text, on
/// a terminal, into a log or into a line of a protocol, takes it through here. All operations are thread-safe.
///
/// A question mark stands for each character that could end the line, move the cursor, command the terminal, turn the
/// direction of writing, or that nobody would see: control and format characters, line and paragraph separators; for
/// what no font or program is bound to know: unassigned and private characters; and for what is not UTF-8.
namespace SafeText {

/// @param text UTF-8, or meant to be.
[[nodiscard]] QString of(const std::string &text);

/// @return the same in UTF-8.
[[nodiscard]] std::string utf8(const std::string &text);

} // namespace SafeText

#endif
