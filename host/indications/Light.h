#ifndef HOST_INDICATIONS_LIGHT_H
#define HOST_INDICATIONS_LIGHT_H

/// What an operator sees of an indication.
enum class Light {
    Good = 0,
    Warning = 1, // or an alternative state
    Bad = 2,
    Black = 3 // nothing to show
};

/// @return the light of an indication's value. A value that nobody knows is bad: whoever set it meant something, and
///         black or good would hide it.
constexpr Light lightOf(int value) noexcept
{
    return value >= 0 && value <= 3 ? static_cast<Light>(value) : Light::Bad;
}

#endif
