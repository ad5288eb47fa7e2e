#ifndef TESTS_HOST_UNREST_CHANCE_H
#define TESTS_HOST_UNREST_CHANCE_H

#include <cstdint>
#include <random>

/// What happens next, the same for the same seed. Belongs to one thread.
class Chance final {
public:
    explicit Chance(std::uint64_t seed)
        : _random(seed)
    {
    }

    /// @return 0 to @p count - 1.
    int below(int count) { return static_cast<int>(_random() % static_cast<std::uint64_t>(count)); }
    bool oneIn(int count) { return below(count) == 0; }
    template <class List>
    auto &of(List &list)
    {
        return list[static_cast<typename List::size_type>(below(static_cast<int>(list.size())))];
    }

private:
    std::mt19937_64 _random;
};

#endif
