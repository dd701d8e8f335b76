#include "tests/support/FailingAllocation.h"

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

}  // namespace

FailingAllocation::FailingAllocation(std::size_t succeeding)
{
    t_succeeding = succeeding;
    t_mode = Mode::Counting;
}

FailingAllocation::~FailingAllocation() { t_mode = Mode::Off; }

bool FailingAllocation::Available()
{
    const FailingAllocation failing(0);
    try {
        ::operator delete(::operator new(1));
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

bool FailingAllocation::HasFailed() const { return t_mode == Mode::Failed; }

bool FailingAllocation::TakesThisOne()
{
    if (t_mode != Mode::Counting) return false;
    if (t_succeeding-- > 0) return false;
    t_mode = Mode::Failed;
    return true;
}

}  // namespace nettest
