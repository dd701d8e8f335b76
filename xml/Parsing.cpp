// Scanning the text and building the index.

#include <algorithm>
#include <array>
#include <cstring>

#include "xml/MarkupSTL.h"

namespace {

using namespace std::string_view_literals;

using CharSet = std::array<bool, UCHAR_MAX + 1>;

constexpr CharSet SetOf(std::string_view characters)
{
    CharSet set = {};
    for (const char c : characters)
        set[static_cast<unsigned char>(c)] = true;
    return set;
}

constexpr bool Has(const CharSet& set, char c) { return set[static_cast<unsigned char>(c)]; }

constexpr CharSet BLANKS = SetOf(" \t\n\r");
constexpr CharSet WORD_END = SetOf(" \t\n\r<>=\\/?!\0"sv);
constexpr CharSet NO_WORD = SetOf("\"' \t\n\r<>=\\/?!\0"sv);  // what no word begins with
constexpr CharSet NAME_END = SetOf(" =/[");  // ends the part of a caller's name that is compared

constexpr bool IsQuote(char c) { return c == '"' || c == '\''; }

/// Whether a word begins with `c`.
constexpr bool BeginsWord(char c) { return !Has(NO_WORD, c); }

constexpr CharSet TAG_END = SetOf(">/?");

/// Behind the word that begins at `at`.
const char* EndOfWord(const char* at)
{
    while (!Has(WORD_END, *at))
        ++at;
    return at;
}

/// Whether the word at `at` is `name`, and that nothing but a word.
bool IsPlainly(const char* at, const char* name)
{
    if (!BeginsWord(*name)) return false;
    for (; *name == *at && !Has(WORD_END, *name); ++name)
        ++at;
    return *name == '\0' && Has(WORD_END, *at);
}

/// An attribute as nearly all are written: a word, '=' and a quoted string with nothing in between.
class PlainAttrib
{
public:
    explicit PlainAttrib(const char* at) : m_name(at)
    {
        if (!BeginsWord(*at)) return;
        m_nameEnd = EndOfWord(at);
        if (*m_nameEnd != '=' || !IsQuote(m_nameEnd[1])) return;
        const char quote = m_nameEnd[1];
        m_valueEnd = std::strchr(m_nameEnd + 2, quote);
    }

