#ifndef HOST_SESSION_GOVERNORLIMITS_H
#define HOST_SESSION_GOVERNORLIMITS_H

#include <string>
#include <variant>

/// The CPU loads between which the governor leaves everything as it is. 1.0 is every usable core busy.
struct GovernorLimits {
    double low = 0.6;  // below it there is room to decode every block
    double high = 0.9; // above it there is too much to do; greater than low

    /// @param text `LOW:HIGH`, such as "0.6:0.9", in UTF-8: finite numbers with 0 < LOW < HIGH. HIGH may exceed 1.0: a
    ///        block that took long counts whole in the second it was finished in.
    /// @return the limits, or one line that quotes @p text and says what is wrong.
    [[nodiscard]] static std::variant<GovernorLimits, std::string> parse(const std::string &text);

    /// @return as people read it, such as "0.60:0.90".
    [[nodiscard]] std::string toText() const;
};

#endif
