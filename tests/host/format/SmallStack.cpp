#include "SmallStack.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <pthread.h>
#include <stdexcept>

#include <sys/mman.h>

namespace {

constexpr std::size_t guardSize = 65536;
constexpr std::uint8_t paint = 0xa5;

void *runWork(void *work)
{
    (*static_cast<const std::function<void()> *>(work))();
    return nullptr;
}

} // namespace

std::size_t SmallStack::run(const std::function<void()> &work)
{
    const std::size_t stackSize = isMeasured ? size : 16 * size;
    void *const memory =
        mmap(nullptr, guardSize + stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for a stack");
    // Who needs more than there is must fall here, not write elsewhere.
    mprotect(memory, guardSize, PROT_NONE);
    auto *const stack = static_cast<std::uint8_t *>(memory) + guardSize;
    std::memset(stack, paint, stackSize);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_t thread = {};
    if (pthread_attr_setstack(&attributes, stack, stackSize) != 0 ||
        pthread_create(&thread, &attributes, runWork, const_cast<std::function<void()> *>(&work)) != 0)
        throw std::runtime_error("no thread with a stack of its own");
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);

    const auto *const end = stack + stackSize;
    const auto *const deepest = std::find_if(stack, stack + stackSize, [](std::uint8_t byte) { return byte != paint; });
    const auto used = static_cast<std::size_t>(end - deepest);
    munmap(memory, guardSize + stackSize);
    return used;
}
