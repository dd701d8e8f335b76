#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <functional>

#include "tests/support/TempDir.h"
#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;

namespace {

/// A document whose main position is its document element.
IndexedMarkup On(const std::string& text)
{
    IndexedMarkup doc(text.c_str());
    EXPECT_TRUE(doc.FindElem()) << text;
    return doc;
}

/// Inside the document element, in front of its first child.
IndexedMarkup In(const std::string& text)
{
    IndexedMarkup doc = On(text);
    EXPECT_TRUE(doc.IntoElem());
    return doc;
}

/// On the child `name` of the document element.
IndexedMarkup OnChild(const std::string& text, const char* name)
{
    IndexedMarkup doc = In(text);
    EXPECT_TRUE(doc.FindElem(name));
    return doc;
}

/// The whole document, checked: its index is sound and is the one that a fresh parse builds.
std::string Text(const IndexedMarkup& doc)
{
    EXPECT_EQ(doc.IndexFault(), "");
    std::string text = doc.GetDoc();
    const IndexedMarkup parsed(text.c_str());
    EXPECT_EQ(doc.Elements(), parsed.Elements()) << text;
    return text;
}

using Edit = std::function<bool(IndexedMarkup&)>;

/// Expects the edit to be refused, with document, index and cursor as they were.
void ExpectRefused(IndexedMarkup doc, const Edit& edit)
{
    const IndexedMarkup before = doc;

    EXPECT_FALSE(edit(doc));

    EXPECT_EQ(doc.GetDoc(), before.GetDoc());
    EXPECT_EQ(doc.Elements(), before.Elements());
    EXPECT_EQ(doc.m_nParentPos, before.m_nParentPos);
    EXPECT_EQ(doc.m_nMainPos, before.m_nMainPos);
    EXPECT_EQ(doc.m_nChildPos, before.m_nChildPos);
    EXPECT_EQ(doc.m_nNodeType, before.m_nNodeType);
}

}  // namespace

// --- AddElem

TEST(MarkupAddElem, GoesIntoAnElementWithNothingButALineEnd)
{
    IndexedMarkup doc = In("<xml>\r\n</xml>\r\n");

    EXPECT_TRUE(doc.AddElem("total", nullptr));
    EXPECT_EQ(Text(doc), "<xml>\r\n<total/>\r\n</xml>\r\n");
    EXPECT_EQ(doc.GetTagName(), "total");

    EXPECT_TRUE(doc.AddElem("item", nullptr));
    EXPECT_EQ(Text(doc), "<xml>\r\n<total/>\r\n<item/>\r\n</xml>\r\n");
    EXPECT_EQ(doc.GetTagName(), "item");
}

