#include "session/OutputSpecs.h"

#include <decoding/Error.h>

// The library's kinds are the sinks' own, in the same order.
static_assert(static_cast<int>(decoding::Output::Kind::Null) == OutputSpec::Null &&
              static_cast<int>(decoding::Output::Kind::FrameMd5) == OutputSpec::FrameMd5 &&
              static_cast<int>(decoding::Output::Kind::Y4m) == OutputSpec::Y4m &&
              static_cast<int>(decoding::Output::Kind::Raw) == OutputSpec::Raw &&
              static_cast<int>(decoding::Output::Kind::Wav) == OutputSpec::Wav &&
              static_cast<int>(decoding::Output::Kind::Png) == OutputSpec::Png);

OutputSpec OutputSpecs::of(const decoding::Output &output)
{
    return {static_cast<OutputSpec::Kind>(output.kind), output.directory, output.snapshotInterval};
}

decoding::Output decoding::Output::parse(const std::string &text)
{
    const auto parsed = OutputSpec::parse(text);
    if (const std::string *const error = std::get_if<std::string>(&parsed))
        throw Error(*error);
    const auto &spec = std::get<OutputSpec>(parsed);
    return {static_cast<Kind>(spec.kind), spec.directory, spec.snapshotInterval};
}

const char *decoding::Output::kindName() const
{
    return OutputSpecs::of(*this).kindName();
}

bool decoding::Output::isStandardOutput() const
{
    return OutputSpecs::of(*this).isStandardOutput();
}

bool decoding::Output::takesVideo() const
{
    return OutputSpecs::of(*this).takesVideo();
}

bool decoding::Output::takesAudio() const
{
    return OutputSpecs::of(*this).takesAudio();
}
