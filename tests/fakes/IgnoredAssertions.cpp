#include "fakes/IgnoredAssertions.h"

#include <dlfcn.h>
#include <utility>

namespace {

bool isIgnoring = false;
std::vector<std::string> ignored;

} // namespace

IgnoredAssertions::IgnoredAssertions()
{
    isIgnoring = true;
}

IgnoredAssertions::~IgnoredAssertions()
{
    isIgnoring = false;
    ignored.clear();
}

std::vector<std::string> IgnoredAssertions::take()
{
    return std::exchange(ignored, {});
}

// The program's own definition goes before the one in the library. The library declares it as never returning, so it
// has another name in this file.
extern "C" void reportAssertion(const char *expression, const char *file, unsigned int line, const char *function) //
    __asm__("__assert_fail");

extern "C" void reportAssertion(const char *expression, const char *file, unsigned int line, const char *function)
{
    if (isIgnoring) {
        ignored.push_back(std::string(file) + ":" + std::to_string(line) + ": " + expression);
        return;
    }
    using Report = void(const char *, const char *, unsigned int, const char *);
    reinterpret_cast<Report *>(dlsym(RTLD_NEXT, "__assert_fail"))(expression, file, line, function);
}
