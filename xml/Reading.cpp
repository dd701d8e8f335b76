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
    const std::string_view wanted = x_View(name);
    int element = after ? x_Pos(after).next : x_Pos(parent).firstChild;
    if (wanted.empty()) return element;
    while (element && !x_MatchName(x_TagName(element), wanted))
        element = x_Pos(element).next;
    return element;
}

std::string_view CMarkupSTL::x_TagName(int element) const
{
    TokenPos token(m_strDoc.c_str(), x_Pos(element).startLeft + 1);
    x_FindToken(token);
    return x_GetToken(token);
}

std::string CMarkupSTL::x_GetAttrib(int element, const char* name) const
{
    if (!x_IsReached(element)) return {};
    TokenPos token(m_strDoc.c_str(), x_Pos(element).startLeft + 1);
    if (!x_FindAttrib(token, name)) return {};
    return x_TextFromDoc(token.left, token.right);
}

std::string CMarkupSTL::x_GetData(int element) const
{
    constexpr std::string_view CDATA_START = "<![CDATA[";
    constexpr std::string_view CDATA_END = "]]>";

    if (!element) return {};
    const ElemPos& pos = x_Pos(element);
    if (pos.firstChild || x_IsEmpty(element)) return {};

    int start = pos.startRight + 1;
    x_FindAny(m_strDoc.c_str(), start);
    std::string_view content = x_Slice(start, pos.endLeft);
    if (content.starts_with(CDATA_START)) {
        content.remove_prefix(CDATA_START.size());
        const std::size_t end = content.find(CDATA_END);
        if (end != std::string_view::npos) return std::string(content.substr(0, end));
    }
    return x_TextFromDoc(pos.startRight + 1, pos.endLeft - 1);
}

std::string CMarkupSTL::x_TextFromDoc(int from, int to) const
{
    if (from > to) return {};
    std::string_view rest = x_Slice(from, to + 1);
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
    TokenPos token(m_strDoc.c_str(), x_Pos(m_nMainPos).startLeft + 1);
    if (!x_FindTagToken(token)) return {};  // the tag name

    int number = 0;
    bool isValue = false;
    while (x_FindTagToken(token)) {
        const bool isEquals = !token.isString && token.text[token.left] == '=';
        if (!isEquals && !isValue && !token.isString && number++ == n) return std::string(x_GetToken(token));
        isValue = isEquals;
    }
    return {};
}

std::string CMarkupSTL::GetData() const { return x_GetData(m_nMainPos); }

std::string CMarkupSTL::GetChildData() const { return x_GetData(m_nChildPos); }
