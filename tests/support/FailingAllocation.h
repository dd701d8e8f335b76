#pragma once

#include <cstddef>

namespace nettest {

/// While it lives, one allocation of the thread that made it fails with `std::bad_alloc`: the one after
/// `succeeding` others. Walking `succeeding` up from 0 until nothing failed tries every point at which an
/// operation can run out of memory.
///
/// Threads: one object at a time on a thread; other threads allocate as ever.
class FailingAllocation
{
public:
    explicit FailingAllocation(std::size_t succeeding);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// True once the failure has happened.
    bool HasFailed() const;
};

}  // namespace nettest
