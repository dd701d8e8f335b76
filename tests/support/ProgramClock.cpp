#include "tests/support/ProgramClock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

namespace nettest {

namespace {

constexpr long long SECOND = 1'000'000'000;  // nanoseconds

long long WallClock()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * SECOND + now.tv_nsec;
}

}  // namespace

ProgramClock::ProgramClock(std::string library, std::time_t start) : m_library(std::move(library))
{
    const int file = open(m_directory.File("page").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool sized = file >= 0 && ftruncate(file, sizeof(ClockOffsets)) == 0;
    void* const page =
        sized ? mmap(nullptr, sizeof(ClockOffsets), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) : MAP_FAILED;
    if (file >= 0) close(file);
    if (page == MAP_FAILED) throw std::runtime_error("no page for the clock of a program");
    m_offsets = new (page) ClockOffsets{start * SECOND - WallClock(), 0};
}

ProgramClock::~ProgramClock() { munmap(m_offsets, sizeof *m_offsets); }

std::map<std::string, std::string> ProgramClock::Environment() const
{
    return {{"LD_PRELOAD", m_library}, {PAGE, m_directory.File("page")}};
}

void ProgramClock::PassTo(std::time_t moment)
{
    const long long now = WallClock() + m_offsets->wall + m_offsets->passed;
    m_offsets->passed += std::max(0LL, moment * SECOND - now);
}

}  // namespace nettest
