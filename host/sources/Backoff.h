#ifndef HOST_SOURCES_BACKOFF_H
#define HOST_SOURCES_BACKOFF_H

#include <chrono>
#include <random>

/// How long to wait before each further attempt: twice as long as before the one before, up to a limit, and each time
/// by up to a third more or less, so that many who lost one server do not all come back at once. Reentrant.
class Backoff final {
public:
    /// @param first before the first attempt, and @p last, not less, at most; both before their variation.
    /// @param seed of the variation.
    Backoff(std::chrono::milliseconds first, std::chrono::milliseconds last, std::mt19937::result_type seed);

    /// @return the time to wait before the next attempt.
    std::chrono::milliseconds next();

    /// An attempt was successful: the next time begins with the first delay again.
    void reset() { _delay = _first; }

private:
    const std::chrono::milliseconds _first;
    const std::chrono::milliseconds _last;
    std::chrono::milliseconds _delay; // the next one, before its variation
    std::mt19937 _random;
};

#endif
