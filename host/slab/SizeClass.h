#ifndef HOST_SLAB_SIZECLASS_H
#define HOST_SLAB_SIZECLASS_H

#include <cstddef>

/// One of the sizes that blocks have, header included.
///
/// The sizes are whole pages, eight for each doubling, so that a block is at most an eighth or a page longer than what
/// was asked for. Nobody writes to what it is longer by, so that takes addresses but no memory.
class SizeClass final {
public:
    /// The smallest class with room for @p bytes, which is more than 0 and at most 4 GB and a header.
    explicit constexpr SizeClass(std::size_t bytes)
    {
        const std::size_t pages = (bytes + pageBytes - 1) / pageBytes;
        while (pages >> _doublings >= 16)
            ++_doublings;
        const std::size_t unitPages = std::size_t(1) << _doublings;
        _units = (pages + unitPages - 1) / unitPages;
    }

    /// The bytes that blocks of the class have room for.
    constexpr std::size_t bytes() const { return _units * pageBytes << _doublings; }
    /// Counts the classes from 0 on, without a gap.
    constexpr std::size_t index() const { return _doublings * 8 + _units - 1; }

private:
    static constexpr std::size_t pageBytes = 4096;

    // The size is so many units, each a page doubled so many times: 8 to 16 units, or fewer when a unit is one page.
    std::size_t _doublings = 0;
    std::size_t _units = 0;
};

#endif
