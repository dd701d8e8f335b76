// Changing the text and keeping the index in step.

#include <algorithm>
#include <utility>

#include "xml/MarkupSTL.h"

namespace {

constexpr std::string_view LINE_END = "\r\n";

/// What `c` is written as; empty if it is written as it is.
std::string_view EntityOf(char c, bool attribute)
{
    switch (c) {
        case '<':
            return "&lt;";
        case '&':
            return "&amp;";
        case '>':
            return "&gt;";
        case '\'':
            return attribute ? "&apos;" : "";
        case '"':
            return attribute ? "&quot;" : "";
        default:
            return "";
    }
}

}  // namespace

bool CMarkupSTL::AddElem(const char* name, const char* data) { return x_AddElem(name, data, false, false); }

bool CMarkupSTL::InsertElem(const char* name, const char* data) { return x_AddElem(name, data, true, false); }

bool CMarkupSTL::AddChildElem(const char* name, const char* data)
{
    return x_AddElem(name, data, false, true);
}

bool CMarkupSTL::InsertChildElem(const char* name, const char* data)
{
    return x_AddElem(name, data, true, true);
}

bool CMarkupSTL::AddSubDoc(const char* text)
{
    const CMarkupSTL sub(text);
    if (!sub.IsWellFormed()) {
        if (!sub.m_strError.empty()) m_strError = sub.m_strError;
        return false;
    }

    const int subRoot = sub.m_vecPos[0].firstChild;  // the first record taken; all others follow it
    const ElemPos& root = sub.x_Pos(subRoot);
    std::string element(sub.m_text.Slice(root.startLeft, root.endRight + 1));
    element += LINE_END;
    x_EnsureFree(sub.m_nFreePos - subRoot);
    const int newRoot = x_PlaceElem(std::move(element), x_Moved(root, -root.startLeft), false, false);
    if (!newRoot) return false;

    const int textShift = x_Pos(newRoot).startLeft - root.startLeft;
    const int indexShift = newRoot - subRoot;
    const auto renumbered = [&](int index) { return index ? index + indexShift : 0; };
    x_Pos(newRoot).firstChild = renumbered(root.firstChild);
    for (int index = subRoot + 1; index < sub.m_nFreePos; ++index) {
        ElemPos pos = x_Moved(sub.x_Pos(index), textShift);
        pos.parent = renumbered(pos.parent);
        pos.firstChild = renumbered(pos.firstChild);
        pos.next = renumbered(pos.next);
        pos.previous = renumbered(pos.previous);
        x_Pos(x_GetFreePos()) = pos;
    }
    return true;
}

bool CMarkupSTL::SetAttrib(const char* name, const char* value)
{
    return x_SetAttrib(m_nMainPos, name, value);
}

bool CMarkupSTL::SetAttrib(const char* name, int value)
{
    return SetAttrib(name, std::to_string(value).c_str());
}

bool CMarkupSTL::AddAttrib(const char* name, const char* value) { return SetAttrib(name, value); }

bool CMarkupSTL::AddAttrib(const char* name, int value) { return SetAttrib(name, value); }

bool CMarkupSTL::SetChildAttrib(const char* name, const char* value)
{
    return x_SetAttrib(m_nChildPos, name, value);
}

bool CMarkupSTL::SetChildAttrib(const char* name, int value)
{
    return SetChildAttrib(name, std::to_string(value).c_str());
}

bool CMarkupSTL::AddChildAttrib(const char* name, const char* value) { return SetChildAttrib(name, value); }

bool CMarkupSTL::AddChildAttrib(const char* name, int value) { return SetChildAttrib(name, value); }

bool CMarkupSTL::SetData(const char* data, int asCData) { return x_SetData(m_nMainPos, data, asCData); }

bool CMarkupSTL::SetChildData(const char* data, int asCData) { return x_SetData(m_nChildPos, data, asCData); }

bool CMarkupSTL::RemoveElem()
{
    if (!x_IsReached(m_nMainPos)) return false;
    x_SetPos(m_nParentPos, x_RemoveElem(m_nMainPos), 0);
    return true;
}

bool CMarkupSTL::RemoveChildElem()
{
    if (!x_IsReached(m_nChildPos)) return false;
    x_SetPos(m_nParentPos, m_nMainPos, x_RemoveElem(m_nChildPos));
    return true;
}

