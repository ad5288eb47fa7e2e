#ifndef HOST_TERMINAL_DISPLAYTEXT_H
#define HOST_TERMINAL_DISPLAYTEXT_H

#include <QString>

#include <string>

/// Texts and numbers as people are shown them. Widths are in characters; all operations are thread-safe.
namespace DisplayText {

/// @return @p text (UTF-8) as SafeText makes it.
[[nodiscard]] QString printable(const std::string &text);

/// @return @p text; when it is wider than @p width, its end, with three dots for what is left out.
[[nodiscard]] QString shortenedAtLeft(const QString &text, int width);

/// @return the number with commas between its thousands and a point before its decimals.
[[nodiscard]] QString grouped(qint64 number);
[[nodiscard]] QString grouped(double number, int decimals);

/// @return the number, with a noun that takes an s unless the number is 1.
[[nodiscard]] QString counted(qint64 number, const QString &noun);

} // namespace DisplayText

#endif
