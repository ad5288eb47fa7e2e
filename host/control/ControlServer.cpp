#include "control/ControlServer.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <utility>

#include "control/ControlConnection.h"
#include "control/ControlLine.h"
#include <sys/socket.h>

namespace {

constexpr int retryMs = 1000;

} // namespace

ControlServer::ControlServer(std::unique_ptr<ControlSocket> socket, IControl &control)
    : _control(control)
    , _socket(std::move(socket))
    , _arrival(_socket->descriptor(), QSocketNotifier::Read)
{
    _retry.setSingleShot(true);
    connect(&_arrival, &QSocketNotifier::activated, this, [this] { accept(); });
    connect(&_retry, &QTimer::timeout, this, [this] {
        keepReserve();
        _arrival.setEnabled(true);
    });
    keepReserve();
}

ControlServer::~ControlServer() = default;

void ControlServer::accept()
{
    Descriptor client = _socket->accept();
    if (!client.isOpen() && (errno == EMFILE || errno == ENFILE) && _reserve.isOpen()) {
        _reserve.close();
        client = _socket->accept();
    }
    if (!client.isOpen()) {
        // Without a free descriptor the client would be announced again and again.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            _arrival.setEnabled(false);
            _retry.start(retryMs);
        }
        return;
    }
    if (_clients == maxClients) {
        const std::string refusal = std::string(ControlLine::errorMark) + "there are too many clients already\n";
        send(client.get(), refusal.data(), refusal.size(), MSG_NOSIGNAL);
        return;
    }
    auto *const connection = new ControlConnection(std::move(client), _control, this);
    ++_clients;
    connect(connection, &QObject::destroyed, this, [this] {
        --_clients;
        keepReserve();
        _arrival.setEnabled(true);
    });
}

void ControlServer::keepReserve()
{
    if (!_reserve.isOpen())
        _reserve = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}
