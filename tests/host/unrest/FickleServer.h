#ifndef TESTS_HOST_UNREST_FICKLESERVER_H
#define TESTS_HOST_UNREST_FICKLESERVER_H

#include <QByteArray>
#include <QString>

#include <atomic>
#include <thread>
#include <vector>

#include "Chance.h"
#include "host/live/Loopback.h"

/// Listens at a port of the loopback address, and treats each client as it likes: sends it one of some streams whole,
/// or damaged, or a part of it, at a pace or all at once; or noise, or nothing; and leaves it, or not.
class FickleServer final {
public:
    FickleServer(std::vector<QByteArray> streams, std::uint64_t seed);
    ~FickleServer();
    Q_DISABLE_COPY(FickleServer)

    QString url() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(_socket.port()); }

private:
    struct Client {
        int socket;
        QByteArray bytes; // to be sent
        int pieceSize;    // of them that is sent at a time
        bool isKept;      // when all is sent
        int sent = 0;
    };

    void run();
    void take(int socket);
    static bool serve(Client &client);

    const std::vector<QByteArray> _streams;
    const QByteArray _noise;
    Chance _chance;
    const Loopback _socket{SOCK_STREAM};
    std::vector<Client> _clients; // of the thread
    std::atomic<bool> _stopRequested{false};
    std::thread _thread;
};

#endif