std::string CMarkupSTL::x_TextToDoc(std::string_view text, bool attribute)
{
    std::string out;
    out.reserve(text.size() + text.size() / 10);
    for (const char c : text) {
        if (const std::string_view entity = EntityOf(c, attribute); !entity.empty()) {
            out += entity;
        } else {
            out += c;
        }
    }
    return out;
}

CMarkupSTL::NewPlace CMarkupSTL::x_LocateNew(int parent, int before, int offset, int length, int flags) const
{
    const bool insert = (flags & LOCATE_INSERT) != 0;
    const bool intoEmpty = parent && x_IsEmpty(parent);

    NewPlace place;
    if (length) {
        place.offset = insert ? offset : offset + length;
    } else if (before) {
        place.offset = insert ? x_Pos(before).startLeft : x_Pos(before).endRight + 1;
    } else if (!parent) {
        place.offset = insert ? m_text.Begin() : m_text.End();
    } else if (intoEmpty) {
        place.offset = x_Pos(parent).startRight;
    } else {
        place.offset = insert ? x_Pos(parent).startRight + 1 : x_Pos(parent).endLeft;
    }

    if (!(flags & LOCATE_KEEP_WHITESPACE) && !intoEmpty) {
        // In front of the next tag, behind the line end of the element before.
        const int next = x_SkipWhitespace(place.offset);
        if (next == m_text.End() || m_text.Data()[next] == '<') place.offset = next;
    }

    if (before) {
        place.after = insert ? x_PreviousSibling(before) : before;
    } else {
        place.after = insert ? 0 : x_LastChild(parent);
    }
    return place;
}

bool CMarkupSTL::x_AddElem(const char* name, const char* data, bool insert, bool asChild)
{
    if (!x_IsName(x_View(name)) || x_View(data).size() > MAX_LENGTH) return false;
    const std::string tag = name;
    const std::string content = x_TextToDoc(x_View(data), false);

    std::string text;
    std::size_t startRight = 0;
    std::size_t endLeft = 0;
    if (content.empty()) {
        text = "<" + tag + "/>";
        startRight = tag.size() + 2;
        endLeft = startRight - 1;
    } else {
        text = "<" + tag + ">" + content + "</" + tag + ">";
        startRight = tag.size() + 1;
        endLeft = startRight + content.size() + 1;
    }
    if (!x_Fits(0, text.size())) return false;

    ElemPos elem;
    elem.startRight = static_cast<int>(startRight);
    elem.endLeft = static_cast<int>(endLeft);
    elem.endRight = static_cast<int>(text.size() - 1);
    text += LINE_END;
    return x_PlaceElem(std::move(text), elem, insert, asChild) != 0;
}

int CMarkupSTL::x_PlaceElem(std::string text, ElemPos elem, bool insert, bool asChild)
{
    const int parent = asChild ? m_nMainPos : m_nParentPos;
    const int before = asChild ? m_nChildPos : m_nMainPos;
    if (asChild && !m_nMainPos) return 0;
    if (!parent && m_vecPos[0].firstChild) return 0;  // a document has one document element

    const NewPlace place = x_LocateNew(parent, before, 0, 0, insert ? LOCATE_INSERT : 0);
    Tag front = place.after ? x_EndTag(place.after) : x_StartTag(parent);
    int from = place.offset;
    int to = from;
    int lead = 0;  // bytes of `text` in front of the element
    const bool intoEmpty = parent && x_IsEmpty(parent);
    const bool intoBare = parent && x_IsBare(parent);
    if (intoEmpty && !x_CanOpen(parent)) return 0;

    // What goes into an element without content opens it: <a/> and <a></a> become <a>, line end, </a>.
    const std::string parentTag = intoEmpty ? std::string(x_TagName(parent)) : "";
    if (intoEmpty) {
        from = x_Pos(parent).endLeft;  // the '/'
        to = from + 1;
        text = ">" + std::string(LINE_END) + text + "</" + parentTag;
        lead = 1 + static_cast<int>(LINE_END.size());
    } else if (intoBare) {
        from = to = x_Pos(parent).startRight + 1;
        text.insert(0, LINE_END);
        lead = static_cast<int>(LINE_END.size());
    }
    if (!x_Fits(to - from, text.size())) return 0;

    const int element = x_GetFreePos();
    const int start = x_Splice(front, from, to, text);
    if (intoEmpty) x_SetOpened(parent, start, text.size(), parentTag.size());
    elem = x_Moved(elem, start + lead);
    elem.parent = parent;
    elem.firstChild = 0;
    x_Pos(element) = elem;
    x_Link(element, place.after);
    if (asChild) {
        x_SetPos(m_nParentPos, parent, element);
    } else {
        x_SetPos(parent, element, 0);
    }
    return element;
}

