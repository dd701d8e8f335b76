#pragma once

#include <cstddef>

namespace nettest {

/// While it lives, one allocation of the thread that made it fails with `std::bad_alloc`: the one after
/// `succeeding` others. Walking `succeeding` up from 0 until nothing failed tries every point at which an
/// operation can run out of memory.
///
/// Threads: one object at a time on a thread; other threads allocate as ever.
/// Errors:  the thread sanitizer insists on an `operator new` of its own; a test asks `Available` and skips.
class FailingAllocation
{
public:
    explicit FailingAllocation(std::size_t succeeding);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    static bool Available();
    /// True once the failure has happened.
    bool HasFailed() const;

    /// For `operator new`: whether the allocation that is being made is the one to fail.
    static bool TakesThisOne();
};

}  // namespace nettest
