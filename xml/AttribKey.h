#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Bytes that may be read behind the NUL of a text that is scanned with what is below.
constexpr std::size_t SCAN_PADDING = 16;

/// The first '"' from `at` on; something behind `last` if there is none up to there.
inline const char* FindQuote(const char* at, const char* last)
{
#ifdef __SSE2__
    const __m128i quotes = _mm_set1_epi8('"');
    for (; at <= last; at += sizeof(__m128i)) {
        __m128i text;
        std::memcpy(&text, at, sizeof text);
        const int hits = _mm_movemask_epi8(_mm_cmpeq_epi8(text, quotes));
        if (hits != 0) return at + __builtin_ctz(static_cast<unsigned int>(hits));
    }
#else
    while (at <= last && *at != '"')
        ++at;
#endif
    return at;
}

/// The name of an attribute, made ready to be looked for again and again: in most documents it stands as
/// ` name="`, which one comparison of 16 bytes tells.
class AttribKey
{
public:
    /// `name` is a single word and must live as long as the key.
    explicit AttribKey(std::string_view name) noexcept : m_name(name), m_length(name.size() + 3)
    {
        if (m_length > m_text.size()) return;
        m_text[0] = ' ';
        std::memcpy(m_text.data() + 1, name.data(), name.size());
        m_text[m_length - 2] = '=';
        m_text[m_length - 1] = '"';
        m_mask = (1U << m_length) - 1U;
    }

    std::string_view Name() const { return m_name; }
    /// The length of ` name="`.
    std::size_t Length() const { return m_length; }
    /// Whether ` name="` stands at `at`. A long name is never found this way.
    bool IsAt(const char* at) const
    {
#ifdef __SSE2__
        __m128i text;
        __m128i key;
        std::memcpy(&text, at, sizeof text);
        std::memcpy(&key, m_text.data(), sizeof key);
        const auto different = ~static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, key)));
        return m_mask != 0 && (different & m_mask) == 0;
#else
        return m_mask != 0 && std::memcmp(at, m_text.data(), m_length) == 0;
#endif
    }

private:
    std::string_view m_name;
    std::size_t m_length;
    unsigned int m_mask = 0;  ///< a bit for each byte of m_text that counts; 0 for a long name
    alignas(16) std::array<char, SCAN_PADDING> m_text = {};
};
