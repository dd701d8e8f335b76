// Looking up elements, attributes and text.

#include <charconv>

#include "xml/MarkupSTL.h"

namespace {

/// Appends a character in UTF-8. Three bytes are the most it writes, so only the low 16 bits of a larger code
/// count.
void AppendUtf8(std::string& out, unsigned int code)
{
    const auto append = [&](unsigned int byte) { out += static_cast<char>(byte); };
    if (code <= 0x7F) {
        append(code);
    } else if (code <= 0x7FF) {
        append(0xC0 | code >> 6);
        append(0x80 | (code & 0x3F));
    } else {
        append(0xE0 | (code >> 12 & 0x0F));
        append(0x80 | (code >> 6 & 0x3F));
        append(0x80 | (code & 0x3F));
    }
}

/// Resolves the reference that `rest` begins with, "&" included, onto `out`. Returns its length, 0 if it is
/// none.
std::size_t ResolveNumber(std::string_view rest, std::string& out)
{
    constexpr std::size_t MOST_DIGITS = 7;

    const bool hex = rest.substr(2).starts_with('x');
    const std::size_t start = hex ? 3 : 2;
    const std::string_view tail = rest.substr(start);
    const std::size_t count = tail.substr(0, MOST_DIGITS + 1).find(';');
    if (count == std::string_view::npos) return 0;

    unsigned int code = 0;
    const char* const end = tail.data() + count;
    const auto [stop, error] = std::from_chars(tail.data(), end, code, hex ? 16 : 10);
    if (error != std::errc() || stop != end) return 0;
    AppendUtf8(out, code);
    return start + count + 1;
}

/// The same for a named reference.
std::size_t ResolveName(std::string_view rest, std::string& out)
{
    struct Entity
    {
        std::string_view code;
        char character;
    };
    static constexpr Entity ENTITIES[] = {
        {"&lt;", '<'}, {"&amp;", '&'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&quot;", '"'}};

    for (const Entity& entity : ENTITIES) {
        if (!rest.starts_with(entity.code)) continue;
        out += entity.character;
        return entity.code.size();
    }
    return 0;
}

}  // namespace

int CMarkupSTL::x_FindElem(int parent, int after, const char* name) const
{
    int element = after ? x_Pos(after).next : x_Pos(parent).firstChild;
    if (x_IsAny(name)) return element;
    while (element && !x_HasName(element, name)) {
        element = x_Pos(element).next;
        ++m_steps.elementsPassed;
    }
    return element;
}

int CMarkupSTL::x_FindLastElem(int parent, int after, const char* name) const
{
    int element = x_LastChild(parent);
    while (element != after && !x_IsAny(name) && !x_HasName(element, name)) {
        element = x_PreviousSibling(element);
        ++m_steps.elementsPassed;
    }
    return element == after ? 0 : element;
}

int CMarkupSTL::x_PreviousSibling(int element) const
{
    const ElemPos& pos = x_Pos(element);
    return x_Pos(pos.parent).firstChild == element ? 0 : pos.previous;
}

int CMarkupSTL::x_LastChild(int parent) const
{
    const int first = x_Pos(parent).firstChild;
    return first ? x_Pos(first).previous : 0;
}

CMarkupSTL::Tag CMarkupSTL::x_NextTag(Tag tag) const
{
    const ElemPos& pos = x_Pos(tag.element);
    if (!tag.isEnd) return pos.firstChild ? x_StartTag(pos.firstChild) : Tag{tag.element, false, true};
    return pos.next ? x_StartTag(pos.next) : Tag{pos.parent, false, true};
}

CMarkupSTL::Tag CMarkupSTL::x_PreviousTag(Tag tag) const
{
    const int inFront = tag.isStart ? x_PreviousSibling(tag.element) : x_LastChild(tag.element);
    if (inFront) return x_EndTag(inFront);
    return {tag.isStart ? x_Pos(tag.element).parent : tag.element, true, false};
}

std::string_view CMarkupSTL::x_Text(int from, int end, std::string& joined) const
{
    if (from >= m_text.GapRight() || end <= m_text.GapLeft()) return m_text.Slice(from, end);
    joined = m_text.Slice(from, m_text.GapLeft());
    joined += m_text.Slice(m_text.GapRight(), end);
    return joined;
}

int CMarkupSTL::x_SkipWhitespace(int place) const
{
    x_FindAny(m_text.Data(), place);
    if (place == m_text.GapLeft()) {
        place = m_text.GapRight();
        x_FindAny(m_text.Data(), place);
    }
    return place;
}

bool CMarkupSTL::x_RanIntoGap(int element, const TokenPos& token) const
{
    if (token.nextPos != m_text.GapLeft() || m_text.Gap() == 0) return false;
    return (token.isString ? token.right + 1 : token.left) > x_Pos(element).startRight;
}

template <typename Find>
std::string_view CMarkupSTL::x_FindInStartTag(int element, std::string& joined, Find find) const
{
    const int start = x_Pos(element).startLeft + 1;
    TokenPos token(m_text.Data(), start);
    bool found = find(token);
    if (x_RanIntoGap(element, token)) {
        std::string scratch;
        joined = x_Text(start, m_text.End(), scratch);
        joined.append(SCAN_PADDING, '\0');
        token = TokenPos(joined.data());
        found = find(token);
    }
    return found ? x_GetToken(token) : std::string_view();
}

std::string CMarkupSTL::x_GetAttrib(int element, const char* name) const
{
    if (!x_IsReached(element)) return {};
    std::string joined;
    return Resolved(
        x_FindInStartTag(element, joined, [name](TokenPos& token) { return x_FindAttrib(token, name); }));
}

std::string CMarkupSTL::x_GetData(int element) const
{
    constexpr std::string_view CDATA_START = "<![CDATA[";
    constexpr std::string_view CDATA_END = "]]>";

    if (!element) return {};
    const ElemPos& pos = x_Pos(element);
    if (pos.firstChild || x_IsEmpty(element)) return {};

    std::string joined;
    const std::string_view content = x_Text(pos.startRight + 1, pos.endLeft, joined);
    const std::size_t start = content.find_first_not_of(WHITESPACE);
    if (start != std::string_view::npos && content.substr(start).starts_with(CDATA_START)) {
        const std::string_view data = content.substr(start + CDATA_START.size());
        const std::size_t end = data.find(CDATA_END);
        if (end != std::string_view::npos) return std::string(data.substr(0, end));
    }
    return Resolved(content);
}

std::string CMarkupSTL::Resolved(std::string_view text)
{
    if (text.find('&') == std::string_view::npos) return std::string(text);
    std::string_view rest = text;
    std::string out;
    out.reserve(rest.size());
    for (;;) {
        const std::size_t mark = rest.find('&');
        out += rest.substr(0, mark);
        if (mark == std::string_view::npos) return out;
        rest.remove_prefix(mark);

        std::size_t length = rest.starts_with("&#") ? ResolveNumber(rest, out) : ResolveName(rest, out);
        if (length == 0) {
            out += rest[0];
            length = 1;
        }
        rest.remove_prefix(length);
    }
}

bool CMarkupSTL::x_FindAttribName(TokenPos& token, int n)
{
    if (!x_FindTagToken(token)) return false;  // the tag name

    int number = 0;
    bool isValue = false;
    while (x_FindTagToken(token)) {
        const bool isEquals = !token.isString && token.text[token.left] == '=';
        if (!isEquals && !isValue && !token.isString && number++ == n) return true;
        isValue = isEquals;
    }
    return false;
}

std::string CMarkupSTL::GetTagName() const { return m_nMainPos ? std::string(x_TagName(m_nMainPos)) : ""; }

std::string CMarkupSTL::GetChildTagName() const
{
    return m_nChildPos ? std::string(x_TagName(m_nChildPos)) : "";
}

std::string CMarkupSTL::GetAttrib(const char* name) const { return x_GetAttrib(m_nMainPos, name); }

std::string CMarkupSTL::GetChildAttrib(const char* name) const { return x_GetAttrib(m_nChildPos, name); }

std::string CMarkupSTL::GetAttribName(int n) const
{
    if (!x_IsReached(m_nMainPos)) return {};
    std::string joined;
    return std::string(
        x_FindInStartTag(m_nMainPos, joined, [n](TokenPos& token) { return x_FindAttribName(token, n); }));
}

std::string CMarkupSTL::GetData() const { return x_GetData(m_nMainPos); }

std::string CMarkupSTL::GetChildData() const { return x_GetData(m_nChildPos); }
