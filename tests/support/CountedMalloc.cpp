#include <malloc.h>

#include <cerrno>
#include <cstddef>

#include "tests/support/AllocationCount.h"

// The allocating functions of the C library, in the program and in every library it loads.

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

}  // extern "C"

namespace {

void* Allocated(void* memory)
{
    nettest::AllocationCount::NoteAllocated(malloc_usable_size(memory));
    return memory;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    return Allocated(__libc_malloc(size));
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    return Allocated(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size)
{
    nettest::AllocationCount::NoteFreed(malloc_usable_size(memory));
    void* const moved = __libc_realloc(memory, size);
    const bool isLeftAlone = !moved && size > 0;
    Allocated(isLeftAlone ? memory : moved);
    return moved;
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return Allocated(__libc_memalign(alignment, size));
}

__attribute__((visibility("default"))) int posix_memalign(void** memory, std::size_t alignment,
                                                          std::size_t size)
{
    void* const made = Allocated(__libc_memalign(alignment, size));
    if (!made) return ENOMEM;
    *memory = made;
    return 0;
}

__attribute__((visibility("default"))) void free(void* memory)
{
    nettest::AllocationCount::NoteFreed(malloc_usable_size(memory));
    __libc_free(memory);
}

}  // extern "C"
