#include <cerrno>
#include <cstddef>

#include "tests/support/AllocationCount.h"

// The allocating functions of the C library, in the program and in every library it loads. Memory is freed as
// ever.

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    nettest::AllocationCount::Note();
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    nettest::AllocationCount::Note();
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size)
{
    nettest::AllocationCount::Note();
    return __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    nettest::AllocationCount::Note();
    return __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) int posix_memalign(void** memory, std::size_t alignment,
                                                          std::size_t size)
{
    nettest::AllocationCount::Note();
    void* const made = __libc_memalign(alignment, size);
    if (!made) return ENOMEM;
    *memory = made;
    return 0;
}

}  // extern "C"
