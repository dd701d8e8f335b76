#pragma once

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "xml/AttribKey.h"

/// A text in one piece of memory with two stretches of free room: a gap somewhere in it and the rest behind
/// its end. An edit moves only what lies between it and the nearer of the two, so edits that keep to one
/// region of a long text, and those near its end, cost the same whatever its length.
///
///     0          GapLeft()    GapRight()                   End()
///     | text ... |  the gap   | text ..................... | NUL, room behind |
///
/// What stands where is told by *places*: positions in the memory, the gap included. Places up to `GapLeft()`
/// and from `GapRight()` on are text; both of these name the point where the gap is. A place stays true until
/// something between it and the gap, or the end, moves; every operation below says what it moves.
///
/// Threads:   one thread at a time.
/// Units:     places and lengths are bytes. Everything lies within `LIMIT`.
/// Errors:    std::bad_alloc alone, from the operations that make room; what ends so has changed nothing.
class GapText
{
public:
    /// The greatest place of the end.
    static constexpr int LIMIT = INT_MAX;

    GapText() = default;
    GapText(const GapText& other);
    GapText(GapText&& other) noexcept { Swap(other); }
    GapText& operator=(GapText other) noexcept
    {
        Swap(other);
        return *this;
    }
    ~GapText() = default;

    // --- Reading

    /// The memory, to be indexed with places. A NUL stands behind the end, and at `GapLeft()` unless the gap
    /// is empty: a scan for the text's end stops there, too. Valid until room is made.
    const char* Data() const { return m_memory ? m_memory.get() : NOTHING; }
    int Begin() const { return m_gapLeft == 0 ? m_gapRight : 0; }
    int End() const { return m_end; }
    int GapLeft() const { return m_gapLeft; }
    int GapRight() const { return m_gapRight; }
    int Gap() const { return m_gapRight - m_gapLeft; }
    /// Free bytes behind the end.
    int Room() const { return m_capacity - m_end; }
    /// The length of the text.
    int Size() const { return m_end - Gap(); }
    /// How many bytes of text lie in front of `place`.
    int OffsetOf(int place) const { return place < m_gapRight ? place : place - Gap(); }
    /// The text between two places, which must be on the same side of the gap.
    std::string_view Slice(int from, int to) const
    {
        return {Data() + from, static_cast<std::size_t>(to - from)};
    }
    std::string_view InFrontOfGap() const { return Slice(0, m_gapLeft); }
    std::string_view BehindGap() const { return Slice(m_gapRight, m_end); }

    // --- A new text

    /// Makes room for a text of `size` bytes, in one piece with a small gap in front, and returns where it
    /// goes; the text is not what it was any more. Memory that is large enough is used again.
    char* Prepare(int size);
    /// Ends the text at `place`, behind the gap.
    void Truncate(int place);

    // --- Editing

    /// Moves the gap to `place`: the text between the two changes sides.
    void MoveGap(int place);
    /// Makes the gap at least `needed` bytes wide, which must be within `LIMIT`. All text behind it moves up
    /// by the bytes that are returned.
    int WidenGap(int needed);
    /// Makes room for `needed` bytes at least behind the end, which must be within `LIMIT`. Moves nothing.
    void WidenEnd(int needed);
    /// Puts `text` in the place of the `replaced` bytes from `from` on. What follows them up to the gap
    /// moves; the gap must have room for what is added.
    void ReplaceMovingUpToGap(int from, int replaced, std::string_view text);
    /// The same where all that follows moves; the room behind the end must do.
    void ReplaceMovingUpToEnd(int from, int replaced, std::string_view text);
    /// Puts `text` over as many bytes from `from` on.
    void Overwrite(int from, std::string_view text);
    /// Lets the gap swallow the `inFront` bytes in front of it and the `behind` bytes behind it.
    void SwallowIntoGap(int inFront, int behind);

private:
    struct Free
    {
        void operator()(char* memory) const { std::free(memory); }
    };

    void Swap(GapText& other) noexcept;
    /// Makes the memory reach to an end of `end` bytes at least. The system grows a large piece in place or
    /// by mapping it elsewhere, so neither is a copy made nor memory taken twice.
    void Reserve(int end);
    /// Some room more than is needed, so that it is not made again soon.
    int Spare() const;
    void MarkEnds();

    static constexpr char NOTHING[SCAN_PADDING + 1] = {};

    std::unique_ptr<char, Free> m_memory;  ///< m_capacity + 1 + SCAN_PADDING bytes, or none
    int m_capacity = 0;                    ///< bytes, without the NUL's
    int m_gapLeft = 0;
    int m_gapRight = 0;
    int m_end = 0;
};
