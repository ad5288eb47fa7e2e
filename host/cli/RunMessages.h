#ifndef HOST_CLI_RUNMESSAGES_H
#define HOST_CLI_RUNMESSAGES_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include <decoding/Snapshot.h>

/// What a run tells people, in the order in which it came: the session's messages and those of the program itself.
/// Thread-safe; waits for nobody.
class RunMessages final {
public:
    using Message = decoding::Snapshot::Message;

    void add(const Message &message);
    /// @param text one line, of this moment.
    void add(const std::string &text);

    /// @return a line for each that came since the last call, which begins with the time at which it came.
    std::vector<std::string> take();

    /// @return the last ones, numbered as they came, for whoever shows them with the state of the session.
    std::vector<Message> latest() const;

private:
    mutable std::mutex _mutex; // guards the rest
    std::vector<std::string> _new;
    std::vector<Message> _latest;
    std::int64_t _count = 0;
};

#endif
