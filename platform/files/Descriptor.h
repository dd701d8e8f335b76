#pragma once

#include <unistd.h>

#include <cerrno>

/// Owns a file descriptor and closes it at the end of its scope, leaving `errno` alone.
class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        const int reason = errno;
        Close();
        errno = reason;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpen() const { return m_fd >= 0; }
    int Get() const { return m_fd; }

    /// False if the system reports only now that something was not written.
    bool Close()
    {
        if (m_fd < 0) return true;
        const int fd = m_fd;
        m_fd = -1;
        return close(fd) == 0 || errno == EINTR;  // interrupted or not, the descriptor is gone
    }

private:
    int m_fd;  ///< negative: none
};
