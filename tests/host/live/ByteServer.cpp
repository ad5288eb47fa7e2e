#include "ByteServer.h"

#include <algorithm>
#include <chrono>
#include <poll.h>

namespace {

bool isReady(int socket, short events)
{
    pollfd descriptor = {socket, events, 0};
    return poll(&descriptor, 1, 20) > 0;
}

/// Lets the client read to the end. Were what it has sent not read, the system would reset the connection instead.
void takeLeave(int client)
{
    shutdown(client, SHUT_WR);
    char request[4096];
    while (isReady(client, POLLIN) && recv(client, request, sizeof request, MSG_DONTWAIT) > 0) {
    }
}

} // namespace

ByteServer::ByteServer(std::vector<Script> scripts, quint16 port)
    : _scripts(std::move(scripts))
    , _socket(SOCK_STREAM, port)
    , _thread(&ByteServer::run, this)
{
}

ByteServer::ByteServer(Chooser choose)
    : _choose(std::move(choose))
    , _socket(SOCK_STREAM, 0)
    , _thread(&ByteServer::run, this)
{
}

ByteServer::~ByteServer()
{
    _stopRequested = true;
    _thread.join();
}

void ByteServer::run()
{
    std::vector<int> open;
    while (!_stopRequested) {
        if (!isReady(_socket.descriptor(), POLLIN))
            continue;
        const int client = accept(_socket.descriptor(), nullptr, nullptr);
        const Script script = scriptFor(client);
        // One that has asked for nothing yet would not get as far as what is sent.
        while (!_stopRequested && script.resets && !_choose && !isReady(client, POLLIN)) {
        }
        ssize_t sent = 0;
        while (!_stopRequested && sent < script.bytes.size()) {
            if (!isReady(client, POLLOUT))
                continue;
            const auto left = static_cast<std::size_t>(script.bytes.size() - sent);
            const ssize_t count = send(client, script.bytes.constData() + sent, left, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count < 0)
                break;
            sent += count;
        }
        if (script.keepsOpen) {
            open.push_back(client);
        } else if (script.resets) {
            // The system drops what the client has not read by then, and tells nobody how much that is.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            const linger atOnce = {1, 0};
            setsockopt(client, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            close(client);
        } else {
            takeLeave(client);
            close(client);
        }
    }
    for (const int client : open)
        close(client);
}

ByteServer::Script ByteServer::scriptFor(int client)
{
    const auto turn = static_cast<std::size_t>(_clients++);
    if (!_choose)
        return _scripts[std::min(turn, _scripts.size() - 1)];
    QByteArray request;
    while (!_stopRequested && !request.contains("\r\n\r\n")) {
        char piece[4096];
        if (!isReady(client, POLLIN))
            continue;
        const ssize_t size = recv(client, piece, sizeof piece, MSG_DONTWAIT);
        if (size <= 0)
            return {}; // It has left.
        request.append(piece, static_cast<int>(size));
    }
    return _stopRequested ? Script() : _choose(request);
}
