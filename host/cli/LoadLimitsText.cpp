#include "cli/LoadLimitsText.h"

#include <QString>

#include <cmath>

std::variant<decoding::LoadLimits, std::string> LoadLimitsText::parse(const std::string &text)
{
    const std::string quoted = "governor \"" + text + "\": ";
    const QString limitsText = QString::fromStdString(text);
    decoding::LoadLimits limits;
    bool isLowNumber = false;
    bool isHighNumber = false;
    limits.low = limitsText.section(QLatin1Char(':'), 0, 0).toDouble(&isLowNumber);
    limits.high = limitsText.section(QLatin1Char(':'), 1).toDouble(&isHighNumber);
    if (!isLowNumber || !isHighNumber || !std::isfinite(limits.low) || !std::isfinite(limits.high))
        return quoted + "give two loads as LOW:HIGH, such as 0.6:0.9; 1 is every usable core busy";
    if (limits.low <= 0.0)
        return quoted + "LOW is above 0, since no load is below that";
    if (limits.low >= limits.high)
        return quoted + "LOW is less than HIGH";
    return limits;
}
