#include "terminal/LineOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::size_t maxWaitingBytes = 256 << 10;
constexpr std::size_t maxPieceBytes = PIPE_BUF; // for which a pipe has room if it has any

} // namespace

LineOutput::LineOutput(int descriptor)
    : _descriptor(descriptor)
{
}

void LineOutput::write(const std::string &lines)
{
    if (writeOn() || _waiting.size() + lines.size() <= maxWaitingBytes)
        _waiting += lines;
    writeOn();
}

bool LineOutput::writeOn()
{
    return writeFor(0);
}

int LineOutput::finish(std::optional<std::chrono::milliseconds> patience)
{
    if (!writeFor(patience ? static_cast<int>(patience->count()) : -1) && _error == 0)
        _error = ETIMEDOUT;
    return _error;
}

/// Writes until there has been no room for so long. @return whether nothing waits any more.
bool LineOutput::writeFor(int timeoutMs)
{
    while (!_waiting.empty()) {
        pollfd room = {_descriptor, POLLOUT, 0};
        const int found = ::poll(&room, 1, timeoutMs);
        if (found == 0)
            return false;
        const ssize_t written =
            found > 0 ? ::write(_descriptor, _waiting.data(), std::min(_waiting.size(), maxPieceBytes)) : -1;
        if (written >= 0) {
            _waiting.erase(0, static_cast<std::size_t>(written));
        } else if (errno == EAGAIN && timeoutMs == 0) {
            return false;
        } else if (errno != EINTR && errno != EAGAIN) {
            _error = errno;
            _waiting.clear();
        }
    }
    return true;
}
