#include <chrono>
#include <utility>

#include <decoding/Snapshot.h>

namespace {

// Of the decoding of a live video, after which its end without a picture is a failure. Before that it may just have
// been closed early.
constexpr std::chrono::seconds firstPictureLimit(1);

/// @return the number with commas between its thousands.
std::string grouped(std::int64_t number)
{
    std::string text = std::to_string(number);
    for (std::size_t end = text.size(); end > 3; end -= 3)
        text.insert(end - 3, 1, ',');
    return text;
}

/// @return what follows the error of an output that could not write so many frames.
std::string missing(std::int64_t frames)
{
    if (frames == 0)
        return {};
    return "; " + grouped(frames) + (frames == 1 ? " frame is missing" : " frames are missing");
}

} // namespace

std::string decoding::Snapshot::Stream::form() const
{
    return width > 0 ? codec + ' ' + std::to_string(width) + 'x' + std::to_string(height) : codec;
}

const std::optional<decoding::Snapshot::Trouble> &decoding::Snapshot::Input::lastErrorOf(const Stream &stream) const
{
    const bool isOfStream = stream.lastError && (!lastError || lastError->at <= stream.lastError->at);
    return isOfStream ? stream.lastError : lastError;
}

std::int64_t decoding::Snapshot::Stream::notWritten() const
{
    std::int64_t sum = 0;
    for (const Output &output : outputs)
        sum += output.failed;
    return sum;
}

std::vector<std::string> decoding::Snapshot::Stream::outputErrors() const
{
    std::vector<std::string> all;
    for (const Output &output : outputs) {
        if (output.error)
            all.push_back(*output.error + missing(output.failed));
    }
    return all;
}

std::vector<std::string> decoding::Snapshot::Input::errors() const
{
    std::vector<std::string> all;
    if (error)
        all.push_back(*error);
    for (const Stream &stream : streams) {
        if (stream.damaged > 0 && !live)
            all.push_back(name + " " + stream.kind + ": damaged in " + grouped(stream.damaged) +
                          (stream.damaged == 1 ? " place" : " places"));
        // Nothing is lost, and nothing damaged, of what no decoder made anything of.
        if (!stream.missingCodec.empty())
            all.push_back(name + " " + stream.kind + ": no decoder for " + stream.missingCodec);
        else if (live && finished && stream.kind == "video" && stream.frames == 0 && decoding >= firstPictureLimit)
            all.push_back(name + " video: no picture could be decoded");
        for (std::string &failure : stream.outputErrors())
            all.push_back(std::move(failure));
    }
    return all;
}
