#ifndef HOST_CONTROL_CONTROLSERVER_H
#define HOST_CONTROL_CONTROLSERVER_H

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>
#include <string>
#include <variant>

#include "control/ControlSocket.h"
#include "control/IControl.h"

/// Lets programs and people of this machine control the host: takes the requests of any number of clients on a socket
/// file, and performs them on its own thread. Whoever may write to the file, its owner, may do everything. Whatever a
/// client sends or does not read, the host and the other clients go on. Thread-bound; the thread must run an event
/// loop.
class ControlServer final : public QObject {
public:
    /// The most clients at once; one more gets an error.
    static constexpr int maxClients = 64;

    /// @param path of the socket file; one that a dead host left there is replaced. @param control outlives the server.
    /// @return the server, listening, or one line that names @p path and says what is wrong.
    [[nodiscard]] static std::variant<std::unique_ptr<ControlServer>, std::string> listen(const std::string &path,
                                                                                          IControl &control);

    /// Leaves all clients, and removes the socket file. What was asked for goes on; nobody hears of its end.
    ~ControlServer() override;

private:
    ControlServer(std::unique_ptr<ControlSocket> socket, IControl &control);

    void accept();

    IControl &_control;
    const std::unique_ptr<ControlSocket> _socket;
    QSocketNotifier _arrival;
    QTimer _retry; // after there was no room for a client
    int _clients = 0;
};

#endif
