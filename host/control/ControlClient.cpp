#include "control/ControlClient.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <system_error>
#include <variant>

#include "control/ControlAddress.h"
#include "control/ControlLine.h"
#include "control/ControlRequest.h"
#include "control/Descriptor.h"
#include <sys/socket.h>

namespace {

using Clock = std::chrono::steady_clock;
using ControlClient::Answer;

constexpr std::chrono::milliseconds crowdedRetry(20);

/// One exchange with the host at a path, until a deadline. Each step returns nothing on success.
class Exchange final {
public:
    using Error = std::optional<std::string>;

    Exchange(const std::string &path, std::chrono::milliseconds timeout)
        : _path(path)
        , _timeout(timeout)
        , _deadline(Clock::now() + timeout)
    {
    }

    Error connect()
    {
        const auto address = ControlAddress::of(_path);
        if (const std::string *const error = std::get_if<std::string>(&address))
            return *error;
        _socket = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!_socket.isOpen())
            return failure();
        const auto *const plain = reinterpret_cast<const sockaddr *>(&std::get<sockaddr_un>(address));
        while (::connect(_socket.get(), plain, sizeof(sockaddr_un)) != 0) {
            if (errno == ENOENT || errno == ECONNREFUSED)
                return "no decoding-host listens on " + _path + ": start one with --control " + _path;
            if (errno == EINTR)
                continue;
            if (errno != EAGAIN)
                return failure();
            // Many clients wait to be accepted, and none of them can be waited for.
            if (remainingMs() == 0)
                return timedOut();
            poll(nullptr, 0, static_cast<int>(crowdedRetry.count()));
        }
        return std::nullopt;
    }

    Error send(std::string text)
    {
        while (!text.empty()) {
            const ssize_t count = ::send(_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
            if (count >= 0)
                text.erase(0, static_cast<std::size_t>(count));
            else if (errno == EPIPE || errno == ECONNRESET)
                return std::nullopt; // it may have answered nevertheless
            else if (auto error = waitFor(POLLOUT))
                return error;
        }
        return std::nullopt;
    }

    Error receive(Answer &answer)
    {
        std::string unread;
        while (true) {
            for (std::size_t end = unread.find('\n'); end != std::string::npos; end = unread.find('\n')) {
                const std::string line = unread.substr(0, end);
                unread.erase(0, end + 1);
                if (line == ControlLine::okLine)
                    return std::nullopt;
                if (line.rfind(ControlLine::errorMark, 0) == 0)
                    return ControlLine::field(line.substr(std::char_traits<char>::length(ControlLine::errorMark)));
                if (line.empty() || line.front() != ControlLine::dataMark)
                    return "what listens on " + _path + " is no decoding-host: it answers in another way";
                answer.lines.push_back(ControlLine::fields(line.substr(1)));
            }
            std::array<char, 4096> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): filled at once
            const ssize_t count = recv(_socket.get(), bytes.data(), bytes.size(), 0);
            if (count > 0)
                unread.append(bytes.data(), static_cast<std::size_t>(count));
            else if (count == 0 || errno == ECONNRESET)
                return "the decoding-host on " + _path + " ended before it answered";
            else if (auto error = waitFor(POLLIN))
                return error;
        }
    }

private:
    int remainingMs() const
    {
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(_deadline - Clock::now());
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(remaining.count(), 0, 1000000));
    }

    /// After a call that has failed: waits until it is worth another try. @return nothing when it is.
    Error waitFor(short events) const
    {
        if (errno == EINTR)
            return std::nullopt;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            return failure();
        pollfd watched = {_socket.get(), events, 0};
        const int count = poll(&watched, 1, remainingMs());
        if (count < 0 && errno != EINTR)
            return failure();
        return count == 0 ? std::optional(timedOut()) : std::nullopt;
    }

    std::string failure() const { return "control socket " + _path + ": " + std::generic_category().message(errno); }

    std::string timedOut() const
    {
        return "the decoding-host on " + _path + " has not answered within " + std::to_string(_timeout.count()) +
               " ms; it may yet do what it was asked for";
    }

    const std::string _path;
    const std::chrono::milliseconds _timeout;
    const Clock::time_point _deadline;
    Descriptor _socket;
};

} // namespace

Answer ControlClient::ask(const std::string &path, const std::vector<std::string> &words,
                          std::chrono::milliseconds timeout)
{
    const auto request = ControlRequest::parse(words);
    if (const std::string *const error = std::get_if<std::string>(&request))
        return {Outcome::WrongUsage, {}, *error};
    const std::string line = ControlLine::join(words);
    const auto understood = ControlLine::split(line);
    if (const std::string *const error = std::get_if<std::string>(&understood))
        return {Outcome::WrongUsage, {}, *error};
    if (line.size() > ControlLine::maxRequestBytes)
        return {Outcome::WrongUsage, {}, "the request is too long"};

    Answer answer;
    Exchange exchange(path, timeout);
    auto error = exchange.connect();
    if (!error)
        error = exchange.send(line + '\n');
    if (!error)
        error = exchange.receive(answer);
    answer.outcome = error ? Outcome::Failed : Outcome::Done;
    answer.error = error.value_or(std::string());
    return answer;
}
