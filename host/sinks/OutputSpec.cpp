#include "sinks/OutputSpec.h"

#include <algorithm>
#include <array>

namespace {

/// In the order of OutputSpec::Kind.
constexpr std::array<const char *, 6> kindNames{"null", "framemd5", "y4m", "raw", "wav", "png"};

} // namespace

std::variant<OutputSpec, std::string> OutputSpec::parse(const QString &text)
{
    const std::string quoted = "output \"" + text.toStdString() + "\": ";
    const QString kindText = text.section(QLatin1Char(':'), 0, 0);
    const QString kindName = kindText.section(QLatin1Char('@'), 0, 0);
    const auto *const kind = std::find_if(kindNames.begin(), kindNames.end(),
                                          [&kindName](const char *known) { return kindName == QLatin1String(known); });
    if (kind == kindNames.end())
        return quoted + "there is no such kind; use null, framemd5, y4m, raw, wav or png";

    OutputSpec spec;
    spec.kind = static_cast<Kind>(kind - kindNames.begin());
    if (kindText.contains(QLatin1Char('@'))) {
        if (spec.kind != Png)
            return quoted + "only png takes an interval after \"@\"";
        bool isNumber = false;
        const double seconds = kindText.section(QLatin1Char('@'), 1).toDouble(&isNumber);
        if (!isNumber || !(seconds >= 0.001 && seconds <= 1e9))
            return quoted + "the interval after \"@\" is a number of seconds from 0.001 on";
        spec.snapshotInterval = std::chrono::milliseconds(qRound64(seconds * 1000));
    }
    if (text.contains(QLatin1Char(':'))) {
        spec.directory = text.section(QLatin1Char(':'), 1);
        if (spec.kind == Null)
            return quoted + "null writes no files, so it takes no directory";
        if (spec.directory.isEmpty())
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
