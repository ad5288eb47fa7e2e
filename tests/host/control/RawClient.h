#ifndef TESTS_HOST_CONTROL_RAWCLIENT_H
#define TESTS_HOST_CONTROL_RAWCLIENT_H

#include <QCoreApplication>

#include <array>
#include <functional>
#include <string>
#include <variant>

#include "control/ControlAddress.h"
#include "control/Descriptor.h"
#include "fakes/WaitUntil.h"
#include <sys/socket.h>

/// Lets the server, on this thread, work until @p condition holds. @return whether it does before the deadline.
inline bool serveUntil(const std::function<bool()> &condition)
{
    return waitUntil([&condition] {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return condition();
    });
}

/// A client of the control server, on the same thread, that sends what it likes.
class RawClient {
public:
    explicit RawClient(const std::string &path)
        : _socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        const auto address = std::get<sockaddr_un>(ControlAddress::of(path));
        isConnected = connect(_socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }

    /// Sends all of @p text, however slowly it is taken. @return whether the server took it.
    bool send(const std::string &text)
    {
        std::size_t sent = 0;
        return serveUntil([&] {
                   sent += sendSome(text.substr(sent));
                   return sent == text.size() || isLost;
               }) &&
               !isLost;
    }

    /// @return how many bytes could be sent at once.
    std::size_t sendSome(const std::string &text)
    {
        const ssize_t count = ::send(_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
        isLost = isLost || (count < 0 && errno != EAGAIN);
        return count < 0 ? 0 : static_cast<std::size_t>(count);
    }

    /// @return the next answer, with the ends of its lines; what there is of it when no more comes.
    std::string answer()
    {
        serveUntil([this] {
            receive();
            return answerEnd() != std::string::npos || isLost;
        });
        return takeAnswer();
    }

    /// As answer, without letting the server work.
    std::string answerAtHand()
    {
        receive();
        return takeAnswer();
    }

    std::string ask(const std::string &request) { return send(request + '\n') ? answer() : "not sent"; }

    /// @return whether the server has left.
    bool isLeft()
    {
        receive();
        return isLost && _received.empty();
    }

    void endSending() { shutdown(_socket.get(), SHUT_WR); }
    void leave() { _socket.close(); }

    bool isConnected = false;
    bool isLost = false;

private:
    void receive()
    {
        std::array<char, 65536> bytes{};
        const ssize_t count = recv(_socket.get(), bytes.data(), bytes.size(), 0);
        if (count > 0)
            _received.append(bytes.data(), static_cast<std::size_t>(count));
        isLost = isLost || count == 0 || (count < 0 && errno != EAGAIN);
    }

    std::string takeAnswer()
    {
        const std::size_t end = answerEnd();
        std::string result = _received.substr(0, end);
        _received.erase(0, end);
        return result;
    }

    /// @return behind the first line that is no line of data.
    std::size_t answerEnd() const
    {
        std::size_t begin = 0;
        for (std::size_t end = _received.find('\n'); end != std::string::npos; end = _received.find('\n', begin)) {
            if (_received[begin] != ' ')
                return end + 1;
            begin = end + 1;
        }
        return std::string::npos;
    }

    Descriptor _socket;
    std::string _received;
};

#endif
