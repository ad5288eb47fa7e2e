#ifndef MANAGER_DECODINGMANAGER_H
#define MANAGER_DECODINGMANAGER_H

#include <cstddef>
#include <new>
#include <stdexcept>

#include "strata/base/modkit/modkit"

/// In place of the component's one object: its construction throws. Counts the memory that it takes and gives back.
class DecodingManager final : public IComponent {
public:
    static inline int blocksTaken = 0;
    static inline int blocksGivenBack = 0;

    DecodingManager() { throw std::runtime_error("no manager"); }

    static void *operator new(std::size_t size)
    {
        ++blocksTaken;
        return ::operator new(size);
    }
    static void operator delete(void *block)
    {
        ++blocksGivenBack;
        ::operator delete(block);
    }

    bool init(const ModkitPtr<ISettings> & /*settings*/, IObjectRegistry & /*registry*/,
              const ModkitPtr<IComponent> & /*self*/) override
    {
        return false;
    }
    void stop() override {}
    int check() override { return 1; }
};

#endif
