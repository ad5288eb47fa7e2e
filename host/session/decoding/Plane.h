#ifndef DECODING_PLANE_H
#define DECODING_PLANE_H

#include <cstdint>

namespace decoding {

/// A rectangle of bytes in a frame's memory, valid as long as any copy of the frame. Nobody may write to it.
struct Plane {
    const std::uint8_t *data = nullptr; // the first byte of the first row
    int stride = 0;                     // bytes from one row to the next; negative where the rows lie upside down
    int width = 0;                      // bytes of a row that belong to the frame
    int height = 0;                     // rows
};

/// A fraction; 0 / 1 where it is not known.
struct Rational {
    int numerator = 0;
    int denominator = 1;
};

} // namespace decoding

#endif
