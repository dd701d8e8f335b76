#pragma once

#include <cstddef>

namespace nettest {

/// How much memory a piece of work takes at once: the most that the process held at any moment since this was
/// made, beyond what it held at its making.
///
/// Threads: one object at a time in the process; all threads count.
/// Errors:  0 under a sanitizer, which needs several times the memory for itself.
class MemoryPeak
{
public:
    MemoryPeak();

    /// Bytes of resident memory.
    std::size_t Bytes() const;

private:
    std::size_t m_atStart;
};

}  // namespace nettest
