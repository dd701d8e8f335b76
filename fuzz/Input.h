#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace nettest {

/// The bytes that a fuzzer is given, taken from the front: as choices, as texts, and what is left as a file.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : Input({reinterpret_cast<const char*>(data), size}) {}

    bool AtEnd() const { return m_rest.empty(); }

    /// 0 at the end.
    unsigned int Byte()
    {
        if (m_rest.empty()) return 0;
        const auto byte = static_cast<unsigned char>(m_rest[0]);
        m_rest.remove_prefix(1);
        return byte;
    }

    /// A number of `bytes` bytes, little-endian.
    unsigned long long Number(unsigned int bytes)
    {
        unsigned long long number = 0;
        for (unsigned int i = 0; i < bytes; ++i)
            number |= static_cast<unsigned long long>(Byte()) << (8 * i);
        return number;
    }

    /// A choice among `count`, at most 256.
    unsigned int Below(unsigned int count) { return Byte() % count; }

    /// Up to the next NUL, which is taken, too, or to the end.
    std::string Text()
    {
        const std::size_t end = m_rest.find('\0');
        std::string text(m_rest.substr(0, end));
        m_rest.remove_prefix(std::min(m_rest.size(), end == std::string_view::npos ? end : end + 1));
        return text;
    }

    /// The next `length` bytes, or as many as there are, as an input of their own.
    Input Part(std::size_t length)
    {
        const Input part(m_rest.substr(0, length));
        m_rest.remove_prefix(std::min(m_rest.size(), length));
        return part;
    }

    std::string Rest()
    {
        std::string text(m_rest);
        m_rest = {};
        return text;
    }

private:
    explicit Input(std::string_view rest) : m_rest(rest) {}

    std::string_view m_rest;
};

/// Ends the process, as a finding, if the claim does not hold.
inline void Require(bool holds, const char* claim)
{
    if (holds) return;
    std::fprintf(stderr, "This does not hold: %s\n", claim);
    std::abort();
}

/// The same for a fault that tells about itself, empty if there is none.
inline void RequireNone(const std::string& fault) { Require(fault.empty(), fault.c_str()); }

}  // namespace nettest
