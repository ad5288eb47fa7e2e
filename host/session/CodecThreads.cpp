#include "session/CodecThreads.h"

#include <algorithm>
#include <utility>

CodecThreads::CodecThreads(int chosen, int cores)
    : _chosen(chosen)
    , _cores(cores)
{
}

CodecThreads::Share::Share(std::shared_ptr<CodecThreads> threads)
    : _threads(std::move(threads))
{
    ++_threads->_inputs;
}

CodecThreads::Share::~Share()
{
    --_threads->_inputs;
}

int CodecThreads::forFile() const
{
    if (_chosen > 0)
        return _chosen;
    const int cores = _cores / std::max(_inputs.load(), 1);
    return cores > 1 ? std::min(cores + 1, most) : 1;
}
