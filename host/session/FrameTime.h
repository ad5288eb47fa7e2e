#ifndef HOST_SESSION_FRAMETIME_H
#define HOST_SESSION_FRAMETIME_H

#include <cstdint>
#include <limits>

#include <decoding/Plane.h>

/// The time of a frame, as the headers of pictures and samples carry it alike. @tparam Header with pts and timeBase.
template <class Header>
struct FrameTime {
    const Header &header;

    bool isKnown() const
    {
        return header.pts != std::numeric_limits<std::int64_t>::min() && header.timeBase[0] > 0 &&
               header.timeBase[1] > 0;
    }
    std::int64_t timestamp() const { return isKnown() ? header.pts : std::numeric_limits<std::int64_t>::min(); }
    double seconds() const
    {
        return isKnown() ? static_cast<double>(header.pts) * header.timeBase[0] / header.timeBase[1]
                         : std::numeric_limits<double>::quiet_NaN();
    }
};

template <class Header>
FrameTime(const Header &) -> FrameTime<Header>;

/// @return @p fraction, whose numerator comes first; 0 / 1 when it is no fraction, or not greater than 0.
inline decoding::Rational knownOr0(const std::int32_t (&fraction)[2])
{
    return fraction[0] > 0 && fraction[1] > 0 ? decoding::Rational{fraction[0], fraction[1]} : decoding::Rational();
}

#endif
