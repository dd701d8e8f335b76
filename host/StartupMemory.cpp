#include "host/StartupMemory.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace netinfo {
namespace {

/// Lets go of a library's code. Code is never written, so the file has all of it.
int ReleaseCode(dl_phdr_info* library, std::size_t /*size*/, void* /*data*/)
{
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = library->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD) continue;
        if ((segment.p_flags & PF_X) == 0 || (segment.p_flags & PF_W) != 0) continue;

        const std::uintptr_t begin = (library->dlpi_addr + segment.p_vaddr) / page * page;
        const std::uintptr_t end = library->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): where a library lies is told as a number
        auto* const code = reinterpret_cast<void*>(begin);
        madvise(code, end - begin, MADV_DONTNEED);
    }
    return 0;
}

}  // namespace

void ReleaseStartupMemory()
{
    malloc_trim(0);
    dl_iterate_phdr(ReleaseCode, nullptr);
}

}  // namespace netinfo
