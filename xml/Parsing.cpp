// Scanning the text and building the index.

#include <algorithm>
#include <array>
#include <cstring>

#include "xml/MarkupSTL.h"

namespace {

using CharSet = std::array<bool, UCHAR_MAX + 1>;

constexpr CharSet SetOf(std::string_view characters)
{
    CharSet set = {};
    for (const char c : characters)
        set[static_cast<unsigned char>(c)] = true;
    return set;
}

constexpr bool Has(const CharSet& set, char c) { return set[static_cast<unsigned char>(c)]; }

constexpr CharSet WHITESPACE = SetOf(" \t\n\r");
constexpr CharSet WORD_END = SetOf(" \t\n\r<>=\\/?!");
constexpr CharSet NAME_END = SetOf(" =/[");  // ends the part of a caller's name that is compared

constexpr bool IsQuote(char c) { return c == '"' || c == '\''; }

}  // namespace

bool CMarkupSTL::x_FindChar(const char* text, int& pos, char c)
{
    const char* const from = text + pos;
    if (const char* const found = std::strchr(from, c)) {
        pos += static_cast<int>(found - from);
        return true;
    }
    pos += static_cast<int>(std::strlen(from));
    return false;
}

bool CMarkupSTL::x_FindAny(const char* text, int& pos)
{
    while (Has(WHITESPACE, text[pos]))
        ++pos;
    return text[pos] != '\0';
}

bool CMarkupSTL::x_FindToken(TokenPos& token)
{
    const char* const text = token.text;
    int pos = token.nextPos;
    token.isString = false;
    if (!x_FindAny(text, pos)) {
        token.left = token.right = token.nextPos = pos;
        return false;
    }

    if (IsQuote(text[pos])) {
        token.isString = true;
        token.left = pos + 1;
        const char quote = text[pos++];
        const bool closed = x_FindChar(text, pos, quote);
        token.right = pos - 1;
        token.nextPos = closed ? pos + 1 : pos;
        return true;
    }

    token.left = pos;
    while (text[pos] != '\0' && !Has(WORD_END, text[pos]))
        ++pos;
    if (pos == token.left) ++pos;  // a special character is a token of its own
    token.right = pos - 1;
    token.nextPos = pos;
    return true;
}

std::string_view CMarkupSTL::x_GetToken(const TokenPos& token)
{
    if (token.left > token.right) return {};
    return {token.text + token.left, static_cast<std::size_t>(token.right - token.left + 1)};
}

bool CMarkupSTL::x_MatchName(std::string_view token, std::string_view name)
{
    if (!name.starts_with(token)) return false;
    return name.size() == token.size() || Has(NAME_END, name[token.size()]);
}

bool CMarkupSTL::x_IsName(const char* name)
{
    const std::string_view word = x_View(name);
    if (word.empty() || word.size() > MAX_LENGTH || IsQuote(word[0])) return false;
    return std::none_of(word.begin(), word.end(), [](char c) { return Has(WORD_END, c); });
}

bool CMarkupSTL::x_FindTagToken(TokenPos& token)
{
    if (!x_FindToken(token)) return false;
    if (token.isString) return true;
    const char first = token.text[token.left];
    return first != '>' && first != '/' && first != '?';
}

bool CMarkupSTL::x_FindAttrib(TokenPos& token, const char* name)
{
    const std::string_view wanted = x_View(name);
    int match = 0;  // number of the token that is the name; 0, the tag name's, while there is none
    for (int number = 0; x_FindTagToken(token); ++number) {
        if (match) {
            if (number < match + 2) continue;  // the '='
            if (token.isString) return true;
            match = 0;  // an unquoted value is none; the name may come again with a quoted one
            continue;
        }
        if (number == 0 || token.isString || token.text[token.left] == '=') continue;
        if (wanted.empty()) return true;
        if (x_MatchName(x_GetToken(token), wanted)) match = number;
    }
    return false;
}

CMarkupSTL::NodeType CMarkupSTL::x_ParseNode(TokenPos& token)
{
    const char* const text = token.text;
    const int start = token.left = token.nextPos;
    if (text[start] == '\0') return NODE_NONE;
    if (text[start] != '<') {
        if (!x_FindAny(text, token.nextPos) || text[token.nextPos] == '<') return NODE_WHITESPACE;
        x_FindChar(text, token.nextPos, '<');
        return NODE_TEXT;
    }

    if (text[start + 1] == '\0' || text[start + 2] == '\0') return NODE_NONE;
    if (text[start + 1] == '/') return NODE_NONE;
    if (text[start + 1] == '?') return x_SkipTo(token, "?>") ? NODE_INSTRUCTION : NODE_NONE;
    if (text[start + 1] != '!') return NODE_ELEMENT;
    if (text[start + 2] == '[') return x_SkipTo(token, "]]>") ? NODE_CDATA : NODE_NONE;
    if (text[start + 2] == '-') return x_SkipTo(token, "-->") ? NODE_COMMENT : NODE_NONE;

    int depth = 0;  // of the internal subset's brackets
    token.nextPos = start + 2;
    while (x_FindToken(token)) {
        if (token.isString) continue;
        for (const char c : x_GetToken(token)) {
            if (c == '[') ++depth;
            if (c == ']') --depth;
            if (c == '>' && depth == 0) return NODE_DOCTYPE;
        }
    }
    return NODE_NONE;
}

