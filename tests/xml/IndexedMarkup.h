#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "xml/MarkupSTL.h"

namespace nettest {

/// A document whose index can be looked at.
class IndexedMarkup : public CMarkupSTL
{
public:
    using CMarkupSTL::CMarkupSTL;

    using CMarkupSTL::ElemPos;
    using CMarkupSTL::NewPlace;
    using CMarkupSTL::NodeType;
    using CMarkupSTL::TokenPos;

    using CMarkupSTL::LOCATE_INSERT;
    using CMarkupSTL::LOCATE_KEEP_WHITESPACE;
    using CMarkupSTL::MAX_LENGTH;
    using CMarkupSTL::NODE_CDATA;
    using CMarkupSTL::NODE_COMMENT;
    using CMarkupSTL::NODE_DOCTYPE;
    using CMarkupSTL::NODE_ELEMENT;
    using CMarkupSTL::NODE_INSTRUCTION;
    using CMarkupSTL::NODE_NONE;
    using CMarkupSTL::NODE_TEXT;
    using CMarkupSTL::NODE_WHITESPACE;

    using CMarkupSTL::m_mapSavedPos;
    using CMarkupSTL::m_nChildPos;
    using CMarkupSTL::m_nFreePos;
    using CMarkupSTL::m_nMainPos;
    using CMarkupSTL::m_nNodeType;
    using CMarkupSTL::m_nParentPos;
    using CMarkupSTL::m_text;
    using CMarkupSTL::x_EndTag;
    using CMarkupSTL::x_FindAny;
    using CMarkupSTL::x_FindChar;
    using CMarkupSTL::x_FindToken;
    using CMarkupSTL::x_Fits;
    using CMarkupSTL::x_GetFreePos;
    using CMarkupSTL::x_GetToken;
    using CMarkupSTL::x_MatchName;
    using CMarkupSTL::x_ParseEndTag;
    using CMarkupSTL::x_ParseError;
    using CMarkupSTL::x_ParseNode;
    using CMarkupSTL::x_ReleasePos;
    using CMarkupSTL::x_ShiftBehind;
    using CMarkupSTL::x_StartTag;
    using CMarkupSTL::x_TagName;
    using CMarkupSTL::x_TextToDoc;

    /// For how many records the index has room.
    std::size_t IndexRoom() const { return m_vecPos.capacity(); }

    /// What the index says of an element, with the offsets in the document's text.
    ElemPos x_Pos(int element) const
    {
        ElemPos pos = CMarkupSTL::x_Pos(element);
        for (int* place : {&pos.startLeft, &pos.startRight, &pos.endLeft, &pos.endRight})
            *place = m_text.OffsetOf(*place);
        return pos;
    }

    void SetEndLeft(int element, int offset) { CMarkupSTL::x_Pos(element).endLeft = m_text.Begin() + offset; }

    /// For a document that was not edited yet.
    NewPlace x_LocateNew(int parent, int before, int offset, int length, int flags) const
    {
        NewPlace place = CMarkupSTL::x_LocateNew(parent, before, m_text.Begin() + offset, length, flags);
        place.offset = m_text.OffsetOf(place.offset);
        return place;
    }

    /// One element as the index has it.
    struct Placed
    {
        int depth = 0;
        int startLeft = 0;
        int startRight = 0;
        int endLeft = 0;
        int endRight = 0;

        bool operator==(const Placed&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Placed& placed)
        {
            return out << "depth " << placed.depth << ": " << placed.startLeft << ' ' << placed.startRight
                       << ' ' << placed.endLeft << ' ' << placed.endRight;
        }
    };

    /// All elements in document order. Ends at a broken link instead of running in circles.
    std::vector<Placed> Elements() const
    {
        std::vector<Placed> elements;
        Walk([&](int, const Placed& placed) { elements.push_back(placed); });
        return elements;
    }

