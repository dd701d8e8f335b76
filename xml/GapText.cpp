#include "xml/GapText.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr int LEAST_SPARE = 64;     // bytes
constexpr int TEXT_PER_SPARE = 64;  // bytes of text for each byte of spare room

std::size_t Length(int count) { return static_cast<std::size_t>(count); }

int Limited(long long end) { return static_cast<int>(std::min<long long>(end, GapText::LIMIT)); }

}  // namespace

GapText::GapText(const GapText& other)
{
    if (!other.m_memory) return;
    Reserve(other.m_end);
    m_gapLeft = other.m_gapLeft;
    m_gapRight = other.m_gapRight;
    m_end = other.m_end;
    std::memcpy(m_memory.get(), other.m_memory.get(), Length(m_gapLeft));
    std::memcpy(m_memory.get() + m_gapRight, other.m_memory.get() + m_gapRight, Length(m_end - m_gapRight));
    MarkEnds();
}

void GapText::Swap(GapText& other) noexcept
{
    std::swap(m_memory, other.m_memory);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_gapLeft, other.m_gapLeft);
    std::swap(m_gapRight, other.m_gapRight);
    std::swap(m_end, other.m_end);
}

int GapText::Spare() const { return LEAST_SPARE + Size() / TEXT_PER_SPARE; }

void GapText::Reserve(int end)
{
    if (m_memory && end <= m_capacity) return;
    void* const grown = std::realloc(m_memory.get(), Length(end) + SCAN_PADDING + 1);
    if (!grown) throw std::bad_alloc();
    static_cast<void>(m_memory.release());  // realloc has taken it
    m_memory.reset(static_cast<char*>(grown));
    m_capacity = end;
}

void GapText::MarkEnds()
{
    if (!m_memory) return;
    if (Gap() > 0) m_memory.get()[m_gapLeft] = '\0';
    m_memory.get()[m_end] = '\0';
}

char* GapText::Prepare(int size)
{
    const long long spare = LEAST_SPARE + size / TEXT_PER_SPARE;
    const int gap = static_cast<int>(std::min<long long>(spare, LIMIT - size));
    const int capacity = Limited(size + 2 * spare);
    if (!m_memory || m_capacity < gap + size || m_capacity / 2 > capacity) {
        GapText fresh;
        fresh.Reserve(capacity);
        Swap(fresh);
    }
    m_gapLeft = 0;
    m_gapRight = gap;
    m_end = gap + size;
    MarkEnds();
    return m_memory.get() + gap;
}

void GapText::Truncate(int place)
{
    m_end = place;
    MarkEnds();
}

void GapText::MoveGap(int place)
{
    char* const memory = m_memory.get();
    if (place < m_gapLeft) {
        const int moved = m_gapLeft - place;
        std::memmove(memory + m_gapRight - moved, memory + place, Length(moved));
        m_gapLeft -= moved;
        m_gapRight -= moved;
    } else if (place > m_gapRight) {
        const int moved = place - m_gapRight;
        std::memmove(memory + m_gapLeft, memory + m_gapRight, Length(moved));
        m_gapLeft += moved;
        m_gapRight += moved;
    }
    MarkEnds();
}

int GapText::WidenGap(int needed)
{
    if (needed <= Gap()) return 0;
    const int moved = Limited(static_cast<long long>(m_end) + needed - Gap() + Spare()) - m_end;
    Reserve(m_end + moved);
    char* const memory = m_memory.get();
    std::memmove(memory + m_gapRight + moved, memory + m_gapRight, Length(m_end - m_gapRight));
    m_gapRight += moved;
    m_end += moved;
    MarkEnds();
    return moved;
}

void GapText::WidenEnd(int needed)
{
    if (needed > Room()) Reserve(Limited(static_cast<long long>(m_end) + needed + Spare()));
}

void GapText::ReplaceMovingUpToGap(int from, int replaced, std::string_view text)
{
    const int added = static_cast<int>(text.size());
    char* const place = m_memory.get() + from;
    std::memmove(place + added, place + replaced, Length(m_gapLeft - from - replaced));
    std::copy(text.begin(), text.end(), place);
    m_gapLeft += added - replaced;
    MarkEnds();
}

void GapText::ReplaceMovingUpToEnd(int from, int replaced, std::string_view text)
{
    const int added = static_cast<int>(text.size());
    char* const place = m_memory.get() + from;
    std::memmove(place + added, place + replaced, Length(m_end - from - replaced));
    std::copy(text.begin(), text.end(), place);
    m_end += added - replaced;
    MarkEnds();
}

void GapText::Overwrite(int from, std::string_view text)
{
    std::copy(text.begin(), text.end(), m_memory.get() + from);
}

void GapText::SwallowIntoGap(int inFront, int behind)
{
    m_gapLeft -= inFront;
    m_gapRight += behind;
    MarkEnds();
}
