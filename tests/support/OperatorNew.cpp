#include <cstdlib>
#include <new>

#include "tests/support/FailingAllocation.h"

// The array and the non-throwing forms of the standard library come down to these.

void* operator new(std::size_t size)
{
    if (nettest::FailingAllocation::TakesThisOne()) throw std::bad_alloc();
    if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
