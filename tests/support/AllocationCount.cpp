#include "tests/support/AllocationCount.h"

#include <atomic>

namespace nettest {
namespace {

constinit std::atomic<bool> g_counting{false};
constinit std::atomic<std::size_t> g_made{0};
constinit std::atomic<long long> g_held{0};

}  // namespace

AllocationCount::AllocationCount()
{
    g_made = 0;
    g_held = 0;
    g_counting = true;
}

AllocationCount::~AllocationCount() { g_counting = false; }

std::size_t AllocationCount::Made() const { return g_made; }

long long AllocationCount::Held() const { return g_held; }

void AllocationCount::NoteAllocated(std::size_t bytes)
{
    if (!g_counting || Uncounted::Any()) return;
    ++g_made;
    g_held += static_cast<long long>(bytes);
}

void AllocationCount::NoteFreed(std::size_t bytes)
{
    if (g_counting && !Uncounted::Any()) g_held -= static_cast<long long>(bytes);
}

}  // namespace nettest
