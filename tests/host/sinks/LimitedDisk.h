#ifndef HOST_SINKS_TESTS_LIMITEDDISK_H
#define HOST_SINKS_TESTS_LIMITEDDISK_H

#include <QtGlobal>

/// While there is one, regular files together take no more bytes than it has room for: what is written beyond that
/// fails as on a full disk, a write across the limit after a part of it. One at a time; thread-safe.
class LimitedDisk final {
public:
    explicit LimitedDisk(qint64 room) { setRoom(room); }
    ~LimitedDisk();
    Q_DISABLE_COPY(LimitedDisk)

    /// From now on there is room for so many bytes.
    static void setRoom(qint64 room);
};

#endif