bool CMarkupSTL::x_SetAttrib(int element, const char* name, const char* value)
{
    if (!x_IsReached(element) || !x_IsName(x_View(name)) || x_View(value).size() > MAX_LENGTH) return false;

    ElemPos& pos = x_Pos(element);
    TokenPos token(m_text.Data(), pos.startLeft + 1);
    const bool exists = x_FindAttrib(token, name);
    // A quoted string that runs on behind the tag's '>' holds text that belongs to other elements.
    if (exists ? token.right >= pos.startRight : token.left > pos.startRight) return false;

    std::string text = x_TextToDoc(x_View(value), true);
    int from = token.left;
    int to = token.right + 1;
    if (!exists) {
        text = " " + std::string(name) + "=\"" + text + "\"";
        from = to = x_IsEmpty(element) ? pos.endLeft : pos.startRight;
    }
    if (!x_Fits(to - from, text.size())) return false;

    const int shift = static_cast<int>(text.size()) - (to - from);
    const bool isEmpty = x_IsEmpty(element);
    x_Splice(x_StartTag(element), from, to, text);
    pos.startRight += shift;
    if (isEmpty) {
        pos.endLeft += shift;
        pos.endRight += shift;
    }
    return true;
}

bool CMarkupSTL::x_SetData(int element, const char* data, int asCData)
{
    const std::string_view view = x_View(data);
    if (!x_IsReached(element) || x_Pos(element).firstChild || view.size() > MAX_LENGTH) return false;

    const bool verbatim = asCData && view.find("]]>") == std::string_view::npos;
    std::string text = verbatim ? "<![CDATA[" + std::string(view) + "]]>" : x_TextToDoc(view, false);
    const bool isEmpty = x_IsEmpty(element);
    if (isEmpty && !x_CanOpen(element)) return false;

    int from = x_Pos(element).startRight + 1;
    int to = x_Pos(element).endLeft;
    const std::string tag(x_TagName(element));
    if (isEmpty) {
        from = x_Pos(element).endLeft;  // the '/'
        to = from + 1;
        text = ">" + text + "</" + tag;
    }
    if (!x_Fits(m_text.OffsetOf(to) - m_text.OffsetOf(from), text.size())) return false;

    const int start = x_Splice(x_StartTag(element), from, to, text);
    if (isEmpty) x_SetOpened(element, start, text.size(), tag.size());
    return true;
}

int CMarkupSTL::x_RemoveElem(int element)
{
    x_ForgetSaved(element);

    const int before = x_PreviousSibling(element);
    const int end = x_Pos(element).endRight + 1;
    const int next = x_SkipWhitespace(end);
    x_Erase(element, m_text.Data()[next] == '<' ? next : end);
    x_Unlink(element);
    return before;
}

// The one idea of the editing: the memory has room at the gap and behind the end, and an edit moves only what
// lies between itself and the nearer of the two. The index holds places in the memory, so it has to be told
// of the tags in the text that was moved and of no others, and these follow one another on from the edit.
int CMarkupSTL::x_Splice(Tag front, int from, int to, std::string_view text)
{
    const bool isAcross = from <= m_text.GapLeft() && m_text.GapRight() <= to;
    const int replaced = to - from - (isAcross ? m_text.Gap() : 0);
    const int growth = static_cast<int>(text.size()) - replaced;
    if (growth == 0 && !isAcross) {
        m_text.Overwrite(from, text);
        return from;
    }

    const int toEnd = m_text.End() - to;
    const int rest = front.element ? std::max(0, x_Right(front) + 1 - to) : 0;  // of a tag that is changed
    if (toEnd < x_DistanceToGap(from, to + rest) && growth <= GapText::LIMIT - m_text.End()) {
        m_text.WidenEnd(growth);
        m_text.ReplaceMovingUpToEnd(from, replaced, text);
        m_steps.bytesMoved += static_cast<unsigned int>(toEnd);
        x_ShiftBehind(front, growth);
        return from;
    }

    x_MoveGap(front, to + rest);
    if (const int widened = m_text.WidenGap(growth)) {
        m_steps.bytesMoved += static_cast<unsigned int>(m_text.End() - m_text.GapRight());
        x_ShiftBehind(front, widened);
    }
    const int place = m_text.GapLeft() - rest - replaced;
    m_text.ReplaceMovingUpToGap(place, replaced, text);
    m_steps.bytesMoved += static_cast<unsigned int>(rest);
    return place;
}

