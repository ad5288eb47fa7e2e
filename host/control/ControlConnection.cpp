#include "control/ControlConnection.h"

#include <QPointer>
#include <QString>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <utility>

#include "control/ControlLine.h"
#include "media/ClockTime.h"
#include <sys/socket.h>

namespace {

constexpr std::size_t maxUnreadBytes = 65536; // of answers, before no request is taken any more
constexpr const char *unknown = "-";

std::string decimal(double number, int decimals)
{
    return std::isfinite(number) ? QString::number(number, 'f', decimals).toStdString() : unknown;
}

std::string milliseconds(const std::optional<decoding::Snapshot::Latency> &latency,
                         std::int64_t decoding::Snapshot::Latency::*figureMs)
{
    return latency ? std::to_string((*latency).*figureMs) : unknown;
}

std::string lastError(const std::optional<decoding::Snapshot::Trouble> &trouble)
{
    return trouble ? ClockTime::full(trouble->at) + ' ' + ControlLine::field(trouble->text) : unknown;
}

std::int64_t droppedBy(const std::vector<decoding::Snapshot::Output> &outputs)
{
    std::int64_t dropped = 0;
    for (const decoding::Snapshot::Output &output : outputs)
        dropped += output.dropped;
    return dropped;
}

std::string lineOf(const decoding::Snapshot::Input &input, const decoding::Snapshot::Stream &stream)
{
    using ControlLine::field;
    using Latency = decoding::Snapshot::Latency;
    return field(input.name) + '\t' + field(stream.kind) + '\t' + toText(input.stateOf(stream)) + '\t' +
           std::to_string(stream.frames) + '\t' + decimal(stream.framesPerSecond.value_or(0), 1) + '\t' +
           std::to_string(stream.lost) + '\t' + milliseconds(stream.latency, &Latency::lastMs) + '\t' +
           milliseconds(stream.latency, &Latency::maximumMs) + '\t' + toText(stream.mode) + '\t' +
           std::to_string(droppedBy(stream.outputs)) + '\t' + std::to_string(stream.damaged) + '\t' +
           std::to_string(stream.notWritten()) + '\t' + (stream.form().empty() ? unknown : field(stream.form())) +
           '\t' + std::to_string(input.connections) + '\t' + lastError(input.lastErrorOf(stream));
}

/// @return a line for each stream, and for each input that has none.
std::vector<std::string> listOf(const decoding::Snapshot &snapshot)
{
    std::vector<std::string> lines;
    for (const decoding::Snapshot::Input &input : snapshot.inputs) {
        for (const decoding::Snapshot::Stream &stream : input.streams)
            lines.push_back(lineOf(input, stream));
        if (input.streams.empty())
            lines.push_back(lineOf(input, decoding::Snapshot::Stream()));
    }
    return lines;
}

std::vector<std::string> statusOf(const decoding::Snapshot &snapshot)
{
    std::size_t streams = 0;
    for (const decoding::Snapshot::Input &input : snapshot.inputs)
        streams += input.streams.size();
    return {"runningMs=" + std::to_string(snapshot.running.count()),
            "inputs=" + std::to_string(snapshot.inputs.size()),
            "streams=" + std::to_string(streams),
            "cpuLoad=" + decimal(snapshot.load.now, 3),
            "measuredCpuLoad=" + decimal(snapshot.measuredLoad.now, 3),
            std::string("mode=") + toText(snapshot.mode),
            "governor=" + (snapshot.governor.empty() ? unknown : ControlLine::field(snapshot.governor))};
}

bool isPassing(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

ControlConnection::ControlConnection(Descriptor socket, IControl &control, QObject *parent)
    : QObject(parent)
    , _control(control)
    , _socket(std::move(socket))
    , _readable(_socket.get(), QSocketNotifier::Read)
    , _writable(_socket.get(), QSocketNotifier::Write)
{
    _next.setSingleShot(true);
    connect(&_readable, &QSocketNotifier::activated, this, [this] { read(); });
    connect(&_writable, &QSocketNotifier::activated, this, [this] { write(); });
    connect(&_next, &QTimer::timeout, this, [this] { takeRequest(); });
    proceed();
}

void ControlConnection::read()
{
    std::array<char, 4096> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): filled at once
    const ssize_t count = recv(_socket.get(), bytes.data(), bytes.size(), 0);
    if (count < 0) {
        if (!isPassing(errno))
            close();
        return;
    }
    if (count == 0)
        _isInputAtEnd = true;
    _input.append(bytes.data(), static_cast<std::size_t>(count));
    proceed();
}

void ControlConnection::takeRequest()
{
    const std::size_t end = _input.find('\n');
    _isBusy = true;
    if (end > ControlLine::maxRequestBytes) {
        // Where the next request begins is not worth looking for.
        _isInputAtEnd = true;
        _input.clear();
        answer({}, "the request is longer than " + std::to_string(ControlLine::maxRequestBytes) + " bytes");
        return;
    }
    std::string line = _input.substr(0, end);
    _input.erase(0, end + 1);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();

    const auto words = ControlLine::split(line);
    if (const std::string *const error = std::get_if<std::string>(&words)) {
        answer({}, *error);
        return;
    }
    const auto request = ControlRequest::parse(std::get<std::vector<std::string>>(words));
    if (const std::string *const error = std::get_if<std::string>(&request)) {
        answer({}, *error);
        return;
    }
    std::visit([this](const auto &known) { perform(known); }, std::get<ControlRequest::Any>(request));
}

void ControlConnection::perform(const ControlRequest::Add &request)
{
    const QPointer<ControlConnection> self(this);
    _control.add(request.url, request.name, [self](const std::string &name, const IControl::Error &error) {
        if (self)
            self->answer(error ? std::vector<std::string>() : std::vector{ControlLine::field(name)}, error);
    });
}

void ControlConnection::perform(const ControlRequest::Remove &request)
{
    const QPointer<ControlConnection> self(this);
    _control.remove(request.name, [self](const IControl::Error &error) {
        if (self)
            self->answer({}, error);
    });
}

void ControlConnection::perform(const ControlRequest::List & /*request*/)
{
    answer(listOf(_control.snapshot()), {});
}

void ControlConnection::perform(const ControlRequest::Status & /*request*/)
{
    answer(statusOf(_control.snapshot()), {});
}

void ControlConnection::perform(const ControlRequest::Mode &request)
{
    _control.setMode(request.mode);
    answer({}, {});
}

void ControlConnection::perform(const ControlRequest::Governor &request)
{
    answer({}, _control.setGovernor(request.on));
}

void ControlConnection::perform(const ControlRequest::Quit & /*request*/)
{
    // First the answer, as there may be no time for it later.
    answer({}, {});
    _control.quit();
}

void ControlConnection::perform(const ControlRequest::Help & /*request*/)
{
    answer(ControlRequest::help(), {});
}

void ControlConnection::answer(const std::vector<std::string> &lines, const IControl::Error &error)
{
    for (const std::string &line : lines)
        _output += ControlLine::dataMark + line + '\n';
    _output += (error ? ControlLine::errorMark + ControlLine::field(*error) : ControlLine::okLine) + '\n';
    _isBusy = false;
    write();
}

void ControlConnection::write()
{
    while (!_output.empty()) {
        const ssize_t count = send(_socket.get(), _output.data(), _output.size(), MSG_NOSIGNAL);
        if (count < 0) {
            if (isPassing(errno))
                break;
            close();
            return;
        }
        _output.erase(0, static_cast<std::size_t>(count));
    }
    proceed();
}

/// Waits for what can happen next, and for nothing else.
void ControlConnection::proceed()
{
    const bool hasRequest = _input.find('\n') != std::string::npos || _input.size() > ControlLine::maxRequestBytes;
    const bool isReady = !_isBusy && _output.size() <= maxUnreadBytes;
    // No request is left then: as long as there is one, nothing is read, and so no end is found.
    if (_isInputAtEnd && _output.empty()) {
        close();
        return;
    }
    _readable.setEnabled(!_isInputAtEnd && !hasRequest && isReady);
    _writable.setEnabled(!_output.empty());
    if (hasRequest && isReady)
        _next.start(0);
}

void ControlConnection::close()
{
    _readable.setEnabled(false);
    _writable.setEnabled(false);
    _next.stop();
    _socket.close();
    deleteLater();
}
