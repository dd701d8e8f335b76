// Changing the text and keeping the index in step.

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
    const auto moved = [](ElemPos pos, int shift) {
        pos.startLeft += shift;
        pos.startRight += shift;
        pos.endLeft += shift;
        pos.endRight += shift;
        return pos;
    };
    const ElemPos& root = sub.x_Pos(subRoot);
    std::string element(sub.x_Slice(root.startLeft, root.endRight + 1));
    element += LINE_END;
    x_EnsureFree(sub.m_nFreePos - subRoot);
    const int newRoot = x_PlaceElem(std::move(element), moved(root, -root.startLeft), false, false);
    if (!newRoot) return false;

    const int textShift = x_Pos(newRoot).startLeft - root.startLeft;
    const int indexShift = newRoot - subRoot;
    const auto renumbered = [&](int index) { return index ? index + indexShift : 0; };
    x_Pos(newRoot).firstChild = renumbered(root.firstChild);
    for (int index = subRoot + 1; index < sub.m_nFreePos; ++index) {
        ElemPos pos = moved(sub.x_Pos(index), textShift);
        pos.parent = renumbered(pos.parent);
        pos.firstChild = renumbered(pos.firstChild);
        pos.next = renumbered(pos.next);
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
        place.offset = insert ? 0 : static_cast<int>(m_strDoc.size());
    } else if (intoEmpty) {
        place.offset = x_Pos(parent).startRight;
    } else {
        place.offset = insert ? x_Pos(parent).startRight + 1 : x_Pos(parent).endLeft;
    }

    if (!(flags & LOCATE_KEEP_WHITESPACE) && !intoEmpty) {
        const char* const text = m_strDoc.c_str();
        int next = place.offset;  // in front of the next tag, behind the line end of the element before
        if (!x_FindAny(text, next) || text[next] == '<') place.offset = next;
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
    if (!x_IsName(name) || x_View(data).size() > MAX_LENGTH) return false;
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

    // What goes into an element without content opens it: <a/> and <a></a> become <a>, line end, </a>.
    const NewPlace place = x_LocateNew(parent, before, 0, 0, insert ? LOCATE_INSERT : 0);
    const bool intoEmpty = parent && x_IsEmpty(parent);
    const bool intoBare = parent && x_Pos(parent).startRight + 1 == x_Pos(parent).endLeft;
    const std::string parentTag = intoEmpty ? std::string(x_TagName(parent)) : "";
    if (intoEmpty && !x_CanOpen(parent)) return 0;
    int at = place.offset;
    int replaced = 0;
    int start = at;
    if (intoEmpty) {
        at = x_Pos(parent).endLeft;  // the '/'
        replaced = 1;
        text = ">" + std::string(LINE_END) + text + "</" + parentTag;
    } else if (intoBare) {
        at = x_Pos(parent).startRight + 1;
        text.insert(0, LINE_END);
    }
    if (intoEmpty || intoBare) start += static_cast<int>(LINE_END.size());
    if (!x_Fits(replaced, text.size())) return 0;

    const int element = x_GetFreePos();
    x_DocChange(at, replaced, text);
    if (intoEmpty) {
        x_Pos(parent).startRight -= 1;
        x_Pos(parent).endLeft -= static_cast<int>(parentTag.size()) + 1;
    }

    elem.startLeft += start;
    elem.startRight += start;
    elem.endLeft += start;
    elem.endRight += start;
    elem.parent = parent;
    elem.firstChild = 0;
    int& link = place.after ? x_Pos(place.after).next : x_Pos(parent).firstChild;
    elem.next = link;
    link = element;
    x_Pos(element) = elem;
    x_Adjust(element, static_cast<int>(text.size()) - replaced, false);

    if (asChild) {
        x_SetPos(m_nParentPos, parent, element);
    } else {
        x_SetPos(parent, element, 0);
    }
    return element;
}

