#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "xml/AttribKey.h"
#include "xml/GapText.h"

/// An XML document kept as its own text, with a cursor to read and edit it.
///
/// The document is one text; beside it stands an index that tells for each element where its tags are.
/// Reading walks the index, an edit splices the text and keeps the index in step, so whatever an edit does
/// not touch stays as it was to the byte. Every element that is added ends with CR LF; there is no
/// indentation.
///
/// An edit costs what lies between it and either the last edit elsewhere than at the end, or the document's
/// end: see `GapText`. The index holds places in that text's memory, so it needs no more changes than the
/// memory does, and the gap is never within a tag, so that a tag is always in one piece.
///
/// The cursor is three elements: the main position, the parent that contains it and a child of it, each
/// possibly none. A fresh document has none of them, so the first `FindElem` finds the document element.
///
/// The parser finds elements and their nesting. Processing instructions, comments, CDATA sections and
/// document type declarations are skipped, attributes and entities are looked at only when they are read, and
/// text behind the document element is kept but not parsed. Nothing recurses over the nesting depth.
///
/// A name given to a lookup matches a tag or attribute name that is equal to it, or to its part in front of
/// one of " =/[". Matching is case-sensitive. Any text pointer may be null, which counts as absent.
///
/// Threads:   one thread at a time; the caller locks.
/// Ownership: texts are copied in and returned as copies.
/// Units:     places and lengths are bytes, 32 bits wide; a document is shorter than 2 GiB.
/// Errors:    told by the result alone: false, or an empty text. A refused edit changes nothing. Only
///            std::bad_alloc is ever thrown, and an edit that ends so has changed nothing either.
class CMarkupSTL
{
public:
    /// The work that edits and lookups have taken so far, in steps that do not depend on the machine. Those
    /// near the document's end or near the last edit must not take more of them in a long document.
    struct Steps
    {
        unsigned long long bytesMoved = 0;
        unsigned long long tagsMoved = 0;       ///< in the index
        unsigned long long elementsPassed = 0;  ///< by lookups by name, on the way to what they found
    };

    /// The empty document.
    CMarkupSTL();
    /// Parses `text`; `IsWellFormed` tells whether that went well.
    explicit CMarkupSTL(const char* text);
    CMarkupSTL(const CMarkupSTL&) = default;
    CMarkupSTL& operator=(const CMarkupSTL&) = default;
    virtual ~CMarkupSTL() = default;

    // --- The document

    /// Replaces the document by `text` and parses it; the cursor and the saved positions are gone. True if
    /// its document element parsed. Otherwise the text is kept without elements, and `GetError` says why,
    /// unless the text is absent or empty or begins with an end tag. A text of 2 GiB or more leaves an empty
    /// document.
    bool SetDoc(const char* text);
    /// The same with the content of a file, up to its first NUL. False, with an empty document, if the file
    /// cannot be read or does not parse; only the latter sets `GetError`.
    bool Load(const char* path);
    /// Replaces the file at `path` whole by the document as it stands (see `ReplaceFileWhole`); an empty
    /// document makes an empty file. False leaves the file as it was.
    bool Save(const char* path) const;

    /// Whether there is a document element.
    bool IsWellFormed() const;
    /// The whole text.
    std::string GetDoc() const;
    const Steps& GetSteps() const { return m_steps; }
    /// What was wrong in the last text that did not parse; a later success does not clear it.
    std::string GetError() const;

    // --- Moving the cursor

    /// Moves to the next element after the main position among the parent's children, or the first one if
    /// there is no main position, whose name matches; without a name to the very next. False, without
    /// moving, if there is none.
    bool FindElem(const char* name = nullptr);
    /// Moves to the last element behind the main position, or the parent's last one if there is no main
    /// position, whose name matches; without a name to the very last. False, without moving, if there is
    /// none. Costs a look at each element behind the one found, not at those in front of it.
    bool FindLastElem(const char* name = nullptr);
    /// Moves the child position in the same way among the main element's children. Without a main position
    /// it first takes the next element as main, and stays there also when no child is found.
    bool FindChildElem(const char* name = nullptr);
    /// The main element becomes the parent and the child position the main position.
    bool IntoElem();
    /// The parent becomes the main element and the main position the child position.
    bool OutOfElem();
    /// Back in front of the document element.
    void ResetPos();
    /// Back in front of the parent's first child.
    void ResetMainPos();
    /// Back in front of the main element's first child.
    void ResetChildPos();

