#include "ResourceUse.h"

#include <fstream>
#include <string>

#include <sys/resource.h>

ResourceUse::ResourceUse()
    : _processorSecondsBefore(processSeconds())
    , _begin(std::chrono::steady_clock::now())
{
}

double ResourceUse::wallSeconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _begin).count();
}

double ResourceUse::processSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

long ResourceUse::peakMemoryKb()
{
    // Not ru_maxrss, which counts the process that this one was forked from, too.
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long kilobytes = 0;
        if (word == "VmHWM:" && status >> kilobytes)
            return kilobytes;
    }
    return 0;
}
