#include "media/DescriptorLimit.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unistd.h>

#include <sys/eventfd.h>
#include <sys/resource.h>

namespace {

/// A quarter of them, within these bounds.
constexpr rlim_t leastKept = 8;
constexpr rlim_t mostKept = 256;

rlim_t limit()
{
    rlimit limits = {};
    return getrlimit(RLIMIT_NOFILE, &limits) == 0 ? limits.rlim_cur : RLIM_INFINITY;
}

} // namespace

bool DescriptorLimit::hasRoomForInput()
{
    // The system gives the lowest number that is free.
    const int next = ::eventfd(0, EFD_CLOEXEC);
    if (next < 0)
        return !isReached(errno);
    ::close(next);
    const rlim_t all = limit();
    const rlim_t kept = std::clamp(all / 4, leastKept, mostKept);
    return static_cast<rlim_t>(next) + kept < all;
}

bool DescriptorLimit::isReached(int error)
{
    return error == EMFILE || error == ENFILE;
}

std::string DescriptorLimit::text(int error)
{
    std::string meaning = std::generic_category().message(error);
    if (error == EMFILE)
        return meaning + ": a process may have " + std::to_string(limit()) + " at once (ulimit -n)";
    if (error == ENFILE)
        return meaning + " (fs.file-max)";
    return meaning;
}
