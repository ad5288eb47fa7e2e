#include "sinks/OutputPlace.h"

std::optional<std::string> OutputPlace::refusal(const std::string &path) const
{
    if (!inputs || !inputs->contains(path))
        return std::nullopt;
    return "cannot write " + path + ": it is one of the inputs; name another directory";
}
