#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Bytes that may be read behind the NUL of a text that is scanned with what is below.
constexpr std::size_t SCAN_PADDING = 64;

/// Finds the '"' of a text one after the other. They are looked for in blocks of 64 bytes at once, so the
/// next one is known without another look at the text.
class QuoteScan
{
public:
    /// Begins at `at`, which must not be behind `last`.
    QuoteScan(const char* at, const char* last) : m_block(at), m_last(last), m_quotes(QuotesOf(at)) {}

    /// The next one; something behind `last` if there is none up to there.
    const char* Next()
    {
        while (m_quotes == 0) {
            m_block += BLOCK;
            if (m_block > m_last) return m_block;
            m_quotes = QuotesOf(m_block);
        }
        const char* const quote = m_block + std::countr_zero(m_quotes);
        m_quotes &= m_quotes - 1;
        return quote;
    }

private:
    static constexpr int BLOCK = 64;

    /// A bit for each byte of the block, set for a quote; the lowest for the first.
    static std::uint64_t QuotesOf(const char* block)
    {
        return QuotesOfQuarter(block) | QuotesOfQuarter(block + 16) << 16 |
               QuotesOfQuarter(block + 32) << 32 | QuotesOfQuarter(block + 48) << 48;
    }
    static std::uint64_t QuotesOfQuarter(const char* at)
    {
#ifdef __SSE2__
        __m128i text;
        std::memcpy(&text, at, sizeof text);
        const __m128i hits = _mm_cmpeq_epi8(text, _mm_set1_epi8('"'));
        return static_cast<unsigned int>(_mm_movemask_epi8(hits));
#else
        std::uint64_t quotes = 0;
        for (int i = 0; i < BLOCK / 4; ++i)
            quotes |= std::uint64_t{at[i] == '"'} << i;
        return quotes;
#endif
    }

    const char* m_block;
    const char* m_last;
    std::uint64_t m_quotes;  ///< of the block, without those that were found
};

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
    /// Whether ` name="` stands at `at`. A long name is never found this way.
    bool IsAt(const char* at) const
    {
#ifdef __SSE2__
        __m128i text;
        __m128i key;
        std::memcpy(&text, at, sizeof text);
        std::memcpy(&key, m_text.data(), sizeof key);
        const auto different = ~static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, key)));
        return (different & m_mask) == 0;
#else
        return m_mask != NEVER && std::memcmp(at, m_text.data(), m_length) == 0;
#endif
    }

private:
    static constexpr unsigned int NEVER = 1U << 16;  ///< the mask of a long name: there is no such byte

    std::string_view m_name;
    std::size_t m_length;         ///< of ` name="`
    unsigned int m_mask = NEVER;  ///< a bit for each byte of m_text that counts
    alignas(16) std::array<char, 16> m_text = {};
};
