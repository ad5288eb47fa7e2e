#include "session/InputOptionsCheck.h"

#include <algorithm>
#include <chrono>
#include <functional>

#include "media/FilePlace.h"
#include <decoding/Error.h>

using decoding::InputOptions;
using decoding::Output;

namespace {

using std::chrono::milliseconds;

// What is added to an instant stays one that the clock counts.
constexpr milliseconds longestTime = std::chrono::hours(24 * 365 * 100);

class Checked final {
public:
    Checked(const std::string &input, const InputOptions &options)
        : _input(input)
        , _options(options)
    {
    }

    void check() const
    {
        require(_options.video || _options.audio, "video and audio are both false");
        require(_options.repeat >= 1, "repeat is less than 1");
        require(_options.queuedFrames >= 1, "queuedFrames is less than 1");
        require(_options.burst >= 0, "burst is less than 0");
        checkTime("maxLatency", _options.maxLatency);
        if (_options.duration)
            checkTime("duration", *_options.duration);
        if (_options.stallLimit)
            checkTime("stallLimit", *_options.stallLimit);
        checkTime("firstRetryDelay", _options.firstRetryDelay);
        checkTime("lastRetryDelay", _options.lastRetryDelay);
        require(_options.firstRetryDelay <= _options.lastRetryDelay, "lastRetryDelay is less than firstRetryDelay");
        for (auto output = _options.outputs.begin(); output != _options.outputs.end(); ++output) {
            checkOutput(*output);
            require(std::none_of(_options.outputs.begin(), output,
                                 [&](const Output &before) { return writeTheSame(before, *output); }),
                    "outputs has " + std::string(output->kindName()) + " in " + output->directory + " twice");
        }
        require(std::count_if(_options.outputs.begin(), _options.outputs.end(),
                              std::mem_fn(&Output::isStandardOutput)) <= 1,
                "outputs has the standard output twice");
    }

private:
    void require(bool isRight, const std::string &otherwise) const
    {
        if (!isRight)
            throw decoding::Error(_input + ": InputOptions::" + otherwise);
    }

    void checkTime(const std::string &field, milliseconds time) const
    {
        require(time.count() >= 1, field + " is less than 1 ms");
        require(time <= longestTime, field + " is more than 100 years");
    }

    void checkOutput(const Output &output) const
    {
        require(output.kind >= Output::Kind::Null && output.kind <= Output::Kind::Png,
                "outputs has a kind that there is not");
        if (output.kind == Output::Kind::Png)
            checkTime("outputs: snapshotInterval", output.snapshotInterval);
        const std::string name = std::string("outputs: ") + output.kindName();
        require(!output.directory.empty(), name + " has no directory");
        const bool hasVideo = _options.video && output.takesVideo();
        const bool hasAudio = _options.audio && output.takesAudio();
        require(hasVideo || hasAudio,
                name + " takes no " + (_options.video ? "video" : "audio") + ", and nothing else is decoded");
        if (output.kind == Output::Kind::Null || !output.isStandardOutput())
            return;
        require(output.kind != Output::Kind::Png, name + " needs a directory, and cannot go to the standard output");
        require(!(hasVideo && hasAudio),
                name + " would put two streams into the standard output; set video or audio to false");
    }

    static bool writeTheSame(const Output &one, const Output &other)
    {
        return one.kind == other.kind && one.kind != Output::Kind::Null &&
               (one.directory == other.directory ||
                FilePlace::ofDirectory(one.directory) == FilePlace::ofDirectory(other.directory));
    }

    const std::string &_input;
    const InputOptions &_options;
};

} // namespace

void InputOptionsCheck::check(const std::string &input, const InputOptions &options)
{
    Checked(input, options).check();
}
