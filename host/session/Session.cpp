#include <utility>

#include "media/ShownUrl.h"
#include "session/InputCore.h"
#include "session/SessionCore.h"
#include "sources/LiveUrl.h"
#include <decoding/Session.h>

namespace decoding {

Session::Session(SessionOptions options)
    : _core(std::make_unique<Core>(std::move(options)))
{
}

Session::~Session() = default;

std::shared_ptr<Input> Session::open(const std::string &url, InputOptions options)
{
    if (LiveUrl::isLive(url) && LiveUrl(url).isServer())
        throw Error(ShownUrl::withoutSecrets(url) +
                    ": nobody may ever call this address, so Session::open does not wait for it; use openLater");
    std::shared_ptr<Input::Core> core = _core->open(url, std::move(options), InputSet::Opening::AtOnce);
    auto input = std::make_shared<Input>(core);
    if (const auto error = core->waitUntilKnown())
        throw Error(*error);
    return input;
}

std::shared_ptr<Input> Session::openLater(const std::string &url, InputOptions options)
{
    return std::make_shared<Input>(_core->open(url, std::move(options), InputSet::Opening::InTurn));
}

Snapshot Session::snapshot() const
{
    return _core->snapshot();
}

void Session::setMode(Mode mode)
{
    _core->setMode(mode);
}

void Session::setGovernor(bool on)
{
    _core->setGovernor(on);
}

Session::Remains Session::end()
{
    return _core->end();
}

} // namespace decoding
