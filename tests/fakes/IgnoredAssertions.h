#ifndef FAKES_IGNOREDASSERTIONS_H
#define FAKES_IGNOREDASSERTIONS_H

#include <string>
#include <vector>

/// While it lives, the C runtime's report of a failed assertion returns, as that of some runtimes does when a person
/// chooses to ignore it; in the libraries that the program loads, too. One at a time, on one thread. On Linux only.
class IgnoredAssertions {
public:
    IgnoredAssertions();
    ~IgnoredAssertions();
    IgnoredAssertions(const IgnoredAssertions &) = delete;
    IgnoredAssertions &operator=(const IgnoredAssertions &) = delete;

    /// The assertions since the last take, as "DecodingManager:156: expression".
    std::vector<std::string> take();
};

#endif
