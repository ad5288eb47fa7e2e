#ifndef TESTS_HOST_LIVE_DATAGRAMRELAY_H
#define TESTS_HOST_LIVE_DATAGRAMRELAY_H

#include <array>
#include <atomic>
#include <poll.h>
#include <thread>

#include "Loopback.h"

/// Passes datagrams on to a port of the loopback address, except for some that it drops.
class DatagramRelay final {
public:
    explicit DatagramRelay(quint16 target)
        : _target(target)
        , _thread(&DatagramRelay::run, this)
    {
    }
    ~DatagramRelay()
    {
        _stopRequested = true;
        _thread.join();
    }
    Q_DISABLE_COPY(DatagramRelay)

    quint16 port() const { return _socket.port(); }

    /// Drops the next @p count datagrams.
    void drop(int count) { _toDrop = count; }
    bool hasDropped() const { return _toDrop == 0; }
    /// From now on, drops one of @p count datagrams; 0: none.
    void dropEvery(int count) { _dropEvery = count; }

private:
    void run()
    {
        const sockaddr_in to = Loopback::at(_target);
        std::array<char, 65536> bytes;
        int received = 0;
        while (!_stopRequested) {
            pollfd descriptor = {_socket.descriptor(), POLLIN, 0};
            if (poll(&descriptor, 1, 20) <= 0)
                continue;
            const ssize_t size = recv(_socket.descriptor(), bytes.data(), bytes.size(), 0);
            const int dropEvery = _dropEvery;
            if (_toDrop > 0)
                --_toDrop;
            else if (size > 0 && (dropEvery == 0 || ++received % dropEvery != 0))
                sendto(_socket.descriptor(), bytes.data(), static_cast<std::size_t>(size), 0,
                       reinterpret_cast<const sockaddr *>(&to), sizeof to);
        }
    }

    const Loopback _socket{SOCK_DGRAM};
    const quint16 _target;
    std::atomic<bool> _stopRequested{false};
    std::atomic<int> _toDrop{0};
    std::atomic<int> _dropEvery{0};
    std::thread _thread;
};

#endif
