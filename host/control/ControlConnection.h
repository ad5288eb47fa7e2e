#ifndef HOST_CONTROL_CONTROLCONNECTION_H
#define HOST_CONTROL_CONTROLCONNECTION_H

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <string>
#include <vector>

#include "control/ControlRequest.h"
#include "control/Descriptor.h"
#include "control/IControl.h"

/// One client of the control server: takes its requests one after the other, each once the one before is answered, and
/// deletes itself when the client has left. Thread-bound; the thread must run an event loop.
///
/// What is kept for a client is bounded: no more is read than the longest request, and no request is taken as long as
/// many answers were not read. Between two requests the event loop goes on, so that a client that asks all the time
/// keeps nobody waiting.
class ControlConnection final : public QObject {
public:
    /// @param socket connected, and never blocking.
    ControlConnection(Descriptor socket, IControl &control, QObject *parent);

private:
    void read();
    void takeRequest();
    void perform(const ControlRequest::Add &request);
    void perform(const ControlRequest::Remove &request);
    void perform(const ControlRequest::List &request);
    void perform(const ControlRequest::Status &request);
    void perform(const ControlRequest::Mode &request);
    void perform(const ControlRequest::Governor &request);
    void perform(const ControlRequest::Quit &request);
    void perform(const ControlRequest::Help &request);
    void answer(const std::vector<std::string> &lines, const IControl::Error &error);
    void write();
    void proceed();
    void close();

    IControl &_control;
    Descriptor _socket;
    QSocketNotifier _readable;
    QSocketNotifier _writable;
    QTimer _next; // to the next request
    std::string _input;
    std::string _output;
    bool _isInputAtEnd = false; // nothing is read any more
    bool _isBusy = false;       // with a request that is not answered yet
};

#endif
