#ifndef TESTS_HOST_SESSION_PROCESSFIGURES_H
#define TESTS_HOST_SESSION_PROCESSFIGURES_H

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

/// What this process has of the system, for Linux.
struct ProcessFigures {
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t descriptors = 0;
    long residentMegabytes = 0;

    static ProcessFigures now()
    {
        const auto entries = [](const char *directory) {
            return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
        };
        ProcessFigures figures;
        figures.threads = entries("/proc/self/task");
        figures.descriptors = entries("/proc/self/fd");
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages >> pages;
        figures.residentMegabytes = pages * sysconf(_SC_PAGESIZE) / (1 << 20);
        return figures;
    }
};

#endif