    /// Keeps the cursor under `name`, over an earlier one of that name. False only if `name` is absent.
    bool SavePos(const char* name);
    /// Takes the cursor back to where `SavePos` was called. False, without moving, if nothing is saved under
    /// `name`. Removing an element forgets what was saved on it or inside it.
    bool RestorePos(const char* name);

    // --- Reading

    std::string GetTagName() const;
    std::string GetChildTagName() const;
    /// The value of an attribute, entities resolved; an attribute that is missing and one that is empty read
    /// alike. Only quoted values are found. Without a name: the name of the first attribute.
    std::string GetAttrib(const char* name) const;
    std::string GetChildAttrib(const char* name) const;
    /// The name of the main element's attribute number `n`, from 0 on.
    std::string GetAttribName(int n) const;
    /// Looks up several attributes of the main element in one pass, which is fastest where they stand in the
    /// order of `keys`: `values`, as many, become what stands between their quotes, with a null data() for
    /// what is missing. Views of the document, entities unresolved (see `Resolved`), until the next edit.
    /// False, with values of no meaning, where the start tag is not written plainly enough for that.
    bool GetAttribs(std::span<const AttribKey> keys, std::span<std::string_view> values) const;
    /// `text`, which is written in a document, with its entities resolved.
    static std::string Resolved(std::string_view text);
    /// The text of an element without child elements: a CDATA section as it stands, else entities resolved.
    std::string GetData() const;
    std::string GetChildData() const;

    // --- Editing. Names of new elements and attributes are single words as the parser reads them: not empty,
    // --- none of blank, tab, line end and <>=\/?! in them, no quote in front.

    /// Adds an element behind the main position, or as the parent's last child if there is none; it becomes
    /// the main position. `data` is its text, escaped; without it the element is empty. False where the
    /// document would get a second document element.
    bool AddElem(const char* name, const char* data = nullptr);
    /// The same in front of the main position, or as the parent's first child.
    bool InsertElem(const char* name, const char* data = nullptr);
    /// The same under the main element, behind the child position or as last child; it becomes the child
    /// position.
    bool AddChildElem(const char* name, const char* data = nullptr);
    /// The same in front of the child position or as first child.
    bool InsertChildElem(const char* name, const char* data = nullptr);
    /// Adds the document element of `text` where `AddElem` would add one. False if `text` does not parse;
    /// `GetError` then says why.
    bool AddSubDoc(const char* text);

    /// Sets an attribute of the main element: an existing one keeps its place, a new one goes behind the
    /// others. False also where the start tag's quotes do not end within the tag.
    bool SetAttrib(const char* name, const char* value);
    bool SetAttrib(const char* name, int value);
    bool AddAttrib(const char* name, const char* value);
    bool AddAttrib(const char* name, int value);
    bool SetChildAttrib(const char* name, const char* value);
    bool SetChildAttrib(const char* name, int value);
    bool AddChildAttrib(const char* name, const char* value);
    bool AddChildAttrib(const char* name, int value);

    /// Replaces the text of an element without child elements; false if it has some. With `asCData` the text
    /// goes into a CDATA section as it is, unless it holds "]]>".
    bool SetData(const char* data, int asCData = 0);
    bool SetChildData(const char* data, int asCData = 0);

