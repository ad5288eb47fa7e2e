#ifndef TESTS_HOST_LIVE_LOOPBACK_H
#define TESTS_HOST_LIVE_LOOPBACK_H

#include <QtGlobal>

#include <stdexcept>
#include <unistd.h>

#include <arpa/inet.h>
#include <sys/socket.h>

/// A socket of the test's own at a free port of the loopback address.
class Loopback final {
public:
    /// @param type SOCK_DGRAM, or SOCK_STREAM: it then lets others connect, but neither answers nor reads.
    /// @param port 0: any that is free.
    explicit Loopback(int type, quint16 port = 0)
        : _socket(socket(AF_INET, type | SOCK_CLOEXEC, 0))
    {
        const int on = 1;
        setsockopt(_socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address = at(port);
        socklen_t size = sizeof address;
        if (_socket < 0 || bind(_socket, reinterpret_cast<const sockaddr *>(&address), size) != 0 ||
            getsockname(_socket, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
            (type == SOCK_STREAM && listen(_socket, 16) != 0))
            throw std::runtime_error("there is no free port");
        _port = ntohs(address.sin_port);
    }
    ~Loopback() { close(_socket); }
    Q_DISABLE_COPY(Loopback)

    static sockaddr_in at(quint16 port)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    /// A port that nobody uses at the moment, for a server that wants to be told one.
    static quint16 freePort(int type) { return Loopback(type).port(); }

    int descriptor() const { return _socket; }
    quint16 port() const { return _port; }

private:
    const int _socket;
    quint16 _port = 0;
};

#endif
