#ifndef FAKES_RUNTIMEREPORT_H
#define FAKES_RUNTIMEREPORT_H

#include <string>

#include <gmock/gmock.h>

/// Matches what the C runtime writes for a failed assertion with these three texts, before it ends the process.
inline auto isRuntimeReport(const std::string &expression, const std::string &file, int line)
{
#if defined(_WIN32)
    return testing::HasSubstr("Assertion failed: " + expression + ", file " + file + ", line " + std::to_string(line));
#else
    return testing::HasSubstr(file + ":" + std::to_string(line) + ": Assertion `" + expression + "' failed.");
#endif
}

#endif
