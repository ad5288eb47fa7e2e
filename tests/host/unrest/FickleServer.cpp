#include "FickleServer.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

#include "host/decode/Damage.h"
#include "host/live/Flood.h"

namespace {

constexpr int turnMs = 20;
constexpr int gentlePieceSize = 1500; // at most some times as fast as the streams play

} // namespace

FickleServer::FickleServer(std::vector<QByteArray> streams, std::uint64_t seed)
    : _streams(std::move(streams))
    , _noise(Flood::noise())
    , _chance(seed)
    , _thread(&FickleServer::run, this)
{
}

FickleServer::~FickleServer()
{
    _stopRequested = true;
    _thread.join();
}

void FickleServer::run()
{
    while (!_stopRequested) {
        pollfd descriptor = {_socket.descriptor(), POLLIN, 0};
        while (poll(&descriptor, 1, 0) > 0)
            take(accept4(_socket.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        const auto left = std::remove_if(_clients.begin(), _clients.end(), [](Client &client) {
            const bool isServed = serve(client);
            if (!isServed)
                close(client.socket);
            return !isServed;
        });
        _clients.erase(left, _clients.end());
        std::this_thread::sleep_for(std::chrono::milliseconds(turnMs));
    }
    for (const Client &client : _clients)
        close(client.socket);
}

void FickleServer::take(int socket)
{
    const QByteArray &stream = _chance.of(_streams);
    Client client{socket, stream, gentlePieceSize, _chance.oneIn(2)};
    switch (_chance.below(8)) {
    case 0:
        client.bytes = Damage(static_cast<quint32>(_chance.below(1 << 30))).flipBits(stream, 200);
        break;
    case 1:
        client.bytes = stream.left(_chance.below(stream.size()));
        break;
    case 2:
        client.bytes = _noise;
        client.pieceSize = 100 * gentlePieceSize;
        break;
    case 3:
        client.bytes.clear();
        break;
    case 4:
        client.bytes = stream.repeated(20);
        client.pieceSize = client.bytes.size();
        break;
    default:
        break;
    }
    _clients.push_back(client);
}

/// @return false once the client has left, or is to leave.
bool FickleServer::serve(Client &client)
{
    char request[1024];
    const ssize_t received = recv(client.socket, request, sizeof request, MSG_DONTWAIT);
    if (received == 0 || (received < 0 && errno != EAGAIN))
        return false;
    const int size = std::min(client.pieceSize, client.bytes.size() - client.sent);
    if (size == 0)
        return client.isKept;
    const ssize_t count = send(client.socket, client.bytes.constData() + client.sent, static_cast<std::size_t>(size),
                               MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0)
        return errno == EAGAIN;
    client.sent += static_cast<int>(count);
    return true;
}