    /// Removes the main element with all that is in it and the white space up to the next tag. The element
    /// in front of it becomes the main position; there is none if it was the first.
    bool RemoveElem();
    /// The same for the child position.
    bool RemoveChildElem();

protected:
    /// Where an element stands, in places of the text's memory. Its text runs from `startLeft` to `endRight`,
    /// both included.
    struct ElemPos
    {
        int startLeft = 0;   ///< place of the '<' of the start tag
        int startRight = 0;  ///< place of the '>' of the start tag
        int endLeft = 0;     ///< place of the '<' of the end tag; of the '/' of an empty element. While the
                             ///< element is parsed: where the search for its next child starts
        int endRight = 0;    ///< place of the '>' of the end tag; `startRight` for an empty element
        int parent = 0;      ///< index of the parent element; 0 for the document element
        int firstChild = 0;  ///< index, 0 if none
        int next = 0;        ///< index of the next sibling, 0 if none
        int previous = 0;    ///< index of the previous sibling; the first child has the last one here
    };

    /// A tag of the document; that of an empty element is both its start and its end.
    struct Tag
    {
        int element = 0;  ///< 0: in front of the first tag of all, or behind the last
        bool isStart = true;
        bool isEnd = false;
    };

    /// The tokenizer's cursor.
    struct TokenPos
    {
        explicit TokenPos(const char* doc, int start = 0) : nextPos(start), text(doc) {}

        int left = 0;           ///< place of the first character, behind the quote of a quoted string
        int right = -1;         ///< place of the last character, in front of the closing quote
        int nextPos;            ///< place where the next search starts
        const char* text;       ///< borrowed, NUL-terminated; the document's memory, or text on its own
        bool isString = false;  ///< the token was a quoted string
    };

    struct SavedPos
    {
        int parent = 0;
        int main = 0;
        int child = 0;
    };

    /// What `x_ParseNode` found.
    enum NodeType : int
    {
        NODE_NONE = 0,  ///< nothing, an end tag or a malformed node
        NODE_ELEMENT = 1,
        NODE_TEXT = 2,
        NODE_WHITESPACE = 4,
        NODE_CDATA = 8,
        NODE_INSTRUCTION = 16,
        NODE_COMMENT = 32,
        NODE_DOCTYPE = 64
    };

    /// For `x_LocateNew`.
    enum LocateFlags : int
    {
        LOCATE_INSERT = 1,          ///< in front of the reference element, not behind it
        LOCATE_KEEP_WHITESPACE = 2  ///< right there, without going on to the next tag
    };

    struct NewPlace
    {
        int offset = 0;  ///< the place where the new text goes
        int after = 0;   ///< the element that a new one is linked behind; 0: it becomes the first child
    };

    static constexpr std::string_view WHITESPACE = " \t\n\r";
    /// The longest document that 32-bit places reach, in bytes.
    static constexpr std::size_t MAX_LENGTH = GapText::LIMIT;

    // --- Scanning

    /// Moves `pos` to the next `c` or the terminating NUL; true if it is `c`.
    static bool x_FindChar(const char* text, int& pos, char c);
    /// Moves `pos` over white space; true if it stopped in front of the terminating NUL.
    static bool x_FindAny(const char* text, int& pos);
    /// Reads the next token: a quoted string, a word, or one special character. False at the text's end.
    static bool x_FindToken(TokenPos& token);
    /// The token's text; valid as long as the document is not changed.
    static std::string_view x_GetToken(const TokenPos& token);
    /// Whether `name` can be the name of a new element or attribute.
    static bool x_IsName(std::string_view word);
    /// Whether `name`, as a caller wrote it, designates the word `token`.
    static bool x_MatchName(std::string_view token, std::string_view name);
    /// Reads the next token of a start tag; false at the tag's end.
    static bool x_FindTagToken(TokenPos& token);
    /// Looks for an attribute from behind a start tag's '<' on; on success the token is its value, or, if
    /// `name` is absent or empty, the first attribute's name.
    static bool x_FindAttrib(TokenPos& token, const char* name);
    /// The same for a start tag that may be written in any way.
    static bool x_FindOddAttrib(TokenPos& token, std::string_view wanted);
    /// Looks for the name of attribute number `n` in the same way.
    static bool x_FindAttribName(TokenPos& token, int n);

    // --- Parsing

