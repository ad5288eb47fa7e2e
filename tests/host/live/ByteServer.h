#ifndef TESTS_HOST_LIVE_BYTESERVER_H
#define TESTS_HOST_LIVE_BYTESERVER_H

#include <QByteArray>
#include <QString>

#include <atomic>
#include <thread>
#include <vector>

#include "Loopback.h"

/// Listens at a port of the loopback address, and sends each client what is due for it: the first script to the first
/// one, and so on, the last one to all the others.
class ByteServer final {
public:
    struct Script {
        QByteArray bytes;
        bool keepsOpen = false; // and sends nothing more
        bool resets = false;    // the connection, rather than ends it
    };

    explicit ByteServer(std::vector<Script> scripts, quint16 port = 0);
    ~ByteServer();
    Q_DISABLE_COPY(ByteServer)

    QString url() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(_socket.port()); }
    int clients() const { return _clients.load(); }

private:
    void run();

    const std::vector<Script> _scripts;
    const Loopback _socket;
    std::atomic<bool> _stopRequested{false};
    std::atomic<int> _clients{0};
    std::thread _thread;
};

#endif
