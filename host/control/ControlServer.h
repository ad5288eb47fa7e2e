#ifndef HOST_CONTROL_CONTROLSERVER_H
#define HOST_CONTROL_CONTROLSERVER_H

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>

#include "control/ControlSocket.h"
#include "control/Descriptor.h"
#include "control/IControl.h"

/// Lets programs and people of this machine control the host: takes the requests of any number of clients on a socket
/// file, and performs them on its own thread. Whoever may write to the file, its owner, may do everything. Whatever a
/// client sends or does not read, the host and the other clients go on. Where the process has no descriptor left, one
/// client at a time is served all the same. Thread-bound; the thread must run an event
/// loop.
class ControlServer final : public QObject {
public:
    /// The most clients at once; one more gets an error.
    static constexpr int maxClients = 64;

    /// @param control outlives the server.
    ControlServer(std::unique_ptr<ControlSocket> socket, IControl &control);
    /// Leaves all clients, and removes the socket file. What was asked for goes on; nobody hears of its end.
    ~ControlServer() override;

private:
    void accept();
    void keepReserve();

    IControl &_control;
    const std::unique_ptr<ControlSocket> _socket;
    QSocketNotifier _arrival;
    QTimer _retry;       // after there was no room for a client
    Descriptor _reserve; // given up for a client that comes when the process has no other one left
    int _clients = 0;
};

#endif
