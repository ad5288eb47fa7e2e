#ifndef DECODERS_ADDRESSNAME_H
#define DECODERS_ADDRESSNAME_H

#include <QString>

/// Names a nameless @p object by its address. @param format holds one "%p".
inline QString addressName(const char *format, const void *object)
{
    // Qt 4 has no QString::asprintf, and Qt 5 has deprecated QString::sprintf.
#if QT_VERSION >= 0x050000
    return QString::asprintf(format, object);
#else
    return QString().sprintf(format, object);
#endif
}

#endif
