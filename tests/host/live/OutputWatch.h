#ifndef TESTS_HOST_LIVE_OUTPUTWATCH_H
#define TESTS_HOST_LIVE_OUTPUTWATCH_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

/// Sees how long files that a program writes to all the time stand still.
class OutputWatch final {
public:
    explicit OutputWatch(const std::vector<std::string> &files)
    {
        for (const std::string &file : files)
            _files.push_back({file, sizeOf(file), Clock::now()});
        _thread = std::thread([this] { run(); });
    }
    ~OutputWatch() { end(); }
    OutputWatch(const OutputWatch &) = delete;
    OutputWatch &operator=(const OutputWatch &) = delete;

    /// @return the longest that one of them did not grow before it grew again.
    std::chrono::milliseconds end()
    {
        _ending = true;
        if (_thread.joinable())
            _thread.join();
        return std::chrono::duration_cast<std::chrono::milliseconds>(_worst);
    }

private:
    using Clock = std::chrono::steady_clock;

    struct File {
        std::string name;
        off_t size;
        Clock::time_point grownAt;
    };

    static off_t sizeOf(const std::string &name)
    {
        struct stat status = {};
        return stat(name.c_str(), &status) == 0 ? status.st_size : 0;
    }

    void run()
    {
        while (!_ending) {
            for (File &file : _files) {
                const off_t size = sizeOf(file.name);
                if (std::exchange(file.size, size) == size)
                    continue;
                const Clock::time_point now = Clock::now();
                _worst = std::max(_worst, now - std::exchange(file.grownAt, now));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    std::vector<File> _files;
    std::atomic<bool> _ending{false};
    Clock::duration _worst{0};
    std::thread _thread;
};

#endif
