#pragma once

#include <cstddef>

namespace nettest {

/// Counts, while it lives, every piece of memory that any thread asks the C library for, by whatever name:
/// `malloc`, `operator new`, a library function that copies a text. The same in every build: what the C
/// library or a sanitizer keeps for later is not in it.
///
/// Threads: one object at a time; any thread may allocate meanwhile.
class AllocationCount
{
public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    /// Pieces asked for.
    std::size_t Made() const;
    /// Bytes asked for and not given back; below 0 where more was given back that is older than the count.
    long long Held() const;

    /// For the functions that allocate and free: of how many bytes.
    static void NoteAllocated(std::size_t bytes);
    static void NoteFreed(std::size_t bytes);
};

/// What the thread allocates and frees while it lives is not counted: it is the test's own. May be nested.
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
