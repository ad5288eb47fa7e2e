#ifndef TESTS_HOST_LIVE_FLOOD_H
#define TESTS_HOST_LIVE_FLOOD_H

#include <QByteArray>

#include <atomic>
#include <cerrno>
#include <poll.h>
#include <random>
#include <thread>

#include "Loopback.h"

/// Sends each client, or a port, bytes of no meaning, as fast as they are taken.
class Flood final {
public:
    /// @param bytes that are sent again and again.
    Flood(int type, QByteArray bytes, quint16 port = 0)
        : _bytes(std::move(bytes))
        , _socket(type)
        , _thread([this, type, port] { type == SOCK_DGRAM ? sendTo(port) : serve(); })
    {
    }
    ~Flood()
    {
        _stopRequested = true;
        _thread.join();
    }
    Q_DISABLE_COPY(Flood)

    /// @return bytes of no meaning.
    static QByteArray noise()
    {
        std::mt19937 random(1);
        QByteArray bytes(1 << 20, Qt::Uninitialized);
        for (char &byte : bytes)
            byte = static_cast<char>(random());
        return bytes;
    }

    quint16 port() const { return _socket.port(); }

private:
    void serve()
    {
        while (!_stopRequested) {
            pollfd descriptor = {_socket.descriptor(), POLLIN, 0};
            if (poll(&descriptor, 1, 20) <= 0)
                continue;
            const int client = accept(_socket.descriptor(), nullptr, nullptr);
            while (!_stopRequested) {
                pollfd writable = {client, POLLOUT, 0};
                if (poll(&writable, 1, 20) > 0 &&
                    send(client, _bytes.constData(), static_cast<std::size_t>(_bytes.size()),
                         MSG_NOSIGNAL | MSG_DONTWAIT) < 0 &&
                    errno != EAGAIN)
                    break;
            }
            close(client);
        }
    }

    void sendTo(quint16 port)
    {
        const sockaddr_in to = Loopback::at(port);
        for (int at = 0; !_stopRequested; at = (at + 1316) % (_bytes.size() - 1316)) {
            sendto(_socket.descriptor(), _bytes.constData() + at, 1316, 0, reinterpret_cast<const sockaddr *>(&to),
                   sizeof to);
            std::this_thread::sleep_for(std::chrono::microseconds(200)); // about 5 MB in a second
        }
    }

    const QByteArray _bytes;
    const Loopback _socket;
    std::atomic<bool> _stopRequested{false};
    std::thread _thread;
};

#endif
