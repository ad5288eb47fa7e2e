#ifndef HOST_TERMINAL_BOARDFIGURES_H
#define HOST_TERMINAL_BOARDFIGURES_H

#include <QtGlobal>

#include <chrono>
#include <optional>
#include <string>

/// Figures as the board shows them, in ASCII and with a point before the decimals whatever the locale. All operations
/// are thread-safe.
namespace BoardFigures {

/// @return @p number with commas between its thousands; without them where it would be wider than @p width; and else
///         rounded down to thousands (k), millions (M) and so on.
[[nodiscard]] std::string count(qint64 number, int width);

/// @return with one decimal below 1000; a dash for nothing and for what is not a number.
[[nodiscard]] std::string rate(std::optional<double> perSecond);

/// @return the figure without a unit, in whole seconds ("123s") where it has more than five digits; a dash for nothing.
[[nodiscard]] std::string milliseconds(std::optional<qint64> ms);

/// @return from "0 %" to "999 %"; a dash for what is not a number.
[[nodiscard]] std::string percent(double share);

/// @return "0:12:34" or "3 d 0:12:34".
[[nodiscard]] std::string clock(std::chrono::milliseconds time);

} // namespace BoardFigures

#endif
