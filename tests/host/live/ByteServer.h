#ifndef TESTS_HOST_LIVE_BYTESERVER_H
#define TESTS_HOST_LIVE_BYTESERVER_H

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "Loopback.h"

/// Listens at a port of the loopback address, and sends each client what is due for it.
class ByteServer final {
public:
    struct Script {
        QByteArray bytes;
        bool keepsOpen = false; // and sends nothing more
        bool resets = false;    // the connection, rather than ends it
    };

    /// @return what is due for a client that has sent @p request, which ends with an empty line. Called on the server's
    ///         thread.
    using Chooser = std::function<Script(const QByteArray &request)>;

    /// Sends the first script to the first client, and so on, the last one to all the others.
    explicit ByteServer(std::vector<Script> scripts, quint16 port = 0);
    /// Waits for each client's request.
    explicit ByteServer(Chooser choose);
    ~ByteServer();
    Q_DISABLE_COPY(ByteServer)

    QString url() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(_socket.port()); }
    int clients() const { return _clients.load(); }

private:
    void run();
    Script scriptFor(int client);

    const std::vector<Script> _scripts;
    const Chooser _choose; // empty where the scripts are all there is
    const Loopback _socket;
    std::atomic<bool> _stopRequested{false};
    std::atomic<int> _clients{0};
    std::thread _thread;
};

#endif