    /// Parses the text as it stands as a new document.
    bool x_ParseText();
    /// Tells what stands at `nextPos` and moves `nextPos` past it, but for an element.
    static NodeType x_ParseNode(TokenPos& token);
    /// Moves `nextPos` behind the first `end` from `left` on; false, without moving, if there is none.
    static bool x_SkipTo(TokenPos& token, const char* end);
    /// Parses the next element inside `parent`, from its `endLeft` on, with all that is in it. Returns its
    /// index, 0 where the parent's content ends instead, or -1 with the error text set.
    int x_ParseElem(int parent);
    /// The start tag only; same results. The content of an element that is not empty is yet to be parsed.
    int x_ParseStartTag(int parent);
    /// Reads the end tag that is due at the element's `endLeft`; returns `element`, or -1.
    int x_ParseEndTag(int element);
    /// Sets the error text, with `name` in place of "%s", and gives back the last record; returns -1.
    int x_ParseError(std::string_view format, std::string_view name = {});
    /// Takes a record from the free ones; what is in it is of no meaning.
    int x_GetFreePos();
    /// Gives back the record taken last; returns 0.
    int x_ReleasePos();
    /// Makes room for `count` records more, by half of what there is at least.
    void x_EnsureFree(int count);

    // --- Reading

    ElemPos& x_Pos(int element) { return m_vecPos[static_cast<std::size_t>(element)]; }
    const ElemPos& x_Pos(int element) const { return m_vecPos[static_cast<std::size_t>(element)]; }
    /// Whether the element is written `<a/>`.
    bool x_IsEmpty(int element) const { return x_Pos(element).startRight == x_Pos(element).endRight; }
    /// Whether an empty element can be opened into `<a>...</a>`: `<a//>` would leave its other slash in front
    /// of the '>' and still be empty to the parser.
    bool x_CanOpen(int element) const { return m_text.Data()[x_Pos(element).endLeft - 1] != '/'; }
    /// Whether nothing stands between an element's start tag and its end tag.
    bool x_IsBare(int element) const
    {
        return m_text.OffsetOf(x_Pos(element).startRight) + 1 == m_text.OffsetOf(x_Pos(element).endLeft);
    }
    /// Whether `position`, one of the cursor's, is an element that navigation has reached.
    bool x_IsReached(int position) const { return position && m_nNodeType == NODE_ELEMENT; }
    int x_PreviousSibling(int element) const;
    int x_LastChild(int parent) const;
    Tag x_StartTag(int element) const { return {element, true, x_IsEmpty(element)}; }
    Tag x_EndTag(int element) const { return {element, x_IsEmpty(element), true}; }
    /// The tag behind `tag` in the document, or in front of it.
    Tag x_NextTag(Tag tag) const;
    Tag x_PreviousTag(Tag tag) const;
    /// The place of a tag's '<'.
    int x_Left(Tag tag) const
    {
        return tag.isStart ? x_Pos(tag.element).startLeft : x_Pos(tag.element).endLeft;
    }
    /// The place of a tag's '>'.
    int x_Right(Tag tag) const
    {
        return tag.isStart ? x_Pos(tag.element).startRight : x_Pos(tag.element).endRight;
    }
    /// The next element behind `after`, or the first in `parent` if that is 0, that `name` matches; else 0.
    int x_FindElem(int parent, int after, const char* name) const;
    /// The last such element.
    int x_FindLastElem(int parent, int after, const char* name) const;
    std::string_view x_TagName(int element) const;
    /// Whether `name`, as a caller wrote it, designates the element.
    bool x_HasName(int element, const char* name) const;
    /// The document from the place `from` up to, but without, `end`. Where the gap lies in between, the text
    /// is put together in `joined`.
    std::string_view x_Text(int from, int end, std::string& joined) const;
    /// Moves over white space from `place` on.
    int x_SkipWhitespace(int place) const;
    /// Whether the look at an element's start tag, which ended with `token`, left the tag, as it does in a
    /// quoted string that does not end within it, and came to the gap.
    bool x_RanIntoGap(int element, const TokenPos& token) const;
    /// The token on which `find` stops behind the '<' of an element's start tag, empty if it finds none.
    /// Where the gap would be in the way, the text is put together in `joined`.
    template <typename Find>
    std::string_view x_FindInStartTag(int element, std::string& joined, Find find) const;
    std::string x_GetAttrib(int element, const char* name) const;
    std::string x_GetData(int element) const;
    /// `text` as it is written into the document, as an attribute's value or as an element's text.
    static std::string x_TextToDoc(std::string_view text, bool attribute);

