#ifndef TESTS_HOST_SESSION_PLANEBYTES_H
#define TESTS_HOST_SESSION_PLANEBYTES_H

#include <QByteArray>

#include <cstddef>

#include <decoding/Plane.h>

/// @return the bytes of @p frame that belong to it, plane by plane and row by row.
template <class Frame>
QByteArray bytesOf(const Frame &frame)
{
    QByteArray bytes;
    for (int index = 0; index < frame.planeCount(); ++index) {
        const decoding::Plane plane = frame.plane(index);
        for (int row = 0; row < plane.height; ++row)
            bytes.append(reinterpret_cast<const char *>(plane.data) + std::ptrdiff_t(row) * plane.stride, plane.width);
    }
    return bytes;
}

#endif
