#include "sinks/OutputSpec.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

/// In the order of OutputSpec::Kind.
constexpr std::array<const char *, 6> kindNames{"null", "framemd5", "y4m", "raw", "wav", "png"};

} // namespace

std::variant<OutputSpec, std::string> OutputSpec::parse(const std::string &text)
{
    const std::string quoted = "output \"" + text + "\": ";
    const std::size_t colon = text.find(':');
    const std::string kindText = text.substr(0, colon);
    const std::size_t at = kindText.find('@');
    const std::string kindName = kindText.substr(0, at);
    const auto *const kind = std::find(kindNames.begin(), kindNames.end(), kindName);
    if (kind == kindNames.end())
        return quoted + "there is no such kind; use null, framemd5, y4m, raw, wav or png";

    OutputSpec spec;
    spec.kind = static_cast<Kind>(kind - kindNames.begin());
    if (at != std::string::npos) {
        if (spec.kind != Png)
            return quoted + "only png takes an interval after \"@\"";
        bool isNumber = false;
        const double seconds = QString::fromStdString(kindText.substr(at + 1)).toDouble(&isNumber);
        if (!isNumber || !(seconds >= 0.001 && seconds <= 1e9))
            return quoted + "the interval after \"@\" is a number of seconds from 0.001 on";
        spec.snapshotInterval = std::chrono::milliseconds(qRound64(seconds * 1000));
    }
    if (colon != std::string::npos) {
        spec.directory = text.substr(colon + 1);
        if (spec.kind == Null)
            return quoted + "null writes no files, so it takes no directory";
        if (spec.directory.empty())
            return quoted + "name a directory after \":\"";
        if (spec.kind == Png && spec.isStandardOutput())
            return quoted + "png writes files of their own, so it needs a directory";
    }
    return spec;
}

const char *OutputSpec::kindName() const
{
    return kindNames[kind];
}
