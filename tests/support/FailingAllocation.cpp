#include "tests/support/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace nettest {
namespace {

enum class Mode
{
    Off,
    Counting,
    Failed
};

thread_local Mode t_mode = Mode::Off;
thread_local std::size_t t_succeeding = 0;

bool FailsNow()
{
    if (t_mode != Mode::Counting) return false;
    if (t_succeeding-- > 0) return false;
    t_mode = Mode::Failed;
    return true;
}

}  // namespace

FailingAllocation::FailingAllocation(std::size_t succeeding)
{
    t_succeeding = succeeding;
    t_mode = Mode::Counting;
}

FailingAllocation::~FailingAllocation() { t_mode = Mode::Off; }

bool FailingAllocation::HasFailed() const { return t_mode == Mode::Failed; }

}  // namespace nettest

// The array and the non-throwing forms of the standard library come down to these.
void* operator new(std::size_t size)
{
    if (nettest::FailsNow()) throw std::bad_alloc();
    if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
