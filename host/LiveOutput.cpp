#include "host/LiveOutput.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace netinfo {
namespace {

/// What every kind of stream takes without waiting once it says that it is ready.
constexpr std::size_t SMALL_WRITE = 512;

bool IsStreamOfTheKernel(int descriptor)
{
    struct stat status
    {};
    if (fstat(descriptor, &status) != 0) return false;
    return S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode);
}

/// The same terminal or pipe, opened once more and non-blocking: setting that on `descriptor` itself would
/// set it for every process that shares it. -1 if it cannot be opened.
int OpenAgain(int descriptor)
{
    if (!IsStreamOfTheKernel(descriptor)) return -1;
    const std::string path = fmt::format("/proc/self/fd/{}", descriptor);
    return open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

}  // namespace

LiveOutput::LiveOutput(int descriptor) : m_descriptor(OpenAgain(descriptor))
{
    m_mayBlock = m_descriptor < 0;
    if (m_descriptor < 0) m_descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (m_descriptor < 0) m_error = errno;
}

LiveOutput::~LiveOutput()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

bool LiveOutput::Send(std::string_view text)
{
    if (m_pending.size() + text.size() > MOST_PENDING) return false;
    m_pending += text;
    Flush();
    return true;
}

void LiveOutput::Flush()
{
    std::size_t written = 0;
    while (m_error == 0 && written < m_pending.size()) {
        std::size_t count = m_pending.size() - written;
        if (m_mayBlock) {
            pollfd ready{m_descriptor, POLLOUT, 0};
            if (poll(&ready, 1, 0) <= 0) break;
            count = std::min(count, SMALL_WRITE);
        }
        const ssize_t length = write(m_descriptor, m_pending.data() + written, count);
        if (length >= 0) {
            written += static_cast<std::size_t>(length);
        } else if (errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
    m_pending.erase(0, written);
    if (m_error != 0) m_pending.clear();
}

void LiveOutput::Finish(int limit)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit);
    while (!m_pending.empty()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return;
        pollfd ready{m_descriptor, POLLOUT, 0};
        poll(&ready, 1, static_cast<int>(left.count()));
        Flush();
    }
}

}  // namespace netinfo
