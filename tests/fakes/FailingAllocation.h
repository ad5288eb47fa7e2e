#ifndef FAKES_FAILINGALLOCATION_H
#define FAKES_FAILINGALLOCATION_H

/// While it lives, one allocation of the calling thread fails, by malloc or realloc and so also by operator new and in
/// Qt's containers. For programs that are linked with its source and without a sanitizer, which has an allocator of
/// its own. One at a time for each thread.
class FailingAllocation {
public:
    /// @param before number of allocations that still succeed.
    explicit FailingAllocation(int before);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation &) = delete;
    FailingAllocation &operator=(const FailingAllocation &) = delete;

    /// @return whether there were enough allocations for one to fail.
    bool hasFailed() const;
};

#endif
