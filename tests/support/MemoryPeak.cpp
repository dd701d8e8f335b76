#include "tests/support/MemoryPeak.h"

#include <malloc.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace nettest {
namespace {

/// A line of the kernel's report on this process, in bytes.
std::size_t Status(const std::string& label)
{
    std::ifstream report("/proc/self/status");
    for (std::string word; report >> word;) {
        std::size_t kibibytes = 0;
        if (word == label && report >> kibibytes) return kibibytes * 1024;
    }
    throw std::runtime_error("the kernel does not report " + label);
}

}  // namespace

MemoryPeak::MemoryPeak()
{
    malloc_trim(0);                               // what was freed is not there to be used again
    std::ofstream("/proc/self/clear_refs") << 5;  // the highest from now on
    m_atStart = Status("VmRSS:");
}

std::size_t MemoryPeak::Bytes() const
{
    if (*NETINFO_SANITIZED) return 0;  // the sanitizers of this build, if any
    const std::size_t peak = Status("VmHWM:");
    return peak > m_atStart ? peak - m_atStart : 0;
}

}  // namespace nettest