    // --- Editing

    /// Where a new element (or other text) goes, in `parent` and relative to the element `before`, if any. A
    /// `length` that is not 0 gives the place as such: `offset`, or the end of that range.
    NewPlace x_LocateNew(int parent, int before, int offset, int length, int flags) const;
    bool x_AddElem(const char* name, const char* data, bool insert, bool asChild);
    /// Puts `text`, one element and its line end, at the cursor and makes it the cursor's new element. `elem`
    /// holds the element's offsets within `text`. Returns its index, 0 if refused.
    int x_PlaceElem(std::string text, ElemPos elem, bool insert, bool asChild);
    bool x_SetAttrib(int element, const char* name, const char* value);
    bool x_SetData(int element, const char* data, int asCData);
    /// Returns the element in front of the removed one, 0 if it was the first child.
    int x_RemoveElem(int element);
    /// Puts `text` in the place of what stands from `from` up to, but without, `to`. `front` is the last tag
    /// that begins in front of `from`; the change may lie within it. The index is true afterwards but for
    /// what `front` has behind the change. Returns the place of `text`.
    int x_Splice(Tag front, int from, int to, std::string_view text);
    /// Takes what stands from `element` up to, but without, `end` out of the text.
    void x_Erase(int element, int end);
    /// How much text lies between the gap and what stands from `from` to `to`.
    int x_DistanceToGap(int from, int to) const;
    /// Moves the gap to `place`, which `front` is the last tag in front of.
    void x_MoveGap(Tag front, int place);
    /// Moves what the index says of all tags behind `front`.
    void x_ShiftBehind(Tag front, int shift);
    /// The same for one tag; returns `following`.
    Tag x_Shift(Tag tag, int shift, Tag following);
    static ElemPos x_Moved(ElemPos pos, int shift);
    /// Tells the index that an empty element was opened: its '/' gave way to `length` bytes at `start`, which
    /// begin with the '>' of the start tag and end with the end tag up to its name.
    void x_SetOpened(int element, int start, std::size_t length, std::size_t tagLength);
    /// Puts an element among the children of its parent, behind `after` or as the first, or takes it out.
    void x_Link(int element, int after);
    void x_Unlink(int element);
    /// Whether the document stays within `MAX_LENGTH` when `replaced` of its bytes give way to `added`
    /// others.
    bool x_Fits(int replaced, std::size_t added) const;

    GapText m_text;                 ///< never holds a NUL
    std::string m_strError;         ///< the last parse error
    std::vector<ElemPos> m_vecPos;  ///< the index; entry 0 is the root above the document element
    int m_nParentPos = 0;           ///< index of the parent position, 0 at the root
    int m_nMainPos = 0;             ///< index of the main position, 0 if none
    int m_nChildPos = 0;            ///< index of the child position, 0 if none
    int m_nFreePos = 0;             ///< entries of m_vecPos from here on are free
    int m_nNodeType = 0;            ///< 1 while navigation has set a main position, else 0
    std::map<std::string, SavedPos> m_mapSavedPos;  ///< by the name given to SavePos
    mutable Steps m_steps;

private:
    /// Whether a caller's name designates every element.
    static bool x_IsAny(const char* name) { return !name || *name == '\0'; }
    /// A caller's text; an absent one is empty.
    static std::string_view x_View(const char* text) { return text ? std::string_view(text) : ""; }
    /// Makes room in the index for a document of `length` bytes.
    void x_SizeIndex(std::size_t length);
    void x_SetPos(int parent, int main, int child);
    /// Forgets the positions saved on `element` or inside it.
    void x_ForgetSaved(int element);
};
