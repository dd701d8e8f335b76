#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

/// Owns a file descriptor and closes it at the end of its scope, leaving `errno` alone.
class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        const int reason = errno;
        if (m_fd >= 0) close(m_fd);
        errno = reason;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpen() const { return m_fd >= 0; }
    int Get() const { return m_fd; }
    /// Leaves the closing to the caller.
    int Release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;  ///< negative: none
};
