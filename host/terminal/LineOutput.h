#ifndef HOST_TERMINAL_LINEOUTPUT_H
#define HOST_TERMINAL_LINEOUTPUT_H

#include <chrono>
#include <optional>
#include <string>

/// Lines for a descriptor that may take nothing for a while, such as a pipe to a pager. What it does not take waits, a
/// few hundred KB of it; more is left out. Thread-bound; only `finish` waits.
class LineOutput final {
public:
    /// @param descriptor outlives this, and may block.
    explicit LineOutput(int descriptor);

    /// Writes @p lines behind those that wait, as far as there is room.
    void write(const std::string &lines);
    /// Writes what waits, as far as there is room. @return whether it was all.
    bool writeOn();
    /// Writes what waits, and gives up what finds no room for @p patience, if given. @return an `errno`: what has ever
    /// gone wrong; 0: nothing; ETIMEDOUT: it was given up.
    [[nodiscard]] int finish(std::optional<std::chrono::milliseconds> patience);

private:
    bool writeFor(int timeoutMs);

    const int _descriptor;
    std::string _waiting;
    int _error = 0;
};

#endif