    /// What is wrong with the index, empty if every offset points at what it says, elements lie within their
    /// parents and one behind the other, and the cursor stands on elements of the document.
    std::string IndexFault() const
    {
        const std::string doc = GetDoc();
        const auto size = static_cast<int>(doc.size());
        const auto at = [&](int offset) { return doc[static_cast<std::size_t>(offset)]; };
        std::string fault;
        std::vector<bool> live(m_vecPos.size());
        live.at(0) = true;
        std::size_t count = 0;

        Walk([&](int element, const Placed& placed) {
            const std::string who = "element " + std::to_string(element) + ": ";
            if (!fault.empty()) return;
            if (live[static_cast<std::size_t>(element)]) fault = who + "linked twice";
            live[static_cast<std::size_t>(element)] = true;
            ++count;

            const ElemPos& pos = x_Pos(element);
            if (element >= m_nFreePos) fault = who + "is a free record";
            if (pos.startLeft < 0 || pos.endRight >= size) fault = who + "outside the document";
            if (!fault.empty()) return;

            const bool isEmpty = pos.startRight == pos.endRight;
            if (pos.startLeft >= pos.startRight) fault = who + "start tag turned round";
            if (isEmpty && pos.endLeft != pos.startRight - 1)
                fault = who + "slash is not in front of its '>'";
            if (!isEmpty && pos.endLeft <= pos.startRight) fault = who + "end tag in front of its content";
            if (!isEmpty && pos.endRight <= pos.endLeft) fault = who + "end tag turned round";
            if (isEmpty && pos.firstChild) fault = who + "children in an empty element";
            if (!fault.empty()) return;

            if (at(pos.startLeft) != '<') fault = who + "startLeft is no '<'";
            if (at(pos.startRight) != '>') fault = who + "startRight is no '>'";
            if (at(pos.endLeft) != (isEmpty ? '/' : '<')) fault = who + "endLeft is wrong";
            if (at(pos.endRight) != '>') fault = who + "endRight is no '>'";
            if (pos.parent && pos.startLeft <= x_Pos(pos.parent).startRight)
                fault = who + "in front of its parent";
            if (pos.parent && pos.endRight >= x_Pos(pos.parent).endLeft) fault = who + "behind its parent";
            if (pos.next && x_Pos(pos.next).startLeft <= pos.endRight)
                fault = who + "overlaps its next sibling";
            if (pos.next && x_Pos(pos.next).parent != pos.parent) fault = who + "sibling of another parent";
            if (pos.next && x_Pos(pos.next).previous != element)
                fault = who + "no way back from the next sibling";
            if (!pos.next && x_Pos(x_Pos(pos.parent).firstChild).previous != element)
                fault = who + "not known as its parent's last child";
            const ElemPos& stored = CMarkupSTL::x_Pos(element);
            const auto isTorn = [&](int left, int right) {
                return left < m_text.GapRight() && right >= m_text.GapLeft() && m_text.Gap() > 0;
            };
            if (isTorn(stored.startLeft, stored.startRight)) fault = who + "the gap is in its start tag";
            if (isTorn(stored.endLeft, stored.endRight)) fault = who + "the gap is in its end tag";
            if (pos.firstChild && x_Pos(pos.firstChild).parent != element)
                fault = who + "child of another parent";
            (void)placed;
        });

        const auto isLive = [&](int position) {
            return position >= 0 && position < m_nFreePos && live[static_cast<std::size_t>(position)];
        };
        if (!fault.empty()) return fault;
        if (!isLive(m_nParentPos) || !isLive(m_nMainPos) || !isLive(m_nChildPos))
            return "cursor off the document";
        if (m_nMainPos && x_Pos(m_nMainPos).parent != m_nParentPos) return "main position has another parent";
        if (m_nChildPos && x_Pos(m_nChildPos).parent != m_nMainPos)
            return "child position has another parent";
        for (const auto& [name, saved] : m_mapSavedPos) {
            if (!isLive(saved.parent) || !isLive(saved.main) || !isLive(saved.child))
                return "stale saved position";
        }
        return "";
    }

private:
    template <typename Visit>
    void Walk(Visit visit) const
    {
        int steps = 0;
        int depth = 0;
        int element = m_vecPos.at(0).firstChild;
        while (element > 0 && element < m_nFreePos && steps++ < m_nFreePos) {
            const ElemPos& pos = x_Pos(element);
            visit(element, Placed{depth, pos.startLeft, pos.startRight, pos.endLeft, pos.endRight});
            if (pos.firstChild) {
                element = pos.firstChild;
                ++depth;
                continue;
            }
            while (element && !x_Pos(element).next) {
                element = x_Pos(element).parent;
                --depth;
            }
            if (element) element = x_Pos(element).next;
        }
    }
};

}  // namespace nettest