    bool IsComplete() const { return m_valueEnd != nullptr; }
    std::string_view Name() const { return {m_name, static_cast<std::size_t>(m_nameEnd - m_name)}; }
    std::string_view Value() const
    {
        return {m_nameEnd + 2, static_cast<std::size_t>(m_valueEnd - m_nameEnd - 2)};
    }
    /// Behind the closing quote.
    const char* End() const { return m_valueEnd + 1; }

private:
    const char* m_name;
    const char* m_nameEnd = nullptr;
    const char* m_valueEnd = nullptr;
};

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
    while (Has(BLANKS, text[pos]))
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
    while (!Has(WORD_END, text[pos]))
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

std::string_view CMarkupSTL::x_TagName(int element) const
{
    const int start = x_Pos(element).startLeft + 1;
    const char* const at = m_text.Data() + start;
    if (BeginsWord(*at)) return {at, static_cast<std::size_t>(EndOfWord(at) - at)};

    TokenPos token(m_text.Data(), start);
    x_FindToken(token);
    return x_GetToken(token);
}

bool CMarkupSTL::x_HasName(int element, const char* name) const
{
    return IsPlainly(m_text.Data() + x_Pos(element).startLeft + 1, name) ||
           x_MatchName(x_TagName(element), name);
}

bool CMarkupSTL::x_IsName(std::string_view word)
{
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
    const char* at = token.text + token.nextPos;
    if (wanted.empty() || !BeginsWord(*at)) return x_FindOddAttrib(token, wanted);
    at = EndOfWord(at);
    for (;;) {  // as long as all is written plainly: n="1" m='2'
        while (Has(BLANKS, *at))
            ++at;
        if (Has(TAG_END, *at)) {
            token.left = token.right = static_cast<int>(at - token.text);
            token.nextPos = token.left + 1;
            token.isString = false;
            return false;
        }
        const PlainAttrib attrib(at);
        if (!attrib.IsComplete()) return x_FindOddAttrib(token, wanted);
        at = attrib.End();
        if (!x_MatchName(attrib.Name(), wanted)) continue;
        token.left = static_cast<int>(attrib.Value().data() - token.text);
        token.right = token.left + static_cast<int>(attrib.Value().size()) - 1;
        token.nextPos = static_cast<int>(at - token.text);
        token.isString = true;
        return true;
    }
}

bool CMarkupSTL::x_FindOddAttrib(TokenPos& token, std::string_view wanted)
{
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

bool CMarkupSTL::GetAttribs(std::span<const AttribKey> keys, std::span<std::string_view> values) const
{
    if (!x_IsReached(m_nMainPos)) {
        std::fill(values.begin(), values.end(), std::string_view());
        return true;
    }
    const char* at = m_text.Data() + x_Pos(m_nMainPos).startLeft + 1;
    const char* const last = m_text.Data() + x_Pos(m_nMainPos).startRight;
    if (!BeginsWord(*at)) return false;
    at = EndOfWord(at);

    auto found = values.begin();
    QuoteScan quotes(at, last);
    for (const AttribKey& key : keys) {  // as long as they stand as expected
        if (!key.IsAt(at)) break;
        const char* const value = quotes.Next() + 1;
        const char* const end = quotes.Next();
        if (end > last) return false;
        *found++ = {value, static_cast<std::size_t>(end - value)};
        at = end + 1;
    }
    auto count = static_cast<std::size_t>(found - values.begin());
    if (count == keys.size()) return true;

    std::fill(values.begin() + static_cast<std::ptrdiff_t>(count), values.end(), std::string_view());
    while (count < keys.size()) {
        while (Has(BLANKS, *at))
            ++at;
        if (Has(TAG_END, *at)) break;
        const PlainAttrib attrib(at);
        if (!attrib.IsComplete()) return false;
        at = attrib.End();
        const auto key = std::find_if(keys.begin(), keys.end(),
                                      [&](const AttribKey& each) { return each.Name() == attrib.Name(); });
        if (key == keys.end()) continue;
        std::string_view& value = values[static_cast<std::size_t>(key - keys.begin())];
        if (value.data()) continue;  // the first one counts
        value = attrib.Value();
        ++count;
    }
    return true;
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

// Not with strstr: under a sanitizer it measures all the rest of the text, every time.
bool CMarkupSTL::x_SkipTo(TokenPos& token, const char* end)
{
    const std::string_view mark = end;
    for (int pos = token.left; x_FindChar(token.text, pos, mark.back()); ++pos) {
        const int start = pos + 1 - static_cast<int>(mark.size());
        if (start < token.left || std::string_view(token.text + start, mark.size()) != mark) continue;
        token.nextPos = pos + 1;
        return true;
    }
    return false;
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
            if (open.back().lastChild) x_Pos(x_Pos(done).firstChild).previous = open.back().lastChild;
            open.pop_back();
        }
        if (open.empty()) return done;

        OpenElem& outer = open.back();
        if (outer.lastChild) {
            x_Pos(outer.lastChild).next = done;
            x_Pos(done).previous = outer.lastChild;
        } else {
            x_Pos(outer.element).firstChild = done;
        }
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

    TokenPos token(m_text.Data(), x_Pos(parent).endLeft);
    for (;;) {
        x_FindAny(token.text, token.nextPos);  // mostly all there is in front of the tag
        if (!x_FindChar(token.text, token.nextPos, '<')) {
            return parent ? x_ReleasePos() : x_ParseError("Element tag not found");
        }
        pos.startLeft = x_Pos(parent).endLeft = token.nextPos++;
        if (BeginsWord(token.text[token.nextPos])) break;  // there is no '>' in a word
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
    TokenPos token(m_text.Data(), pos.endLeft);
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
    if (static_cast<std::size_t>(m_nFreePos) == m_vecPos.size()) x_EnsureFree(1);
    return m_nFreePos++;
}

int CMarkupSTL::x_ReleasePos()
{
    --m_nFreePos;
    return 0;
}

// Memory that is reserved costs nothing before it is used, so records are made in blocks and no sooner.
void CMarkupSTL::x_EnsureFree(int count)
{
    constexpr std::size_t BLOCK = 256;  // records

    const std::size_t room = m_vecPos.capacity();
    const std::size_t needed = static_cast<std::size_t>(m_nFreePos) + static_cast<std::size_t>(count);
    if (needed > room) m_vecPos.reserve(std::max(needed, room + room / 2));  // resize alone would double it
    if (needed > m_vecPos.size()) m_vecPos.resize(std::min(m_vecPos.capacity(), needed + BLOCK));
}
