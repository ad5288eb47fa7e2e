#include "terminal/LoadHistory.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr std::size_t heights = 8;
constexpr std::array<const char *, heights> blocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<const char *, heights> asciiBars{"_", ".", ":", "-", "=", "+", "*", "#"};

const char *bar(double load, bool unicode)
{
    if (std::isnan(load))
        return " ";
    const double height = std::clamp(load, 0.0, 1.0) * heights;
    const std::size_t index = std::min(static_cast<std::size_t>(height), heights - 1);
    return unicode ? blocks[index] : asciiBars[index];
}

} // namespace

void LoadHistory::add(const decoding::Snapshot::Load &load)
{
    if (load.samples <= _samples)
        return;
    _samples = load.samples;
    _figures.push_back(load.now);
    if (_figures.size() > limit)
        _figures.pop_front();
}

std::vector<double> LoadHistory::latest(std::size_t count) const
{
    const std::size_t shown = std::min(count, _figures.size());
    return {_figures.end() - static_cast<std::ptrdiff_t>(shown), _figures.end()};
}

std::string LoadHistory::bars(std::size_t count, bool unicode) const
{
    std::string text;
    for (const double load : latest(count))
        text += bar(load, unicode);
    return text;
}
