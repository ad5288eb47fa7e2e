#ifndef HOST_FORMAT_TESTS_LEAVINGS_H
#define HOST_FORMAT_TESTS_LEAVINGS_H

#include <QtGlobal>

#include <memory>
#include <set>
#include <vector>

#include "slab/BlockOwner.h"

/// What other streams leave in memory that is used again: one value everywhere in idle big blocks, and one in the heap.
class Leavings final {
public:
    /// @param sizes of the big blocks, as they are asked for. @param count how many idle blocks of each.
    Leavings(quint8 inBlocks, quint8 inHeap, const std::set<quint32> &sizes, int count);
    ~Leavings();
    Leavings(const Leavings &) = delete;
    Leavings &operator=(const Leavings &) = delete;

    /// Decodes another picture of another stream, of one value as well, keeps it for a while, and ends the stream now
    /// and then.
    void goOn();

private:
    struct Picture {
        void *data;
        quint32 size;
    };
    void giveBackOldest();

    const quint8 _value;
    const std::set<quint32> _sizes;
    /// Its size, none of which is ever touched, lets so many blocks stay idle.
    void *const _ballast;
    std::unique_ptr<slab::BlockOwner> _owner = std::make_unique<slab::BlockOwner>();
    std::vector<Picture> _kept;
    int _turn = 0;
};

#endif