bool CMarkupSTL::x_SetAttrib(int element, const char* name, const char* value)
{
    if (!x_IsReached(element) || !x_IsName(name) || x_View(value).size() > MAX_LENGTH) return false;

    ElemPos& pos = x_Pos(element);
    TokenPos token(m_strDoc.c_str(), pos.startLeft + 1);
    const bool exists = x_FindAttrib(token, name);
    // A quoted string that runs on behind the tag's '>' holds text that belongs to other elements.
    if (exists ? token.right >= pos.startRight : token.left > pos.startRight) return false;

    std::string text = x_TextToDoc(x_View(value), true);
    int at = token.left;
    int replaced = token.right - token.left + 1;
    if (!exists) {
        text = " " + std::string(name) + "=\"" + text + "\"";
        at = x_IsEmpty(element) ? pos.endLeft : pos.startRight;
        replaced = 0;
    }
    if (!x_Fits(replaced, text.size())) return false;

    const int shift = static_cast<int>(text.size()) - replaced;
    x_DocChange(at, replaced, text);
    pos.startRight += shift;
    pos.endLeft += shift;
    pos.endRight += shift;
    x_Adjust(element, shift, false);
    return true;
}

bool CMarkupSTL::x_SetData(int element, const char* data, int asCData)
{
    const std::string_view view = x_View(data);
    if (!x_IsReached(element) || x_Pos(element).firstChild || view.size() > MAX_LENGTH) return false;

    const bool verbatim = asCData && view.find("]]>") == std::string_view::npos;
    std::string text = verbatim ? "<![CDATA[" + std::string(view) + "]]>" : x_TextToDoc(view, false);
    ElemPos& pos = x_Pos(element);
    const bool isEmpty = x_IsEmpty(element);
    const int tagLength = static_cast<int>(x_TagName(element).size());
    if (isEmpty && !x_CanOpen(element)) return false;
    int at = pos.startRight + 1;
    int replaced = pos.endLeft - at;
    if (isEmpty) {
        at = pos.endLeft;  // the '/'
        replaced = 1;
        text = ">" + text + "</" + std::string(x_TagName(element));
    }
    if (!x_Fits(replaced, text.size())) return false;

    const int shift = static_cast<int>(text.size()) - replaced;
    x_DocChange(at, replaced, text);
    if (isEmpty) {
        pos.startRight -= 1;
        pos.endLeft -= tagLength + 1;
    }
    pos.endLeft += shift;
    pos.endRight += shift;
    x_Adjust(element, shift, false);
    return true;
}

int CMarkupSTL::x_RemoveElem(int element)
{
    x_ForgetSaved(element);

    const ElemPos& pos = x_Pos(element);
    const int before = x_PreviousSibling(element);
    (before ? x_Pos(before).next : x_Pos(pos.parent).firstChild) = pos.next;

    const char* const text = m_strDoc.c_str();
    int end = pos.endRight + 1;
    int next = end;
    if (x_FindAny(text, next) && text[next] == '<') end = next;
    const int length = end - pos.startLeft;
    x_DocChange(pos.startLeft, length, {});
    x_Adjust(element, -length, true);
    return before;
}

void CMarkupSTL::x_Adjust(int element, int shift, bool afterOnly)
{
    if (shift == 0) return;

    for (int at = x_NextInDocument(element, !afterOnly); at; at = x_NextInDocument(at, true)) {
        ElemPos& later = x_Pos(at);
        later.startLeft += shift;
        later.startRight += shift;
        later.endLeft += shift;
        later.endRight += shift;
    }
    for (int at = x_Pos(element).parent; at; at = x_Pos(at).parent) {
        ElemPos& ancestor = x_Pos(at);
        ancestor.endLeft += shift;
        ancestor.endRight += shift;
    }
}

int CMarkupSTL::x_NextInDocument(int element, bool intoChildren) const
{
    if (intoChildren && x_Pos(element).firstChild) return x_Pos(element).firstChild;
    while (element && !x_Pos(element).next)
        element = x_Pos(element).parent;
    return element ? x_Pos(element).next : 0;
}

void CMarkupSTL::x_DocChange(int at, int replaced, std::string_view text)
{
    m_strDoc.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(replaced), text);
}

bool CMarkupSTL::x_Fits(int replaced, std::size_t added) const
{
    return m_strDoc.size() - static_cast<std::size_t>(replaced) + added <= MAX_LENGTH;
}

int CMarkupSTL::x_PreviousSibling(int element) const
{
    int before = 0;
    for (int at = x_Pos(x_Pos(element).parent).firstChild; at != element; at = x_Pos(at).next)
        before = at;
    return before;
}

int CMarkupSTL::x_LastChild(int parent) const
{
    int last = x_Pos(parent).firstChild;
    while (last && x_Pos(last).next)
        last = x_Pos(last).next;
    return last;
}