bool CMarkupSTL::x_SkipTo(TokenPos& token, const char* end)
{
    const char* const found = std::strstr(token.text + token.left, end);
    if (!found) return false;
    token.nextPos = static_cast<int>(found - token.text + static_cast<std::ptrdiff_t>(std::strlen(end)));
    return true;
}

// Goes down and up with a stack of its own, so that the nesting depth of a document costs heap and nothing
// else.
int CMarkupSTL::x_ParseElem(int parent)
{
    struct OpenElem
    {
        int element;
        int lastChild;
    };
    std::vector<OpenElem> open;  // from the outermost element to the one whose content is being parsed

    for (;;) {
        int done = x_ParseStartTag(open.empty() ? parent : open.back().element);
        if (done < 0) return done;
        if (done > 0 && !x_IsEmpty(done)) {
            open.push_back({done, 0});
            continue;
        }
        if (done == 0) {
            if (open.empty()) return 0;
            done = x_ParseEndTag(open.back().element);
            if (done < 0) return done;
            open.pop_back();
        }
        if (open.empty()) return done;

        OpenElem& outer = open.back();
        (outer.lastChild ? x_Pos(outer.lastChild).next : x_Pos(outer.element).firstChild) = done;
        outer.lastChild = done;
        x_Pos(outer.element).endLeft = x_Pos(done).endRight + 1;
    }
}

int CMarkupSTL::x_ParseStartTag(int parent)
{
    const int element = x_GetFreePos();
    ElemPos& pos = x_Pos(element);
    pos = {};
    pos.parent = parent;

    TokenPos token(m_strDoc.c_str(), x_Pos(parent).endLeft);
    for (;;) {
        if (!x_FindChar(token.text, token.nextPos, '<')) {
            return parent ? x_ReleasePos() : x_ParseError("Element tag not found");
        }
        pos.startLeft = x_Pos(parent).endLeft = token.nextPos++;
        if (!x_FindToken(token)) return x_ParseError("Abrupt end within tag");
        if (token.isString) return x_ParseError("Tag starts with quote");

        const char first = token.text[token.left];
        if (first == '/') return x_ReleasePos();
        if (first != '?' && first != '!') break;

        token.nextPos = pos.startLeft;
        const NodeType type = x_ParseNode(token);
        if (type == NODE_NONE || type == NODE_ELEMENT) return x_ParseError("Invalid node");  // such as "< !"
    }

    pos.startRight = token.nextPos;
    if (!x_FindChar(token.text, pos.startRight, '>')) return x_ParseError("End of tag not found");
    if (token.text[pos.startRight - 1] == '/') {
        pos.endLeft = pos.startRight - 1;
        pos.endRight = pos.startRight;
    } else {
        pos.endLeft = pos.startRight + 1;
    }
    return element;
}

int CMarkupSTL::x_ParseEndTag(int element)
{
    const std::string_view name = x_TagName(element);
    ElemPos& pos = x_Pos(element);
    TokenPos token(m_strDoc.c_str(), pos.endLeft);
    if (!x_FindChar(token.text, token.nextPos, '<')) {
        return x_ParseError("End tag of %s element not found", name);
    }
    pos.endLeft = token.nextPos++;

    for (int count = 0; x_FindToken(token);) {
        if (token.isString) continue;
        const std::string_view word = x_GetToken(token);
        ++count;
        if (count == 1) {
            if (word != "/") return x_ParseError("Expecting end tag of element %s", name);
        } else if (count == 2) {
            if (!x_MatchName(word, name)) return x_ParseError("End tag does not correspond to %s", name);
        } else if (word == ">") {
            pos.endRight = token.left;
            return element;
        }
    }
    return x_ParseError("End tag not completed for element %s", name);
}

int CMarkupSTL::x_ParseError(std::string_view format, std::string_view name)
{
    constexpr std::string_view MARK = "%s";
    constexpr std::size_t MOST_OF_NAME = 256;  // bytes

    m_strError = format;
    if (const std::size_t mark = m_strError.find(MARK); mark != std::string::npos) {
        m_strError.replace(mark, MARK.size(), name.substr(0, MOST_OF_NAME));
    }
    x_ReleasePos();
    return -1;
}

int CMarkupSTL::x_GetFreePos()
{
    x_EnsureFree(1);
    return m_nFreePos++;
}

int CMarkupSTL::x_ReleasePos()
{
    --m_nFreePos;
    return 0;
}

void CMarkupSTL::x_EnsureFree(int count)
{
    const std::size_t size = m_vecPos.size();
    const std::size_t needed = static_cast<std::size_t>(m_nFreePos) + static_cast<std::size_t>(count);
    if (needed <= size) return;
    const std::size_t grown = std::max(needed, size + size / 2);
    m_vecPos.reserve(grown);  // resize alone would take twice the room
    m_vecPos.resize(grown);
}
