#pragma once

namespace netinfo {

/// A timer of the system as a descriptor.
///
/// Threads:   one.
/// Ownership: owns its descriptor.
/// Units:     nanoseconds, of a clock that nobody sets.
class Timer
{
public:
    Timer();
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Becomes readable when the timer has gone off; -1: the system gave none.
    int Descriptor() const { return m_descriptor; }
    /// Goes off after `first` and then every `interval`; interval 0: once.
    void Start(long first, long interval);
    /// Takes note that it has gone off.
    void Drain();

private:
    const int m_descriptor;  ///< owned
};

}  // namespace netinfo
