#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TempDir.h"
#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;
using nettest::TempDir;
using testing::ElementsAre;
using Placed = IndexedMarkup::Placed;
using TokenPos = IndexedMarkup::TokenPos;

namespace {

std::string ErrorOf(const char* text)
{
    CMarkupSTL doc;
    EXPECT_FALSE(doc.SetDoc(text));
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_EQ(doc.GetDoc(), text);
    return doc.GetError();
}

void WriteFile(const std::string& path, std::string_view content)
{
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

// --- Scanning

TEST(MarkupScanner, FindCharStopsOnTheCharacterOrAtTheEnd)
{
    int pos = 1;
    EXPECT_TRUE(IndexedMarkup::x_FindChar("a<b<", pos, '<'));
    EXPECT_EQ(pos, 1);

    pos = 2;
    EXPECT_TRUE(IndexedMarkup::x_FindChar("a<b<", pos, '<'));
    EXPECT_EQ(pos, 3);

    pos = 1;
    EXPECT_FALSE(IndexedMarkup::x_FindChar("abc", pos, '<'));
    EXPECT_EQ(pos, 3);
}

TEST(MarkupScanner, FindAnySkipsBlankTabAndLineEndsOnly)
{
    int pos = 0;
    EXPECT_TRUE(IndexedMarkup::x_FindAny(" \t\r\nx", pos));
    EXPECT_EQ(pos, 4);

    pos = 0;
    EXPECT_TRUE(IndexedMarkup::x_FindAny("\v", pos));
    EXPECT_EQ(pos, 0);

    pos = 0;
    EXPECT_FALSE(IndexedMarkup::x_FindAny(" \t", pos));
    EXPECT_EQ(pos, 2);
}

TEST(MarkupScanner, FreshTokenIsEmptyInFrontOfTheText)
{
    const TokenPos token("a");

    EXPECT_EQ(token.left, 0);
    EXPECT_EQ(token.right, -1);
    EXPECT_EQ(token.nextPos, 0);
    EXPECT_FALSE(token.isString);
    EXPECT_EQ(IndexedMarkup::x_GetToken(token), "");
}

TEST(MarkupScanner, ReadsWordsSpecialCharactersAndQuotedStrings)
{
    TokenPos token("  item n='a \"b\"' m=\"\"/>");
    std::vector<std::string> tokens;
    while (IndexedMarkup::x_FindToken(token)) {
        tokens.push_back((token.isString ? "string:" : "") + std::string(IndexedMarkup::x_GetToken(token)));
    }

    EXPECT_THAT(tokens, ElementsAre("item", "n", "=", "string:a \"b\"", "m", "=", "string:", "/", ">"));
    EXPECT_EQ(token.left, 23);
    EXPECT_EQ(token.right, 23);
    EXPECT_EQ(token.nextPos, 23);
    EXPECT_FALSE(token.isString);
}

TEST(MarkupScanner, EveryCharacterOfTheEndSetEndsAWordAndIsATokenItself)
{
    for (const char end : std::string_view("<>=\\/?!")) {
        SCOPED_TRACE(end);
        const std::string text = std::string("ab") + end + end;
        TokenPos token(text.c_str());

        EXPECT_TRUE(IndexedMarkup::x_FindToken(token));
        EXPECT_EQ(IndexedMarkup::x_GetToken(token), "ab");
        EXPECT_TRUE(IndexedMarkup::x_FindToken(token));
        EXPECT_EQ(IndexedMarkup::x_GetToken(token), std::string(1, end));
        EXPECT_EQ(token.nextPos, 3);
    }
}

TEST(MarkupScanner, UnclosedQuotedStringEndsWithTheText)
{
    TokenPos token("'ab");

    EXPECT_TRUE(IndexedMarkup::x_FindToken(token));
    EXPECT_TRUE(token.isString);
    EXPECT_EQ(IndexedMarkup::x_GetToken(token), "ab");
    EXPECT_EQ(token.nextPos, 3);
    EXPECT_FALSE(IndexedMarkup::x_FindToken(token));
}

TEST(MarkupScanner, NameMatchesAWordThatIsEqualOrFollowedByItsEndSet)
{
    EXPECT_TRUE(IndexedMarkup::x_MatchName("item", "item"));
    EXPECT_TRUE(IndexedMarkup::x_MatchName("item", "item n"));
    EXPECT_TRUE(IndexedMarkup::x_MatchName("item", "item=1"));
    EXPECT_TRUE(IndexedMarkup::x_MatchName("item", "item/n"));
    EXPECT_TRUE(IndexedMarkup::x_MatchName("item", "item[2]"));
    EXPECT_FALSE(IndexedMarkup::x_MatchName("item", "items"));
    EXPECT_FALSE(IndexedMarkup::x_MatchName("items", "item"));
    EXPECT_FALSE(IndexedMarkup::x_MatchName("item", "Item"));
    EXPECT_FALSE(IndexedMarkup::x_MatchName("item", "item>"));
}

// --- Nodes

TEST(MarkupNode, IsClassifiedAndPassed)
{
    struct Case
    {
        const char* text;
        IndexedMarkup::NodeType type;
        int nextPos;
    };
    const Case cases[] = {
        {"", IndexedMarkup::NODE_NONE, 0},
        {" \r\n<a/>", IndexedMarkup::NODE_WHITESPACE, 3},
        {" \t", IndexedMarkup::NODE_WHITESPACE, 2},
        {" text <a/>", IndexedMarkup::NODE_TEXT, 6},
        {"text", IndexedMarkup::NODE_TEXT, 4},
        {"<", IndexedMarkup::NODE_NONE, 0},   // nothing behind it
        {"<a", IndexedMarkup::NODE_NONE, 0},  // the second character behind it is missing
        {"<a>", IndexedMarkup::NODE_ELEMENT, 0},
        {"</a>", IndexedMarkup::NODE_NONE, 0},
        {"<?x?>y", IndexedMarkup::NODE_INSTRUCTION, 5},
        {"<?>y", IndexedMarkup::NODE_INSTRUCTION, 3},  // the end is looked for from the '<' on
        {"<?x>", IndexedMarkup::NODE_NONE, 0},
        {"<!-- - -->y", IndexedMarkup::NODE_COMMENT, 10},
        {"<!-->y", IndexedMarkup::NODE_COMMENT, 5},
        {"<!-- ->", IndexedMarkup::NODE_NONE, 0},
        {"<![CDATA[ <a> ]] ]]>y", IndexedMarkup::NODE_CDATA, 20},
        {"<![CDATA[ ]]", IndexedMarkup::NODE_NONE, 0},
        {"<!DOCTYPE a>y", IndexedMarkup::NODE_DOCTYPE, 12},
        {"<!DOCTYPE a '>' \">\">y", IndexedMarkup::NODE_DOCTYPE, 20},
        {"<!DOCTYPE a[<!ENTITY b ']>'> [c]]>y", IndexedMarkup::NODE_DOCTYPE, 34},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.text);
        TokenPos token(row.text);

        EXPECT_EQ(IndexedMarkup::x_ParseNode(token), row.type);
        EXPECT_EQ(token.nextPos, row.nextPos);
    }
}

TEST(MarkupNode, DocumentTypeWithoutItsEndIsNone)
{
    for (const char* text : {"<!DOCTYPE a [ > ", "<!DOCTYPE a ]>", "<!DOCTYPE a '>"}) {
        SCOPED_TRACE(text);
        TokenPos token(text);
        EXPECT_EQ(IndexedMarkup::x_ParseNode(token), IndexedMarkup::NODE_NONE);
    }
}

// --- Documents that parse

TEST(MarkupParser, PlacesAnEmptyElement)
{
    const IndexedMarkup doc("<a/>");

    EXPECT_TRUE(doc.IsWellFormed());
    EXPECT_THAT(doc.Elements(), ElementsAre(Placed{0, 0, 3, 2, 3}));
}

TEST(MarkupParser, PlacesNestedElementsAndSiblings)
{
    //                       0         1         2
    //                       0123456789012345678901234
    const IndexedMarkup doc("<x><a>t</a> <b n=\"1\"/></x>");

    EXPECT_THAT(doc.Elements(),
                ElementsAre(Placed{0, 0, 2, 22, 25}, Placed{1, 3, 5, 7, 10}, Placed{1, 12, 21, 20, 21}));
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupParser, SkipsDeclarationAndComment)
{
    IndexedMarkup doc("<?xml version=\"1.0\"?><!-- c --><a><b/></a>");

    EXPECT_TRUE(doc.FindElem("a"));
    EXPECT_TRUE(doc.FindChildElem("b"));
    EXPECT_FALSE(doc.FindChildElem());
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupParser, SkipsADocumentTypeWithAnInternalSubset)
{
    IndexedMarkup doc("<!DOCTYPE a [<!ELEMENT a ANY>]><a/>");

    EXPECT_TRUE(doc.FindElem("a"));
    EXPECT_THAT(doc.Elements(), ElementsAre(Placed{0, 31, 34, 33, 34}));
}

TEST(MarkupParser, SkipsElementsInCommentsAndCData)
{
    const IndexedMarkup doc("<a><!-- <b> --><![CDATA[<c></a>]]><?d <e>?></a>");

    EXPECT_EQ(doc.Elements().size(), 1u);
}

TEST(MarkupParser, AcceptsTheByteOrderMarkAndASecondDeclaration)
{
    CMarkupSTL doc(
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<?xml version=\"1.0\"?>\n<xml/>\n");

    EXPECT_TRUE(doc.IsWellFormed());
    EXPECT_TRUE(doc.FindElem("xml"));
}

TEST(MarkupParser, KeepsButDoesNotParseWhatFollowsTheDocumentElement)
{
    IndexedMarkup doc("<a/><b></c>");

    EXPECT_TRUE(doc.IsWellFormed());
    EXPECT_EQ(doc.Elements().size(), 1u);
    EXPECT_EQ(doc.GetDoc(), "<a/><b></c>");
}

TEST(MarkupParser, AllowsBlanksAroundTagNames)
{
    IndexedMarkup doc("< a ><b /></ a >");

    EXPECT_TRUE(doc.FindElem("a"));
    EXPECT_TRUE(doc.FindChildElem("b"));
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupParser, EndTagMayHoldMoreThanItsName)
{
    const IndexedMarkup doc("<a></\"skipped\"a b '>'>");

    EXPECT_THAT(doc.Elements(), ElementsAre(Placed{0, 0, 2, 3, 21}));
}

TEST(MarkupParser, TakesOddTagNamesAsTheyStand)
{
    for (const char* text : {"<=></=>", "<>x></>>", "<\\/>", "<a\"b></a\"b>", "<\xFF\xFE/>"}) {
        SCOPED_TRACE(text);
        const IndexedMarkup doc(text);

        EXPECT_TRUE(doc.IsWellFormed());
        EXPECT_EQ(doc.IndexFault(), "");
    }
}

// The first '>' ends a start tag, also within quotes.
TEST(MarkupParser, FirstGreaterThanEndsTheStartTag)
{
    const IndexedMarkup doc("<a n=\"x>y\"></a>");

    EXPECT_THAT(doc.Elements(), ElementsAre(Placed{0, 0, 7, 11, 14}));
}

// --- Documents that do not

TEST(MarkupParser, NamesWhatIsWrong)
{
    struct Case
    {
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"hello", "Element tag not found"},
        {"<?xml?> <!-- c -->", "Element tag not found"},
        {"<", "Abrupt end within tag"},
        {"<a>< ", "Abrupt end within tag"},
        {"< \"x\">", "Tag starts with quote"},
        {"<'x'/>", "Tag starts with quote"},
        {"<!-- c", "Invalid node"},
        {"<?", "Invalid node"},
        {"<a><![CDATA[</a>", "Invalid node"},
        {"<!DOCTYPE a [<a/>", "Invalid node"},
        {"< !-- c --><a/>", "Invalid node"},  // must not be looked at again and again
        {"< ?xml?><a/>", "Invalid node"},
        {"<a", "End of tag not found"},
        {"<a><b</a", "End of tag not found"},
        {"<a>", "End tag of a element not found"},
        {"<a>text", "End tag of a element not found"},
        {"<a><b/>", "End tag of a element not found"},
        {"<a><b></b>", "End tag of a element not found"},
        {"<a><b></a>", "End tag does not correspond to b"},
        {"<a></A>", "End tag does not correspond to a"},
        {"<a></ab>", "End tag does not correspond to a"},
        {"<ab></a>", "End tag does not correspond to ab"},
        {"<a></>", "End tag does not correspond to a"},
        {"<a></a", "End tag not completed for element a"},
        {"<a></", "End tag not completed for element a"},
        {"<a></a \">", "End tag not completed for element a"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(ErrorOf(row.text), row.error);
    }
}

TEST(MarkupParser, MissesTheEndTagWhereAnotherTagStands)
{
    IndexedMarkup doc("<a></a>");
    doc.SetEndLeft(1, 0);

    EXPECT_EQ(doc.x_ParseEndTag(1), -1);
    EXPECT_EQ(doc.GetError(), "Expecting end tag of element a");
}

TEST(MarkupParser, FindsNoElementInFrontOfAnEndTag) { EXPECT_EQ(ErrorOf("</a><a/>"), ""); }

TEST(MarkupParser, CutsALongNameInAnErrorText)
{
    const std::string name(100'000, 'n');

    const std::string error = ErrorOf(("<" + name + ">").c_str());

    EXPECT_LT(error.size(), 1'000u);
    EXPECT_THAT(error, testing::StartsWith("End tag of nnnn"));
    EXPECT_THAT(error, testing::EndsWith("nnn element not found"));
}

TEST(MarkupParser, TakesAPercentSignInANameAsText)
{
    EXPECT_EQ(ErrorOf("<%s%n>"), "End tag of %s%n element not found");
}

TEST(MarkupParser, EmptyTextGivesNoElementAndLeavesTheErrorText)
{
    CMarkupSTL doc("hello");
    ASSERT_EQ(doc.GetError(), "Element tag not found");

    EXPECT_FALSE(doc.SetDoc(""));
    EXPECT_FALSE(doc.SetDoc(nullptr));

    EXPECT_EQ(doc.GetError(), "Element tag not found");
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_FALSE(doc.IsWellFormed());
}

TEST(MarkupParser, LaterSuccessLeavesTheErrorText)
{
    CMarkupSTL doc("<a>");

    EXPECT_TRUE(doc.SetDoc("<a/>"));

    EXPECT_EQ(doc.GetError(), "End tag of a element not found");
}

// --- The document as a whole

TEST(Markup, IsEmptyAtFirst)
{
    CMarkupSTL doc;

    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_EQ(doc.GetError(), "");
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_FALSE(doc.FindElem());
}

TEST(Markup, NewTextResetsCursorAndSavedPositions)
{
    IndexedMarkup doc("<a><b/></a>");
    ASSERT_TRUE(doc.FindElem());
    ASSERT_TRUE(doc.FindChildElem());
    ASSERT_TRUE(doc.SavePos("p"));

    EXPECT_TRUE(doc.SetDoc("<c/>"));

    EXPECT_FALSE(doc.RestorePos("p"));
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_EQ(doc.m_nNodeType, 0);
    EXPECT_TRUE(doc.FindElem("c"));
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(Markup, FailedTextLeavesNoElements)
{
    IndexedMarkup doc("<a><b/></a>");

    EXPECT_FALSE(doc.SetDoc("<a><b/><c></a>"));

    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_FALSE(doc.FindElem());
    EXPECT_EQ(doc.m_nFreePos, 1);
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(Markup, CopyIsADocumentOfItsOwn)
{
    IndexedMarkup doc("<a><b/></a>");
    ASSERT_TRUE(doc.FindElem());
    ASSERT_TRUE(doc.SavePos("p"));
    ASSERT_TRUE(doc.IntoElem());

    IndexedMarkup copy = doc;
    ASSERT_TRUE(copy.AddElem("c"));
    IndexedMarkup assigned;
    assigned = copy;
    const IndexedMarkup& self = assigned;
    assigned = self;

    EXPECT_EQ(doc.GetDoc(), "<a><b/></a>");
    EXPECT_EQ(assigned.GetDoc(), "<a><b/><c/>\r\n</a>");
    EXPECT_EQ(assigned.GetTagName(), "c");
    EXPECT_TRUE(assigned.RestorePos("p"));
    EXPECT_EQ(assigned.GetTagName(), "a");
    EXPECT_EQ(assigned.IndexFault(), "");
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(Markup, CopyKeepsTheErrorText)
{
    const CMarkupSTL doc("hello");
    const CMarkupSTL copy(doc);  // NOLINT(performance-unnecessary-copy-initialization)

    EXPECT_EQ(copy.GetError(), "Element tag not found");
}

TEST(Markup, IndexIsSizedByTheTextAndNeverShrinks)
{
    IndexedMarkup doc;
    EXPECT_EQ(doc.IndexRoom(), 1u);

    doc.SetDoc(("<a>" + std::string(121, ' ') + "</a>").c_str());
    EXPECT_EQ(doc.IndexRoom(), 3u);

    doc.SetDoc("<a/>");
    EXPECT_EQ(doc.IndexRoom(), 3u);
}

TEST(Markup, IndexGrowsByHalfAndAtLeastByOne)
{
    IndexedMarkup doc;
    std::vector<std::size_t> sizes;
    for (int taken = 1; taken < 10; ++taken) {
        EXPECT_EQ(doc.x_GetFreePos(), taken);
        if (sizes.empty() || sizes.back() != doc.IndexRoom()) sizes.push_back(doc.IndexRoom());
    }

    EXPECT_THAT(sizes, ElementsAre(2u, 3u, 4u, 6u, 9u, 13u));
    EXPECT_EQ(doc.x_ReleasePos(), 0);
    EXPECT_EQ(doc.x_GetFreePos(), 9);
}

// --- Loading

TEST(MarkupLoad, TakesTheFileAsItIs)
{
    const TempDir dir;
    const std::string content = "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<a>\n<b/>\t\xFF</a>\r\n\r\n";
    WriteFile(dir.File("doc"), content);
    CMarkupSTL doc;

    EXPECT_TRUE(doc.Load(dir.File("doc").c_str()));

    EXPECT_EQ(doc.GetDoc(), content);
    EXPECT_TRUE(doc.FindElem("a"));
}

TEST(MarkupLoad, MissingFileEmptiesTheDocumentAndLeavesTheErrorText)
{
    const TempDir dir;
    CMarkupSTL doc("<a>");

    EXPECT_FALSE(doc.Load(dir.File("none").c_str()));
    EXPECT_FALSE(doc.Load(dir.Path().c_str()));
    EXPECT_FALSE(doc.Load(""));
    EXPECT_FALSE(doc.Load(nullptr));

    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_EQ(doc.GetError(), "End tag of a element not found");
}

TEST(MarkupLoad, FileThatDoesNotParseEmptiesTheDocumentAndSaysWhy)
{
    const TempDir dir;
    WriteFile(dir.File("doc"), "<a><b></a>");
    CMarkupSTL doc("<c/>");

    EXPECT_FALSE(doc.Load(dir.File("doc").c_str()));

    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_EQ(doc.GetError(), "End tag does not correspond to b");
    EXPECT_FALSE(doc.IsWellFormed());
}

TEST(MarkupLoad, EmptyFileGivesAnEmptyDocument)
{
    const TempDir dir;
    WriteFile(dir.File("doc"), "");
    CMarkupSTL doc("<c/>");

    EXPECT_FALSE(doc.Load(dir.File("doc").c_str()));
    EXPECT_EQ(doc.GetDoc(), "");
}

TEST(MarkupLoad, NulEndsTheDocument)
{
    const TempDir dir;
    WriteFile(dir.File("doc"), std::string_view("<a/>\0<b/>", 9));
    CMarkupSTL doc;

    EXPECT_TRUE(doc.Load(dir.File("doc").c_str()));
    EXPECT_EQ(doc.GetDoc(), "<a/>");

    WriteFile(dir.File("doc"), std::string_view("<a>\0</a>", 8));
    EXPECT_FALSE(doc.Load(dir.File("doc").c_str()));
    EXPECT_EQ(doc.GetError(), "End tag of a element not found");
}

TEST(MarkupLoad, RefusesAFileThatOffsetsCannotReach)
{
    const TempDir dir;
    WriteFile(dir.File("doc"), "<a/>");
    std::filesystem::resize_file(dir.File("doc"), IndexedMarkup::MAX_LENGTH + 1);  // takes no room on disk
    CMarkupSTL doc("<c/>");

    EXPECT_FALSE(doc.Load(dir.File("doc").c_str()));
    EXPECT_EQ(doc.GetDoc(), "");
}