void CMarkupSTL::x_Erase(int element, int end)
{
    const int from = x_Pos(element).startLeft;
    const int length = end - from;
    if (m_text.End() - end < x_DistanceToGap(from, end)) {
        m_steps.bytesMoved += static_cast<unsigned int>(m_text.End() - end);
        m_text.ReplaceMovingUpToEnd(from, length, {});
        x_ShiftBehind(x_EndTag(element), -length);
    } else if (from >= m_text.GapRight()) {
        x_MoveGap(x_PreviousTag(x_StartTag(element)), from);
        m_text.SwallowIntoGap(0, length);
    } else if (end <= m_text.GapLeft()) {
        x_MoveGap(x_EndTag(element), end);
        m_text.SwallowIntoGap(length, 0);
    } else {
        m_text.SwallowIntoGap(m_text.GapLeft() - from, end - m_text.GapRight());
    }
}

int CMarkupSTL::x_DistanceToGap(int from, int to) const
{
    if (from >= m_text.GapRight()) return from - m_text.GapRight();
    return std::max(0, m_text.GapLeft() - to);
}

void CMarkupSTL::x_MoveGap(Tag front, int place)
{
    const int left = m_text.GapLeft();
    const int right = m_text.GapRight();
    const int gap = m_text.Gap();
    if (place < left) {
        for (Tag tag = x_NextTag(front); gap && tag.element && x_Left(tag) < left;)
            tag = x_Shift(tag, gap, x_NextTag(tag));
        m_steps.bytesMoved += static_cast<unsigned int>(left - place);
    } else if (place > right) {
        for (Tag tag = front; gap && tag.element && x_Left(tag) >= right;)
            tag = x_Shift(tag, -gap, x_PreviousTag(tag));
        m_steps.bytesMoved += static_cast<unsigned int>(place - right);
    }
    m_text.MoveGap(place);
}

void CMarkupSTL::x_ShiftBehind(Tag front, int shift)
{
    for (Tag tag = x_NextTag(front); tag.element;)
        tag = x_Shift(tag, shift, x_NextTag(tag));
}

// The tag to go on with is looked up before the move: half moved, an element could be taken for an empty one.
CMarkupSTL::Tag CMarkupSTL::x_Shift(Tag tag, int shift, Tag following)
{
    ElemPos& pos = x_Pos(tag.element);
    if (tag.isStart) {
        pos.startLeft += shift;
        pos.startRight += shift;
    }
    if (tag.isEnd) {
        pos.endLeft += shift;
        pos.endRight += shift;
    }
    ++m_steps.tagsMoved;
    return following;
}

CMarkupSTL::ElemPos CMarkupSTL::x_Moved(ElemPos pos, int shift)
{
    pos.startLeft += shift;
    pos.startRight += shift;
    pos.endLeft += shift;
    pos.endRight += shift;
    return pos;
}

void CMarkupSTL::x_SetOpened(int element, int start, std::size_t length, std::size_t tagLength)
{
    ElemPos& pos = x_Pos(element);
    pos.startRight = start;
    pos.endRight = start + static_cast<int>(length);
    pos.endLeft = pos.endRight - static_cast<int>(tagLength) - 2;
}

void CMarkupSTL::x_Link(int element, int after)
{
    ElemPos& pos = x_Pos(element);
    const int first = x_Pos(pos.parent).firstChild;
    int& link = after ? x_Pos(after).next : x_Pos(pos.parent).firstChild;
    pos.next = link;
    link = element;
    if (!first) {
        pos.previous = element;
    } else if (after) {
        pos.previous = after;
        x_Pos(pos.next ? pos.next : first).previous = element;
    } else {
        pos.previous = x_Pos(first).previous;
        x_Pos(first).previous = element;
    }
}

void CMarkupSTL::x_Unlink(int element)
{
    const ElemPos& pos = x_Pos(element);
    const int before = x_PreviousSibling(element);
    int& first = x_Pos(pos.parent).firstChild;
    (before ? x_Pos(before).next : first) = pos.next;
    if (pos.next) {
        x_Pos(pos.next).previous = pos.previous;
    } else if (first) {
        x_Pos(first).previous = before;
    }
}

bool CMarkupSTL::x_Fits(int replaced, std::size_t added) const
{
    const std::size_t kept = static_cast<std::size_t>(m_text.Size() - replaced);
    return kept + added <= MAX_LENGTH;
}
