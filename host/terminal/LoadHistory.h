#ifndef HOST_TERMINAL_LOADHISTORY_H
#define HOST_TERMINAL_LOADHISTORY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <decoding/Snapshot.h>

/// The CPU load of the last two minutes, a figure for each second's sample. Reentrant.
class LoadHistory final {
public:
    static constexpr std::size_t limit = 120;

    /// Keeps the present load if it was sampled since the last call. It may be called at any rate; of several samples
    /// since then, the last one is kept.
    void add(const decoding::Snapshot::Load &load);

    /// @return the newest @p count figures, or as many as there are, the oldest first.
    [[nodiscard]] std::vector<double> latest(std::size_t count) const;

    /// Draws the newest @p count figures, or as many as there are, as bars of eight heights, one character each, the
    /// oldest at the left. What is not a number is blank.
    /// @param unicode whether to draw with block characters rather than with ASCII's.
    [[nodiscard]] std::string bars(std::size_t count, bool unicode) const;

private:
    std::deque<double> _figures;
    std::int64_t _samples = 0; // at the last call
};

#endif
