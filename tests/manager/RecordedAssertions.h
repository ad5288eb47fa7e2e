#ifndef MANAGER_RECORDEDASSERTIONS_H
#define MANAGER_RECORDEDASSERTIONS_H

#include <functional>
#include <stdexcept>
#include <string>

#include "strata/base/modkit/modkit"

/// While it lives, hands failed assertions, as "DecodingManager:156: expression", to a function that may return or
/// throw. One at a time.
class RecordedAssertions {
public:
    using Reaction = std::function<void(const std::string &assertion)>;

    explicit RecordedAssertions(const Reaction &reaction)
    {
        current() = reaction;
        ModkitAssertionHandler = [](const char *expression, const char *file, int line) {
            current()(std::string(file) + ":" + std::to_string(line) + ": " + expression);
        };
    }
    ~RecordedAssertions() { ModkitAssertionHandler = &ModkitReportToRuntime; }
    RecordedAssertions(const RecordedAssertions &) = delete;
    RecordedAssertions &operator=(const RecordedAssertions &) = delete;

private:
    static Reaction &current()
    {
        static Reaction reaction;
        return reaction;
    }
};

#endif
