#pragma once

struct mnl_socket;

namespace netinfo {

/// Hears from the kernel when a link or a route changes.
///
/// Threads:   one host thread.
/// Ownership: owns its socket.
/// Errors:    without a socket (the system refused one) the descriptor is -1 and nothing is heard.
class LinkWatch
{
public:
    LinkWatch();
    ~LinkWatch();
    LinkWatch(const LinkWatch&) = delete;
    LinkWatch& operator=(const LinkWatch&) = delete;

    /// Becomes readable on a change.
    int Descriptor() const;
    /// Takes in what was heard. What exactly changed does not matter: the links are read anew, which also
    /// makes up for messages that the kernel had to drop.
    void Drain();

private:
    mnl_socket* m_socket;  ///< owned; null: none
};

}  // namespace netinfo
