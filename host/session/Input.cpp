#include <utility>

#include "session/InputCore.h"
#include <decoding/Input.h>

namespace decoding {

Input::Input(std::shared_ptr<Core> core)
    : _core(std::move(core))
{
}

Input::~Input()
{
    _core->abandon();
}

const std::string &Input::name() const
{
    return _core->name();
}

bool Input::hasVideo() const
{
    return _core->has(StreamKind::Video);
}

bool Input::hasAudio() const
{
    return _core->has(StreamKind::Audio);
}

VideoReader &Input::video()
{
    return _core->video();
}

AudioReader &Input::audio()
{
    return _core->audio();
}

std::unique_ptr<VideoReader> Input::addVideoReader()
{
    return _core->addVideoReader();
}

std::unique_ptr<AudioReader> Input::addAudioReader()
{
    return _core->addAudioReader();
}

std::optional<std::string> Input::error() const
{
    return _core->error();
}

void Input::close()
{
    _core->close();
}

bool Input::isFinished() const
{
    return _core->isFinished();
}

bool Input::waitUntilFinished(std::chrono::milliseconds timeout) const
{
    return _core->waitUntilFinished(timeout);
}

} // namespace decoding
