#ifndef QTVERSIONS_H
#define QTVERSIONS_H

#include <QByteArray>
#include <QObject>
#include <QString>

/// What Qt 4.8 and Qt 5 do differently, and the component needs alike on both. The moc of 4.8 misreads conditions with
/// QT_VERSION_CHECK.

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

/// @return the bytes that a "%s" of a printf-style Qt message shows as @p text.
inline QByteArray messageBytes(const QString &text)
{
    // Qt 5 reads them as UTF-8, whatever the local encoding is; Qt 4 passes them on as they are.
#if QT_VERSION >= 0x050000
    return text.toUtf8();
#else
    return text.toLocal8Bit();
#endif
}

/// Starts a timer of @p object that is not put off to coincide with others. @return its id.
inline int startPreciseTimer(QObject &object, int intervalMs)
{
    // Qt 4 has no other timers.
#if QT_VERSION >= 0x050000
    return object.startTimer(intervalMs, Qt::PreciseTimer);
#else
    return object.startTimer(intervalMs);
#endif
}

#endif