TEST(MarkupAddElem, OpensAnEmptyParent)
{
    IndexedMarkup doc = In("<xml/>");

    EXPECT_TRUE(doc.AddElem("a"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n</xml>");
}

TEST(MarkupAddElem, OpensEmptyParentsOneInsideTheOther)
{
    IndexedMarkup doc = In("<xml n=\"1\" />\r\n");
    ASSERT_TRUE(doc.AddElem("long_name", nullptr));
    ASSERT_TRUE(doc.IntoElem());
    ASSERT_TRUE(doc.AddElem("b", ""));
    ASSERT_TRUE(doc.IntoElem());
    ASSERT_TRUE(doc.AddElem("c", "text"));

    EXPECT_EQ(Text(doc),
              "<xml n=\"1\" >\r\n<long_name>\r\n<b>\r\n<c>text</c>\r\n</b>\r\n</long_name>\r\n</xml>\r\n");
    EXPECT_EQ(doc.GetTagName(), "c");
    EXPECT_TRUE(doc.OutOfElem());
    EXPECT_EQ(doc.GetTagName(), "b");
}

TEST(MarkupAddElem, OpensAParentWithNothingBetweenItsTags)
{
    IndexedMarkup doc = OnChild("<xml><a></a><b/></xml>", "a");
    doc.IntoElem();

    EXPECT_TRUE(doc.AddElem("c"));

    EXPECT_EQ(Text(doc), "<xml><a>\r\n<c/>\r\n</a><b/></xml>");
}

TEST(MarkupAddElem, KeepsTheBlankInFrontOfTheOpenedParentsName)
{
    IndexedMarkup doc = In("< xml/>");

    EXPECT_TRUE(doc.AddElem("a"));

    EXPECT_EQ(Text(doc), "< xml>\r\n<a/>\r\n</xml>");
}

TEST(MarkupAddElem, GoesBehindTheMainPosition)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n</xml>\r\n", "a");

    EXPECT_TRUE(doc.AddElem("n"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<n/>\r\n<b/>\r\n</xml>\r\n");
    EXPECT_TRUE(doc.FindElem());
    EXPECT_EQ(doc.GetTagName(), "b");
}

TEST(MarkupAddElem, GoesBehindTheLastChildWithoutAMainPosition)
{
    IndexedMarkup doc = In("<xml>\r\n<a/>\r\n<b>\r\n<c/>\r\n</b>\r\n</xml>\r\n");

    EXPECT_TRUE(doc.AddElem("n"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<b>\r\n<c/>\r\n</b>\r\n<n/>\r\n</xml>\r\n");
    EXPECT_FALSE(doc.FindElem());
}

TEST(MarkupAddElem, GoesInFrontOfTheNextTagAndWhatStandsThere)
{
    struct Case
    {
        const char* before;
        const char* after;
    };
    const Case cases[] = {
        {"<xml><a/></xml>", "<xml><a/><n/>\r\n</xml>"},
        {"<xml><a/> \t\n</xml>", "<xml><a/> \t\n<n/>\r\n</xml>"},
        {"<xml><a/>\n  <!-- c --></xml>", "<xml><a/>\n  <n/>\r\n<!-- c --></xml>"},
        {"<xml><a/> text</xml>",
         "<xml><a/><n/>\r\n text</xml>"},  // white space in front of text is the text's
        {"<xml><a/>text<b/></xml>", "<xml><a/><n/>\r\ntext<b/></xml>"},
        {"<xml><a></a>\n<b/></xml>", "<xml><a></a>\n<n/>\r\n<b/></xml>"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.before);
        IndexedMarkup doc = OnChild(row.before, "a");
        EXPECT_TRUE(doc.AddElem("n"));
        EXPECT_EQ(Text(doc), row.after);
    }
}

TEST(MarkupAddElem, WritesTheDataEscaped)
{
    IndexedMarkup doc = In("<xml>\r\n</xml>");

    EXPECT_TRUE(doc.AddElem("a", "a<b"));
    EXPECT_TRUE(doc.AddElem("b", "\"'&>"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a>a&lt;b</a>\r\n<b>\"'&amp;&gt;</b>\r\n</xml>");
    EXPECT_EQ(doc.GetData(), "\"'&>");
}

TEST(MarkupAddElem, MakesTheDocumentElement)
{
    IndexedMarkup doc;

    EXPECT_TRUE(doc.AddElem("xml"));

    EXPECT_EQ(Text(doc), "<xml/>\r\n");
    EXPECT_EQ(doc.GetTagName(), "xml");
    EXPECT_TRUE(doc.IsWellFormed());
}

TEST(MarkupAddElem, PutsTheDocumentElementBehindTheDeclaration)
{
    IndexedMarkup doc("\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n");
    ASSERT_FALSE(doc.IsWellFormed());

    EXPECT_TRUE(doc.AddElem("xml", "data"));

    EXPECT_EQ(Text(doc), "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<xml>data</xml>\r\n");
}

TEST(MarkupAddElem, FollowsATextThatDidNotParse)
{
    for (const char* text : {"x", "ab", "<a><b></a>", "<!-- "}) {
        SCOPED_TRACE(text);
        IndexedMarkup doc(text);

        EXPECT_TRUE(doc.AddElem("xml"));
        EXPECT_TRUE(doc.IntoElem());
        EXPECT_TRUE(doc.AddElem("item"));

        EXPECT_EQ(doc.GetDoc(), std::string(text) + "<xml>\r\n<item/>\r\n</xml>\r\n");
        EXPECT_EQ(doc.IndexFault(), "");
    }
}

TEST(MarkupAddElem, RefusesASecondDocumentElement)
{
    ExpectRefused(On("<xml/>"), [](auto& doc) { return doc.AddElem("b"); });
    ExpectRefused(IndexedMarkup("<xml/>"), [](auto& doc) { return doc.AddElem("b"); });
    ExpectRefused(IndexedMarkup("<xml/>"), [](auto& doc) { return doc.InsertElem("b"); });
    ExpectRefused(IndexedMarkup("<xml/>"), [](auto& doc) { return doc.AddSubDoc("<b/>"); });
}

TEST(MarkupAddElem, RefusesANameThatIsNoSingleWord)
{
    for (const char* name :
         {"", " ", "a b", " a", "a/", "/a", "a=", "<a", "a>", "?a", "!a", "a\\", "\"a", "'a", "a\r\n"}) {
        SCOPED_TRACE(name);
        ExpectRefused(In("<xml/>"), [&](auto& doc) { return doc.AddElem(name); });
        ExpectRefused(On("<xml/>"), [&](auto& doc) { return doc.SetAttrib(name, "1"); });
    }
    ExpectRefused(In("<xml/>"), [](auto& doc) { return doc.AddElem(nullptr); });
    ExpectRefused(On("<xml/>"), [](auto& doc) { return doc.SetAttrib(nullptr, "1"); });
}

TEST(MarkupAddElem, ClearsTheChildPosition)
{
    IndexedMarkup doc = OnChild("<xml><a><b/></a></xml>", "a");
    doc.FindChildElem();

    EXPECT_TRUE(doc.AddElem("n"));

    EXPECT_EQ(doc.GetChildTagName(), "");
    EXPECT_EQ(doc.m_nNodeType, 1);
}

// With one of its slashes left it would still be empty to the parser, and its end tag one too many.
TEST(MarkupAddElem, RefusesToOpenAnElementThatEndsInTwoSlashes)
{
    ExpectRefused(In("<xml//>"), [](auto& doc) { return doc.AddElem("a"); });
    ExpectRefused(On("<xml//>"), [](auto& doc) { return doc.AddChildElem("a"); });
    ExpectRefused(In("<xml//>"), [](auto& doc) { return doc.AddSubDoc("<a/>"); });
    ExpectRefused(On("<xml//>"), [](auto& doc) { return doc.SetData("text"); });
}

TEST(MarkupAddElem, OpensParentsOfOddNames)
{
    for (const auto& [before, after] :
         {std::pair("<=/>", "<=>\r\n<n/>\r\n</=>"), std::pair("<<a/>", "<<a>\r\n<n/>\r\n</<>"),
          std::pair("<>/>", "<>>\r\n<n/>\r\n</>>"), std::pair("<\xFF/>", "<\xFF>\r\n<n/>\r\n</\xFF>")}) {
        IndexedMarkup doc = In(before);
        EXPECT_TRUE(doc.AddElem("n"));
        EXPECT_EQ(Text(doc), after);
    }
}

// --- InsertElem, AddChildElem, InsertChildElem

TEST(MarkupInsertElem, GoesInFrontOfTheMainPosition)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n</xml>", "b");

    EXPECT_TRUE(doc.InsertElem("n"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<n/>\r\n<b/>\r\n</xml>");
    EXPECT_EQ(doc.GetTagName(), "n");

    doc.ResetMainPos();
    doc.FindElem("a");
    EXPECT_TRUE(doc.InsertElem("m", "text"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<m>text</m>\r\n<a/>\r\n<n/>\r\n<b/>\r\n</xml>");
}

TEST(MarkupInsertElem, BecomesTheFirstChildWithoutAMainPosition)
{
    IndexedMarkup doc = In("<xml>\r\n<a/>\r\n</xml>");

    EXPECT_TRUE(doc.InsertElem("n"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<n/>\r\n<a/>\r\n</xml>");
    EXPECT_TRUE(doc.FindElem("a"));
}

TEST(MarkupInsertElem, OpensAnEmptyParent)
{
    for (const char* text : {"<xml/>", "<xml></xml>"}) {
        SCOPED_TRACE(text);
        IndexedMarkup doc = In(text);
        EXPECT_TRUE(doc.InsertElem("n"));
        EXPECT_EQ(Text(doc), "<xml>\r\n<n/>\r\n</xml>");
    }
}

TEST(MarkupInsertElem, StaysInFrontOfTheParentsText)
{
    IndexedMarkup doc = In("<xml> text</xml>");

    EXPECT_TRUE(doc.InsertElem("n"));

    EXPECT_EQ(Text(doc), "<xml><n/>\r\n text</xml>");
}

TEST(MarkupInsertElem, PutsTheDocumentElementAtTheTop)
{
    IndexedMarkup doc(" <!-- c -->");

    EXPECT_TRUE(doc.InsertElem("xml"));

    EXPECT_EQ(Text(doc), " <xml/>\r\n<!-- c -->");
}

TEST(MarkupAddChildElem, BecomesTheChildPosition)
{
    IndexedMarkup doc = On("<xml/>");

    EXPECT_TRUE(doc.AddChildElem("a"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n</xml>");
    EXPECT_EQ(doc.GetTagName(), "xml");
    EXPECT_EQ(doc.GetChildTagName(), "a");

    EXPECT_TRUE(doc.AddChildElem("c", "text"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<c>text</c>\r\n</xml>");
    EXPECT_TRUE(doc.InsertChildElem("b"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<b/>\r\n<c>text</c>\r\n</xml>");
    EXPECT_EQ(doc.GetChildTagName(), "b");
}

TEST(MarkupAddChildElem, GoesBehindTheChildPositionOrToTheEnd)
{
    IndexedMarkup doc = On("<xml>\r\n<a/>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.AddChildElem("z"));
    doc.ResetChildPos();
    EXPECT_TRUE(doc.InsertChildElem("first"));
    EXPECT_TRUE(doc.FindChildElem("a"));
    EXPECT_TRUE(doc.AddChildElem("n"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<first/>\r\n<a/>\r\n<n/>\r\n<b/>\r\n<z/>\r\n</xml>");
}

TEST(MarkupAddChildElem, LeavesTheParentPositionAlone)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n</xml>", "a");

    EXPECT_TRUE(doc.AddChildElem("n"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a>\r\n<n/>\r\n</a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.FindElem("b"));
}

TEST(MarkupAddChildElem, NeedsAMainPosition)
{
    ExpectRefused(IndexedMarkup("<xml/>"), [](auto& doc) { return doc.AddChildElem("a"); });
    ExpectRefused(In("<xml/>"), [](auto& doc) { return doc.InsertChildElem("a"); });
    ExpectRefused(IndexedMarkup(), [](auto& doc) { return doc.AddChildElem("a"); });
}

// --- AddSubDoc

TEST(MarkupAddSubDoc, AddsTheDocumentElementOfTheText)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n</xml>\r\n", "a");

    EXPECT_TRUE(doc.AddSubDoc("<?xml?> <s n=\"1\">\n<t><u/><u/></t><v>w</v></s> tail"));

    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<s n=\"1\">\n<t><u/><u/></t><v>w</v></s>\r\n<b/>\r\n</xml>\r\n");
    EXPECT_EQ(doc.GetTagName(), "s");
    EXPECT_TRUE(doc.FindChildElem("v"));
    EXPECT_EQ(doc.GetChildData(), "w");
    EXPECT_TRUE(doc.SetChildAttrib("x", 1));
    EXPECT_EQ(Text(doc),
              "<xml>\r\n<a/>\r\n<s n=\"1\">\n<t><u/><u/></t><v x=\"1\">w</v></s>\r\n<b/>\r\n</xml>\r\n");
}

TEST(MarkupAddSubDoc, OpensAnEmptyParent)
{
    IndexedMarkup doc = In("<xml/>");

    EXPECT_TRUE(doc.AddSubDoc("<s><t/></s>"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<s><t/></s>\r\n</xml>");

    IndexedMarkup bare = In("<xml></xml>");
    EXPECT_TRUE(bare.AddSubDoc("<s/>"));
    EXPECT_EQ(Text(bare), "<xml>\r\n<s/>\r\n</xml>");
}

TEST(MarkupAddSubDoc, MakesTheDocumentElement)
{
    IndexedMarkup doc;

    EXPECT_TRUE(doc.AddSubDoc("<s><t/></s>"));

    EXPECT_EQ(Text(doc), "<s><t/></s>\r\n");
}

TEST(MarkupAddSubDoc, TakesMoreElementsThanTheIndexHasRoomFor)
{
    std::string sub = "<s>";
    for (int i = 0; i < 1'000; ++i)
        sub += "<t/>";
    sub += "</s>";
    IndexedMarkup doc = In("<xml><a/></xml>");

    EXPECT_TRUE(doc.AddSubDoc(sub.c_str()));

    EXPECT_EQ(Text(doc), "<xml><a/>" + sub + "\r\n</xml>");
    EXPECT_EQ(doc.IndexRoom(), 1'004U);  // room taken once, before anything was changed
}

TEST(MarkupAddSubDoc, RefusesATextThatDoesNotParseAndSaysWhy)
{
    ExpectRefused(In("<xml/>"), [](auto& doc) { return doc.AddSubDoc("<s>"); });
    ExpectRefused(In("<xml/>"), [](auto& doc) { return doc.AddSubDoc(""); });
    ExpectRefused(In("<xml/>"), [](auto& doc) { return doc.AddSubDoc(nullptr); });

    IndexedMarkup doc = In("<xml/>");
    doc.AddSubDoc("<s>");
    EXPECT_EQ(doc.GetError(), "End tag of s element not found");
    doc.AddSubDoc("");
    EXPECT_EQ(doc.GetError(), "End tag of s element not found");
}

// --- SetAttrib

TEST(MarkupSetAttrib, AppendsANewAttribute)
{
    IndexedMarkup doc = On("<a/>");

    EXPECT_TRUE(doc.SetAttrib("n", "1"));
    EXPECT_EQ(Text(doc), "<a n=\"1\"/>");
    EXPECT_TRUE(doc.SetAttrib("m", "2"));
    EXPECT_EQ(Text(doc), "<a n=\"1\" m=\"2\"/>");

    IndexedMarkup open = On("<a><b/>text</a>");
    EXPECT_TRUE(open.SetAttrib("n", "1"));
    EXPECT_EQ(Text(open), "<a n=\"1\"><b/>text</a>");
}

TEST(MarkupSetAttrib, KeepsTheBlankInFrontOfTheSlash)
{
    IndexedMarkup doc = On("<a />");

    EXPECT_TRUE(doc.SetAttrib("n", "1"));

    EXPECT_EQ(Text(doc), "<a  n=\"1\"/>");
}

TEST(MarkupSetAttrib, ReplacesAnExistingValueInItsPlace)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a n='1' m=\"2\"><c/></a>\r\n<b/>\r\n</xml>", "a");

    EXPECT_TRUE(doc.SetAttrib("n", "12345"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a n='12345' m=\"2\"><c/></a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.SetAttrib("n", "54321"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a n='54321' m=\"2\"><c/></a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.SetAttrib("n", ""));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a n='' m=\"2\"><c/></a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.SetAttrib("n", "x"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a n='x' m=\"2\"><c/></a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.SetAttrib("m", nullptr));
    EXPECT_EQ(Text(doc), "<xml>\r\n<a n='x' m=\"\"><c/></a>\r\n<b/>\r\n</xml>");
    EXPECT_TRUE(doc.FindElem("b"));
}

TEST(MarkupSetAttrib, EscapesTheValue)
{
    IndexedMarkup doc = On("<a/>");

    EXPECT_TRUE(doc.SetAttrib("n", "x\"y"));
    EXPECT_EQ(Text(doc), "<a n=\"x&quot;y\"/>");
    EXPECT_EQ(doc.GetAttrib("n"), "x\"y");

    EXPECT_TRUE(doc.SetAttrib("n", "</a> & 'b'"));
    EXPECT_EQ(Text(doc), "<a n=\"&lt;/a&gt; &amp; &apos;b&apos;\"/>");
    EXPECT_EQ(doc.GetAttrib("n"), "</a> & 'b'");
}

TEST(MarkupSetAttrib, WritesNumbersInDecimal)
{
    IndexedMarkup doc = On("<a/>");

    EXPECT_TRUE(doc.SetAttrib("n", 0));
    EXPECT_TRUE(doc.SetAttrib("low", INT_MIN));
    EXPECT_TRUE(doc.AddAttrib("high", INT_MAX));

    EXPECT_EQ(Text(doc), "<a n=\"0\" low=\"-2147483648\" high=\"2147483647\"/>");
}

TEST(MarkupSetAttrib, IsWhatAddAttribDoes)
{
    IndexedMarkup doc = On("<a n=\"1\"><b/></a>");
    doc.FindChildElem();

    EXPECT_TRUE(doc.AddAttrib("n", "2"));
    EXPECT_TRUE(doc.AddAttrib("m", 3));
    EXPECT_TRUE(doc.AddChildAttrib("x", "4"));
    EXPECT_TRUE(doc.AddChildAttrib("x", 5));
    EXPECT_TRUE(doc.SetChildAttrib("y", "6"));
    EXPECT_TRUE(doc.SetChildAttrib("y", 7));

    EXPECT_EQ(Text(doc), "<a n=\"2\" m=\"3\"><b x=\"5\" y=\"7\"/></a>");
    EXPECT_EQ(doc.GetChildAttrib("y"), "7");
}

TEST(MarkupSetAttrib, LeavesTheCursorWhereItIs)
{
    IndexedMarkup doc = OnChild("<xml><a><c/></a></xml>", "a");
    doc.FindChildElem();

    EXPECT_TRUE(doc.SetAttrib("n", "1"));

    EXPECT_EQ(doc.GetTagName(), "a");
    EXPECT_EQ(doc.GetChildTagName(), "c");
}

TEST(MarkupSetAttrib, NeedsAPositionThatNavigationReached)
{
    ExpectRefused(IndexedMarkup("<a/>"), [](auto& doc) { return doc.SetAttrib("n", "1"); });
    ExpectRefused(On("<a><b/></a>"), [](auto& doc) { return doc.SetChildAttrib("n", "1"); });
    IndexedMarkup doc = On("<a/>");
    doc.m_nNodeType = 0;
    ExpectRefused(doc, [](auto& unreached) { return unreached.SetAttrib("n", 1); });
}

TEST(MarkupSetAttrib, SetsBesideAnUnquotedValueAndReadsItBack)
{
    IndexedMarkup doc = On("<a n=1/>");

    EXPECT_TRUE(doc.SetAttrib("n", "2"));
    EXPECT_TRUE(doc.SetAttrib("n", "3"));

    EXPECT_EQ(Text(doc), "<a n=1 n=\"3\"/>");
    EXPECT_EQ(doc.GetAttrib("n"), "3");
}

// The value's text, up to the next quote, belongs to other elements.
TEST(MarkupSetAttrib, RefusesAStartTagWhoseQuotesRunOn)
{
    for (const char* text : {"<a n=\"x><b m=\"1\"/></a>", "<a n=\"x></a>", "<a n=\"x/>",
                             "<a n=\"/>\" m=\"2\"", "<a n=\"x>y\"></a>", "<a n='></a>'/>"}) {
        SCOPED_TRACE(text);
        for (const char* name : {"n", "m", "new"}) {
            ExpectRefused(On(text), [&](auto& doc) { return doc.SetAttrib(name, "1"); });
        }
    }
}

// --- SetData

TEST(MarkupSetData, ReplacesTheText)
{
    IndexedMarkup doc = OnChild("<xml><a>old</a><b/></xml>", "a");

    EXPECT_TRUE(doc.SetData("new & longer", 0));
    EXPECT_EQ(Text(doc), "<xml><a>new &amp; longer</a><b/></xml>");
    EXPECT_TRUE(doc.SetData(nullptr));
    EXPECT_EQ(Text(doc), "<xml><a></a><b/></xml>");
    EXPECT_TRUE(doc.SetData("\"'"));
    EXPECT_EQ(Text(doc), "<xml><a>\"'</a><b/></xml>");
}

TEST(MarkupSetData, OpensAnEmptyElement)
{
    IndexedMarkup doc = OnChild("<xml><abc n=\"1\"/><b/></xml>", "abc");

    EXPECT_TRUE(doc.SetData("text"));

    EXPECT_EQ(Text(doc), "<xml><abc n=\"1\">text</abc><b/></xml>");
    EXPECT_EQ(doc.GetData(), "text");
}

TEST(MarkupSetData, WritesACDataSectionUnlessTheTextHoldsItsEnd)
{
    IndexedMarkup doc = On("<a/>");

    EXPECT_TRUE(doc.SetData("<b> & ]]", 1));
    EXPECT_EQ(Text(doc), "<a><![CDATA[<b> & ]]]]></a>");
    EXPECT_EQ(doc.GetData(), "<b> & ]]");

    EXPECT_TRUE(doc.SetData("", 1));
    EXPECT_EQ(Text(doc), "<a><![CDATA[]]></a>");
    EXPECT_EQ(doc.GetData(), "");

    EXPECT_TRUE(doc.SetData("<]]>", 1));
    EXPECT_EQ(Text(doc), "<a>&lt;]]&gt;</a>");
    EXPECT_EQ(doc.GetData(), "<]]>");
}

TEST(MarkupSetData, OfTheChild)
{
    IndexedMarkup doc = On("<xml><a/><b/></xml>");
    doc.FindChildElem();

    EXPECT_TRUE(doc.SetChildData("text"));
    EXPECT_EQ(Text(doc), "<xml><a>text</a><b/></xml>");
    EXPECT_TRUE(doc.SetChildData("x", 1));
    EXPECT_EQ(Text(doc), "<xml><a><![CDATA[x]]></a><b/></xml>");
    EXPECT_EQ(doc.GetChildData(), "x");
}

TEST(MarkupSetData, RefusesAnElementWithChildren)
{
    ExpectRefused(On("<a>text<b/></a>"), [](auto& doc) { return doc.SetData("x"); });
    ExpectRefused(On("<a>text<b/></a>"), [](auto& doc) { return doc.SetChildData("x"); });
    ExpectRefused(IndexedMarkup("<a/>"), [](auto& doc) { return doc.SetData("x"); });
}

// --- RemoveElem

TEST(MarkupRemoveElem, TakesTheLineEndBehindItAway)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b>\r\n<c/>\r\n</b>\r\n<d/>\r\n</xml>\r\n", "b");

    EXPECT_TRUE(doc.RemoveElem());

    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<d/>\r\n</xml>\r\n");
}

TEST(MarkupRemoveElem, StaysOnTheElementInFront)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n<c/>\r\n</xml>", "b");

    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_EQ(doc.GetTagName(), "a");
    EXPECT_EQ(doc.m_nNodeType, 1);

    EXPECT_TRUE(doc.FindElem());
    EXPECT_EQ(doc.GetTagName(), "c");
    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_EQ(doc.GetTagName(), "a");
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n</xml>");
}

TEST(MarkupRemoveElem, OfTheFirstChildLeavesNoMainPosition)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a/>\r\n<b/>\r\n</xml>", "a");

    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_EQ(doc.m_nNodeType, 0);
    EXPECT_FALSE(doc.RemoveElem());
    EXPECT_EQ(Text(doc), "<xml>\r\n<b/>\r\n</xml>");

    EXPECT_TRUE(doc.AddElem("n"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<b/>\r\n<n/>\r\n</xml>");
}

TEST(MarkupRemoveElem, GoesOnWithTheElementThatFollowed)
{
    IndexedMarkup doc = In("<xml>\r\n<i n=\"1\"/>\r\n<i n=\"2\"/>\r\n<i n=\"3\"/>\r\n<i n=\"4\"/>\r\n</xml>");

    while (doc.FindElem("i")) {
        const std::string number = doc.GetAttrib("n");
        if (number == "1" || number == "3") doc.RemoveElem();
    }

    EXPECT_EQ(Text(doc), "<xml>\r\n<i n=\"2\"/>\r\n<i n=\"4\"/>\r\n</xml>");
}

TEST(MarkupRemoveElem, TakesWhiteSpaceAwayOnlyInFrontOfATag)
{
    struct Case
    {
        const char* before;
        const char* after;
    };
    const Case cases[] = {
        {"<xml><a/> text</xml>", "<xml> text</xml>"},
        {"<xml> <a/>\n\t </xml>", "<xml> </xml>"},
        {"<xml><a/> <!-- c --></xml>", "<xml><!-- c --></xml>"},
        {"<xml><a>x</a></xml>", "<xml></xml>"},
        {"<xml>&<a/>amp;</xml>", "<xml>&amp;</xml>"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.before);
        IndexedMarkup doc = OnChild(row.before, "a");
        EXPECT_TRUE(doc.RemoveElem());
        EXPECT_EQ(Text(doc), row.after);
    }
}

TEST(MarkupRemoveElem, OfTheDocumentElementKeepsWhatIsAroundIt)
{
    IndexedMarkup doc = On("<?xml?>\r\n<a><b/></a>\r\n");

    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_EQ(Text(doc), "<?xml?>\r\n\r\n");
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_FALSE(doc.FindElem());

    EXPECT_TRUE(doc.AddElem("c"));
    EXPECT_EQ(Text(doc), "<?xml?>\r\n\r\n<c/>\r\n");
}

TEST(MarkupRemoveElem, DoesNotUseItsRecordsAgain)
{
    IndexedMarkup doc = OnChild("<xml>\r\n<a><b/></a>\r\n</xml>", "a");
    const int taken = doc.m_nFreePos;

    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_TRUE(doc.AddElem("c"));

    EXPECT_EQ(doc.m_nMainPos, taken);
    EXPECT_TRUE(doc.SetDoc("<xml/>"));
    EXPECT_EQ(doc.m_nFreePos, 2);
}

TEST(MarkupRemoveElem, NeedsAMainPosition)
{
    ExpectRefused(IndexedMarkup(), [](auto& doc) { return doc.RemoveElem(); });
    ExpectRefused(In("<xml><a/></xml>"), [](auto& doc) { return doc.RemoveElem(); });
    ExpectRefused(On("<xml><a/></xml>"), [](auto& doc) { return doc.RemoveChildElem(); });
}

TEST(MarkupRemoveChildElem, StaysOnTheChildInFront)
{
    IndexedMarkup doc = On("<xml>\r\n<a/>\r\n<b/>\r\n<c/>\r\n</xml>");
    doc.FindChildElem("b");

    EXPECT_TRUE(doc.RemoveChildElem());
    EXPECT_EQ(Text(doc), "<xml>\r\n<a/>\r\n<c/>\r\n</xml>");
    EXPECT_EQ(doc.GetTagName(), "xml");
    EXPECT_EQ(doc.GetChildTagName(), "a");

    EXPECT_TRUE(doc.RemoveChildElem());
    EXPECT_EQ(doc.GetChildTagName(), "");
    EXPECT_FALSE(doc.RemoveChildElem());
    EXPECT_TRUE(doc.AddChildElem("z"));
    EXPECT_EQ(Text(doc), "<xml>\r\n<c/>\r\n<z/>\r\n</xml>");
}

// --- The place of new text

TEST(MarkupLocateNew, GivesThePlaceAndTheElementInFront)
{
    struct Case
    {
        int parent, before, offset, length, flags;
        int place, after;
    };
    //                 0         1         2         3
    //                 0123 4567 89012345 6789012 3456789
    IndexedMarkup doc("<x>\n <a/>  text\n<b></b>\n <c/>\n</x>");
    constexpr int INSERT = IndexedMarkup::LOCATE_INSERT;
    constexpr int KEEP = IndexedMarkup::LOCATE_KEEP_WHITESPACE;
    const Case cases[] = {
        {1, 0, 0, 0, 0, 30, 4},               // last in the parent
        {1, 0, 0, 0, INSERT, 5, 0},           // first, in front of the next tag
        {1, 0, 0, 0, INSERT | KEEP, 3, 0},    // first, right behind the start tag
        {1, 2, 0, 0, 0, 9, 2},                // behind, where text follows
        {1, 3, 0, 0, 0, 25, 3},               // behind, in front of the next tag
        {1, 3, 0, 0, KEEP, 23, 3},            // right behind
        {1, 3, 0, 0, INSERT, 16, 2},          // in front
        {1, 2, 0, 0, INSERT, 5, 0},           // in front of the first
        {2, 0, 0, 0, 0, 8, 0},                // into <a/>
        {3, 0, 0, 0, 0, 19, 0},               // into <b></b>
        {1, 2, 11, 4, KEEP, 15, 2},           // behind a text
        {1, 2, 11, 4, INSERT | KEEP, 11, 0},  // in front of it
        {1, 2, 11, 4, 0, 16, 2},              // behind it, in front of the next tag
        {0, 0, 0, 0, 0, 34, 1},               // at the document's end
        {0, 0, 0, 0, INSERT, 0, 0},           // at its start
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(&row - cases);
        const auto found = doc.x_LocateNew(row.parent, row.before, row.offset, row.length, row.flags);
        EXPECT_EQ(found.offset, row.place);
        EXPECT_EQ(found.after, row.after);
    }
}

TEST(MarkupShift, MovesTheTagsThatComeLaterAndNoOthers)
{
    using Placed = IndexedMarkup::Placed;
    IndexedMarkup doc("<x><a><c/></a><b><d/></b></x>");
    const auto before = doc.Elements();
    const auto moved = [](Placed placed) {
        return Placed{placed.depth, placed.startLeft + 10, placed.startRight + 10, placed.endLeft + 10,
                      placed.endRight + 10};
    };
    const auto stretched = [](Placed placed) {
        return Placed{placed.depth, placed.startLeft, placed.startRight, placed.endLeft + 10,
                      placed.endRight + 10};
    };

    doc.x_ShiftBehind(doc.x_StartTag(2), 10);
    EXPECT_THAT(doc.Elements(), testing::ElementsAre(stretched(before[0]), stretched(before[1]),
                                                     moved(before[2]), moved(before[3]), moved(before[4])));

    doc.x_ShiftBehind(doc.x_StartTag(2), -10);
    doc.x_ShiftBehind(doc.x_EndTag(2), 10);
    EXPECT_THAT(doc.Elements(), testing::ElementsAre(stretched(before[0]), before[1], before[2],
                                                     moved(before[3]), moved(before[4])));
}

// --- Size

TEST(MarkupSize, OffsetsReachToTheLastByteBelowTwoGigabytes)
{
    const IndexedMarkup doc("<a/>");

    EXPECT_TRUE(doc.x_Fits(0, IndexedMarkup::MAX_LENGTH - 4));
    EXPECT_FALSE(doc.x_Fits(0, IndexedMarkup::MAX_LENGTH - 3));
    EXPECT_TRUE(doc.x_Fits(4, IndexedMarkup::MAX_LENGTH));
    EXPECT_FALSE(doc.x_Fits(4, IndexedMarkup::MAX_LENGTH + 1));
}

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SHADOW_OF_EVERY_BYTE_READ
#endif
#endif

namespace {

/// A text of 2 GiB that takes two megabytes of memory: one piece, mapped again and again.
class HugeText
{
public:
    HugeText()
    {
        const int file = memfd_create("huge text", MFD_CLOEXEC);
        const std::string piece(PIECE, 'x');
        m_valid = write(file, piece.data(), PIECE) == static_cast<ssize_t>(PIECE);
        // One page more than is filled stays a NUL.
        m_text = mmap(nullptr, LENGTH + PIECE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        m_valid = m_valid && m_text != MAP_FAILED;
        for (std::size_t at = 0; m_valid && at < LENGTH; at += PIECE) {
            void* const place = static_cast<char*>(m_text) + at;
            m_valid = mmap(place, PIECE, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0) == place;
        }
        close(file);
    }
    ~HugeText() { munmap(m_text, LENGTH + PIECE); }
    HugeText(const HugeText&) = delete;
    HugeText& operator=(const HugeText&) = delete;

    bool IsValid() const { return m_valid; }
    const char* Get() const { return static_cast<const char*>(m_text); }

private:
    static constexpr std::size_t PIECE = 2U << 20U;
    static constexpr std::size_t LENGTH = std::size_t{2} << 30U;

    void* m_text = nullptr;
    bool m_valid = false;
};

}  // namespace

TEST(MarkupSize, TextsOfTwoGigabytesAreRefused)
{
#ifdef SHADOW_OF_EVERY_BYTE_READ
    GTEST_SKIP() << "the thread sanitizer would keep a record of every byte of the text";
#endif
    const HugeText huge;
    ASSERT_TRUE(huge.IsValid());

    ExpectRefused(On("<a/>"), [&](auto& doc) { return doc.SetAttrib("n", huge.Get()); });
    ExpectRefused(On("<a/>"), [&](auto& doc) { return doc.SetAttrib(huge.Get(), "1"); });
    ExpectRefused(On("<a/>"), [&](auto& doc) { return doc.SetData(huge.Get()); });
    ExpectRefused(In("<a/>"), [&](auto& doc) { return doc.AddElem("b", huge.Get()); });
    ExpectRefused(In("<a/>"), [&](auto& doc) { return doc.AddElem(huge.Get()); });
    ExpectRefused(In("<a/>"), [&](auto& doc) { return doc.AddSubDoc(huge.Get()); });

    CMarkupSTL doc("<a/>");
    EXPECT_FALSE(doc.SetDoc(huge.Get()));
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_FALSE(doc.FindElem());
}

// --- Saving

TEST(MarkupSave, WritesTheDocumentAsItStands)
{
    const nettest::TempDir dir;
    const std::string path = dir.File("doc");
    IndexedMarkup doc("\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<xml>\n\t<a n='\xFF'/></xml>\n\n");
    doc.FindElem();
    doc.IntoElem();
    doc.AddElem("b");

    EXPECT_TRUE(doc.Save(path.c_str()));

    CMarkupSTL loaded;
    EXPECT_TRUE(loaded.Load(path.c_str()));
    EXPECT_EQ(loaded.GetDoc(),
              "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<xml>\n\t<a n='\xFF'/><b/>\r\n</xml>\n\n");
}

TEST(MarkupSave, ReportsAPathThatCannotBeWritten)
{
    const nettest::TempDir dir;
    const CMarkupSTL doc("<a/>");

    EXPECT_FALSE(doc.Save(nullptr));
    EXPECT_FALSE(doc.Save(""));
    EXPECT_FALSE(doc.Save(dir.Path().c_str()));
    EXPECT_FALSE(doc.Save(dir.File("none/doc").c_str()));
}
