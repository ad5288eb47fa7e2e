#ifndef INTERFACES_QUEUECURSOR_H
#define INTERFACES_QUEUECURSOR_H

#include <QtGlobal>

/// A reader's position in an input queue. Its meaning belongs to the queue alone; a fresh cursor, as initialised here,
/// stands where the queue wants a new reader to begin. It is a plain value: a reader that keeps its old copy reads the
/// same block again.
struct QueueCursor {
    quint32 word0 = 0;
    quint32 word1 = 0;
    bool flag = true;
};

#endif
