#pragma once

#include <cstddef>

namespace nettest {

/// Counts, while it lives, every piece of memory that any thread asks the C library for, by whatever name:
/// `malloc`, `operator new`, a library function that copies a text.
///
/// Threads: one object at a time; any thread may allocate meanwhile.
/// Errors:  the sanitizers keep the C library's functions to themselves; a test asks `Available` and skips.
class AllocationCount
{
public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    static bool Available();
    std::size_t Made() const;

    /// For the allocating functions.
    static void Note();
};

/// What the thread allocates while it lives is not counted: it is the test's own. May be nested.
class Uncounted
{
public:
    Uncounted() { ++t_depth; }
    ~Uncounted() { --t_depth; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;

    static bool Any() { return t_depth > 0; }

private:
    static inline thread_local int t_depth = 0;
};

}  // namespace nettest
