#ifndef FAKES_CALLLOG_H
#define FAKES_CALLLOG_H

#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// What fakes were called with, in order, over all of them. Thread-safe.
class CallLog {
public:
    void add(const std::string &call)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _calls.push_back(call);
    }

    /// The calls since the last take.
    std::vector<std::string> take()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return std::exchange(_calls, {});
    }

private:
    std::mutex _mutex;
    std::vector<std::string> _calls;
};

#endif
