#include "tests/support/AllocationCount.h"

#include <atomic>
#include <cstdlib>

namespace nettest {
namespace {

constinit std::atomic<bool> g_counting{false};
constinit std::atomic<std::size_t> g_made{0};

}  // namespace

AllocationCount::AllocationCount()
{
    g_made = 0;
    g_counting = true;
}

AllocationCount::~AllocationCount() { g_counting = false; }

bool AllocationCount::Available()
{
    const AllocationCount count;
    void* volatile memory = std::malloc(1);
    std::free(memory);
    return count.Made() > 0;
}

std::size_t AllocationCount::Made() const { return g_made; }

void AllocationCount::Note()
{
    if (g_counting && !Uncounted::Any()) ++g_made;
}

}  // namespace nettest
