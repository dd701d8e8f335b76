#include <sanitizer/allocator_interface.h>

#include <cstddef>

#include "tests/support/AllocationCount.h"

// Where the sanitizer has taken the place of the allocating functions, it tells about each call.

namespace {

using nettest::AllocationCount;

[[maybe_unused]] const bool g_isTold = [] {
    const auto allocated = [](const volatile void*, std::size_t size) {
        AllocationCount::NoteAllocated(size);
    };
    const auto freed = [](const volatile void* memory) {
        AllocationCount::NoteFreed(__sanitizer_get_allocated_size(const_cast<const void*>(memory)));
    };
    return __sanitizer_install_malloc_and_free_hooks(allocated, freed) != 0;
}();

}  // namespace

// The address sanitizer registers an exit handler of its own beside each of the program's and, after its
// library is unloaded, keeps it. Not ours to count.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
extern "C" int __interceptor___cxa_atexit(void (*function)(void*), void* argument, void* library);

extern "C" __attribute__((visibility("default"))) int __cxa_atexit(void (*function)(void*), void* argument,
                                                                   void* library)
{
    const nettest::Uncounted itsOwn;
    return __interceptor___cxa_atexit(function, argument, library);
}
#endif
#endif
