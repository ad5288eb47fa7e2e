#ifndef HOST_TERMINAL_LOADHISTORY_H
#define HOST_TERMINAL_LOADHISTORY_H

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

/// The CPU load of the last two minutes, a figure a second. Reentrant.
class LoadHistory final {
public:
    using Instant = std::chrono::steady_clock::time_point;
    static constexpr std::size_t limit = 120;

    /// Keeps @p load unless it comes too early: a figure is due a second after the one before it was, or, where that one was
    /// two seconds late or more, a second after it came. It may be called at any rate.
    /// @param load 1.0 is all there is; anything else, infinity and what is not a number included, is kept as it is.
    void add(double load, Instant now);

    /// @return the newest @p count figures, or as many as there are, the oldest first.
    [[nodiscard]] std::vector<double> latest(std::size_t count) const;

    /// Draws the newest @p count figures, or as many as there are, as bars of eight heights, one character each, the
    /// oldest at the left. What is not a number is blank.
    /// @param unicode whether to draw with block characters rather than with ASCII's.
    [[nodiscard]] std::string bars(std::size_t count, bool unicode) const;

private:
    std::deque<double> _figures;
    std::optional<Instant> _due; // the next figure; nothing before the first
};

#endif
