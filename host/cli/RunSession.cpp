#include "cli/RunSession.h"

RunSession::RunSession(decoding::Session &session)
    : _session(session)
{
}

std::string RunSession::open(const std::string &url, const decoding::InputOptions &options)
{
    const std::shared_ptr<decoding::Input> input = _session.openLater(url, options);
    std::string name = input->name();
    _inputs[name] = input;
    return name;
}

void RunSession::close(const std::string &name)
{
    const auto input = _inputs.find(name);
    if (input != _inputs.end())
        input->second->close();
}

bool RunSession::isFinished(const std::string &name) const
{
    const auto input = _inputs.find(name);
    return input == _inputs.end() || input->second->isFinished();
}

void RunSession::forget(const std::string &name)
{
    _inputs.erase(name);
}
