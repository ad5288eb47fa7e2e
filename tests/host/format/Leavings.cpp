#include "Leavings.h"

#include <cstring>
#include <malloc.h>

#include "interfaces/BigBlocks.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr quint32 ballastBytes = 1; // nothing stays idle anyhow
#else
constexpr quint32 ballastBytes = 1U << 30;
#endif

} // namespace

Leavings::Leavings(quint8 inBlocks, quint8 inHeap, const std::set<quint32> &sizes, int count)
    : _value(inBlocks)
    , _sizes(sizes)
    , _ballast(slab::bigBlockAllocate(ballastBytes))
{
    // Memory of the heap holds this value when it is given back, and its complement when it is handed out.
    mallopt(M_PERTURB, inHeap);
    for (const quint32 size : _sizes) {
        for (int index = 0; index < count; ++index)
            _kept.push_back({std::memset(slab::bigBlockAllocate(size), _value, size), size});
    }
    while (!_kept.empty())
        giveBackOldest();
}

Leavings::~Leavings()
{
    while (!_kept.empty())
        giveBackOldest();
    mallopt(M_PERTURB, 0);
    slab::bigBlockDeallocate(_ballast, ballastBytes);
}

void Leavings::goOn()
{
    constexpr int picturesOfStream = 5;
    constexpr std::size_t picturesKept = 3;
    for (const quint32 size : _sizes)
        _kept.push_back({std::memset(_owner->allocate(size), _value, size), size});
    while (_kept.size() > picturesKept * _sizes.size())
        giveBackOldest();
    if (++_turn % picturesOfStream == 0)
        _owner = std::make_unique<slab::BlockOwner>();
}

void Leavings::giveBackOldest()
{
    slab::bigBlockDeallocate(_kept.front().data, _kept.front().size);
    _kept.erase(_kept.begin());
}
