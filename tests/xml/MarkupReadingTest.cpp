#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;

namespace {

/// A document whose main position is its document element.
CMarkupSTL On(const char* text)
{
    CMarkupSTL doc(text);
    EXPECT_TRUE(doc.FindElem()) << text;
    return doc;
}

std::string AttribOf(const std::string& tag, const char* name) { return On(tag.c_str()).GetAttrib(name); }

std::string DataOf(const std::string& element) { return On(element.c_str()).GetData(); }

}  // namespace

TEST(MarkupTagName, IsThatOfMainAndChild)
{
    CMarkupSTL doc = On("<a ><b/></a>");
    EXPECT_EQ(doc.GetTagName(), "a");
    EXPECT_EQ(doc.GetChildTagName(), "");

    doc.FindChildElem();
    EXPECT_EQ(doc.GetTagName(), "a");
    EXPECT_EQ(doc.GetChildTagName(), "b");

    doc.ResetPos();
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_EQ(doc.GetChildTagName(), "");
}

TEST(MarkupGetAttribs, ReadsWhatGetAttribReadsOrSaysThatItCannot)
{
    const AttribKey keys[] = {AttribKey("n"), AttribKey("m"), AttribKey("name_of_many_letters")};
    struct Case
    {
        const char* tag;
        bool isPlain;
    };
    const Case cases[] = {
        {"<a n=\"1\" m=\"2\" name_of_many_letters=\"3\"/>", true},
        {"<a name_of_many_letters=\"3\" m=\"2\" n=\"1\"/>", true},
        {"<a x=\"0\" n=\"\" y=\"0\" m=\"2\"></a>", true},
        {"<a n='1' m='\"'/>", true},
        {"<a\tn=\"1\"\r\n m=\"2\"/>", true},
        {"<a n=\"1\" n=\"2\" m=\"3\" m=\"4\"/>", true},
        {"<a nn=\"1\" N=\"2\"/>", true},
        {"<a n=\"1\"m=\"2\"/>", true},
        {"<a n=\"a value of more than sixteen bytes\" m=\"2\"/>", true},
        {"<a x=\" n=\" m=\"2\"/>", true},
        {"<a/>", true},
        {"<a / n=\"1\"/>", true},
        {"<a ? n=\"1\"/>", true},
        {"< a n=\"1\"/>", false},
        {"<a n =\"1\" m=\"2\"/>", false},
        {"<a n= \"1\" m=\"2\"/>", false},
        {"<a n=1 m=\"2\"/>", false},
        {"<a x n=\"1\"/>", false},
        {"<a n=\"x>y\" m=\"2\"/>", false},
        {"<a n=\"x>", false},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.tag);
        const CMarkupSTL doc = On((std::string(row.tag) + "</a>").c_str());
        std::string_view values[3] = {"left over", "left over", "left over"};
        ASSERT_EQ(doc.GetAttribs(keys, values), row.isPlain);
        for (std::size_t i = 0; row.isPlain && i < std::size(keys); ++i)
            EXPECT_EQ(values[i], doc.GetAttrib(keys[i].Name().data()));
    }
}

TEST(MarkupGetAttribs, ReadsValuesOfAnyLength)
{
    const AttribKey keys[] = {AttribKey("n"), AttribKey("m"), AttribKey("k")};
    for (std::size_t first = 0; first < 140; ++first) {
        for (const std::size_t second : {0U, 1U, 57U, 58U, 59U, 60U, 121U, 300U}) {
            const std::string values[] = {std::string(first, 'x'), std::string(second, 'y'), "z"};
            const CMarkupSTL doc =
                On(("<a n=\"" + values[0] + "\" m=\"" + values[1] + "\" k=\"z\"/>").c_str());
            std::string_view read[3];
            ASSERT_TRUE(doc.GetAttribs(keys, read));
            EXPECT_TRUE(std::equal(std::begin(read), std::end(read), values)) << first << ' ' << second;
        }
    }
}

TEST(MarkupGetAttribs, DoesNotReadBehindTheTag)
{
    const AttribKey keys[] = {AttribKey("n"), AttribKey("m")};
    std::string_view values[2];
    for (std::size_t length = 0; length < 140; ++length) {
        const std::string text = "<a n=\"" + std::string(length, 'x') + "><b m=\"1\" n=\"2\"/></a>";
        EXPECT_FALSE(On(text.c_str()).GetAttribs(keys, values)) << text;
    }
}

TEST(MarkupGetAttribs, TellsAMissingAttributeFromAnEmptyOne)
{
    const AttribKey keys[] = {AttribKey("n"), AttribKey("m")};
    std::string_view values[2];

    ASSERT_TRUE(On("<a n=\"\"/>").GetAttribs(keys, values));
    EXPECT_NE(values[0].data(), nullptr);
    EXPECT_EQ(values[1].data(), nullptr);
}

TEST(MarkupGetAttribs, FindsNothingWithoutAMainPosition)
{
    const AttribKey keys[] = {AttribKey("n")};
    std::string_view values[1] = {"left over"};

    EXPECT_TRUE(CMarkupSTL("<a n=\"1\"/>").GetAttribs(keys, values));
    EXPECT_EQ(values[0].data(), nullptr);
}

TEST(MarkupGetAttribs, LeavesEntitiesAsTheyAreWritten)
{
    const AttribKey keys[] = {AttribKey("n")};
    std::string_view values[1];
    const CMarkupSTL doc = On("<a n=\"&lt;&#65;\"/>");

    EXPECT_TRUE(doc.GetAttribs(keys, values));
    EXPECT_EQ(values[0], "&lt;&#65;");
    EXPECT_EQ(CMarkupSTL::Resolved(values[0]), "<A");
}

TEST(MarkupGetAttrib, ReadsTheQuotedValue)
{
    const std::string tag = "<a x=\"1\" name='it \"is\"' empty=\"\" y = \"2\" z=\"3\"/>";

    EXPECT_EQ(AttribOf(tag, "x"), "1");
    EXPECT_EQ(AttribOf(tag, "name"), "it \"is\"");
    EXPECT_EQ(AttribOf(tag, "empty"), "");
    EXPECT_EQ(AttribOf(tag, "y"), "2");
    EXPECT_EQ(AttribOf(tag, "z"), "3");
    EXPECT_EQ(AttribOf(tag, "none"), "");
}

TEST(MarkupGetAttrib, MatchesTheWholeNameInItsCase)
{
    EXPECT_EQ(AttribOf("<a name=\"1\"/>", "na"), "");
    EXPECT_EQ(AttribOf("<a na=\"1\"/>", "name"), "");
    EXPECT_EQ(AttribOf("<a name=\"1\"/>", "Name"), "");
    EXPECT_EQ(AttribOf("<a name=\"1\" na=\"2\"/>", "na"), "2");
}

TEST(MarkupGetAttrib, DoesNotTakeTheTagNameOrAValueForAName)
{
    EXPECT_EQ(AttribOf("<a a=\"1\"/>", "a"), "1");
    EXPECT_EQ(AttribOf("<n b=\"2\"/>", "n"), "");
    EXPECT_EQ(AttribOf("<a b=\"n\" n=\"2\"/>", "n"), "2");
    EXPECT_EQ(AttribOf("<a b=' n=\"3\"' n=\"2\"/>", "n"), "2");
}

TEST(MarkupGetAttrib, TakesTheFirstOfEqualNames) { EXPECT_EQ(AttribOf("<a n=\"1\" n=\"2\"/>", "n"), "1"); }

TEST(MarkupGetAttrib, NeverFindsAnUnquotedValue)
{
    EXPECT_EQ(AttribOf("<a n=1/>", "n"), "");
    EXPECT_EQ(AttribOf("<a n=1 m=\"2\"/>", "n"), "");
    EXPECT_EQ(AttribOf("<a n=1 m=\"2\"/>", "m"), "2");
    EXPECT_EQ(AttribOf("<a n/>", "n"), "");
    EXPECT_EQ(AttribOf("<a n=/>", "n"), "");
}

// Or else what is set on such an element could never be read again.
TEST(MarkupGetAttrib, FindsAQuotedValueBehindAnUnquotedOneOfThatName)
{
    EXPECT_EQ(AttribOf("<a n=1 n=\"2\"/>", "n"), "2");
}

TEST(MarkupGetAttrib, EndsWithTheStartTag)
{
    EXPECT_EQ(AttribOf("<a><b n=\"1\"/></a>", "n"), "");
    EXPECT_EQ(AttribOf("<a / n=\"1\"></a>", "n"), "");
    EXPECT_EQ(AttribOf("<a ? n=\"1\"></a>", "n"), "");
}

TEST(MarkupGetAttrib, ReadsGreaterThanWithinQuotes)
{
    EXPECT_EQ(AttribOf("<a n=\"x>y\" m=\"z\"></a>", "n"), "x>y");
    EXPECT_EQ(AttribOf("<a n=\"x>y\" m=\"z\"></a>", "m"), "z");
}

TEST(MarkupGetAttrib, WithoutANameGivesTheFirstName)
{
    EXPECT_EQ(AttribOf("<a n=\"1\" m=\"2\"/>", ""), "n");
    EXPECT_EQ(AttribOf("<a n=\"1\" m=\"2\"/>", nullptr), "n");
    EXPECT_EQ(AttribOf("<a/>", ""), "");
}

TEST(MarkupGetAttrib, NeedsAPositionThatNavigationReached)
{
    IndexedMarkup doc("<a n=\"1\"/>");
    EXPECT_EQ(doc.GetAttrib("n"), "");

    doc.FindElem();
    EXPECT_EQ(doc.GetAttrib("n"), "1");

    doc.ResetMainPos();
    EXPECT_EQ(doc.GetAttrib("n"), "");

    doc.FindElem();
    doc.m_nNodeType = 0;
    EXPECT_EQ(doc.GetAttrib("n"), "");
    EXPECT_EQ(doc.GetAttribName(0), "");
}

TEST(MarkupGetAttrib, OfTheChildNeedsAChildPosition)
{
    IndexedMarkup doc("<a n=\"1\"><b n=\"2\"/></a>");
    EXPECT_EQ(doc.GetChildAttrib("n"), "");

    doc.FindChildElem("b");
    EXPECT_EQ(doc.GetChildAttrib("n"), "2");
    EXPECT_EQ(doc.GetAttrib("n"), "1");

    doc.m_nNodeType = 0;
    EXPECT_EQ(doc.GetChildAttrib("n"), "");

    doc.ResetChildPos();
    EXPECT_EQ(doc.GetChildAttrib("n"), "");
}

TEST(MarkupGetAttribName, CountsTheNamesOnly)
{
    const CMarkupSTL doc = On("<a x=\"1\" y = 'z' loose bare=word q=\"r\"/>");

    EXPECT_EQ(doc.GetAttribName(0), "x");
    EXPECT_EQ(doc.GetAttribName(1), "y");
    EXPECT_EQ(doc.GetAttribName(2), "loose");
    EXPECT_EQ(doc.GetAttribName(3), "bare");
    EXPECT_EQ(doc.GetAttribName(4), "q");
    EXPECT_EQ(doc.GetAttribName(5), "");
    EXPECT_EQ(doc.GetAttribName(-1), "");
    EXPECT_EQ(CMarkupSTL("<a x=\"1\"/>").GetAttribName(0), "");
}

TEST(MarkupGetData, IsTheTextBetweenTheTags)
{
    EXPECT_EQ(DataOf("<a> text\r\n</a>"), " text\r\n");
    EXPECT_EQ(DataOf("<a>1 &lt; 2</a>"), "1 < 2");
    EXPECT_EQ(DataOf("<a></a>"), "");
    EXPECT_EQ(DataOf("<a/>"), "");
    EXPECT_EQ(CMarkupSTL("<a>text</a>").GetData(), "");
}

TEST(MarkupGetData, IsEmptyForAnElementWithChildren) { EXPECT_EQ(DataOf("<a>text<b/></a>"), ""); }

TEST(MarkupGetData, TakesACDataSectionAsItStands)
{
    EXPECT_EQ(DataOf("<a><![CDATA[<b> &amp; ]]></a>"), "<b> &amp; ");
    EXPECT_EQ(DataOf("<a> \r\n<![CDATA[x]]> tail</a>"), "x");
    EXPECT_EQ(DataOf("<a><![CDATA[]]></a>"), "");
    EXPECT_EQ(DataOf("<a>head<![CDATA[x]]></a>"), "head<![CDATA[x]]>");
}

TEST(MarkupGetData, OfTheChildNeedsAChildPosition)
{
    CMarkupSTL doc = On("<a><b>text</b></a>");
    EXPECT_EQ(doc.GetChildData(), "");

    doc.FindChildElem();
    EXPECT_EQ(doc.GetChildData(), "text");
}

TEST(MarkupGetData, DoesNotTakeWhatFollowsAnEmptyElement)
{
    CMarkupSTL doc = On("<a><b/><![CDATA[text]]></a>");
    doc.FindChildElem();

    EXPECT_EQ(doc.GetChildData(), "");
}

TEST(MarkupEntities, AreResolvedOnReading)
{
    struct Case
    {
        const char* written;
        std::string read;
    };
    const Case cases[] = {
        {"plain", "plain"},
        {"&lt;&amp;&gt;&apos;&quot;", "<&>'\""},
        {"&amp;lt;", "&lt;"},  // once only
        {"&#65;", "A"},
        {"&#x41;", "A"},
        {"&#x7f;&#x80;", "\x7F\xC2\x80"},
        {"&#x7FF;&#x800;", "\xDF\xBF\xE0\xA0\x80"},
        {"&#x20AC;&#x20ac;&#8364;", "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC"},
        {"&#xFFFF;", "\xEF\xBF\xBF"},
        {"&#x10041;", "\xE0\x81\x81"},  // only 16 bits are looked at
        {"&#0000065;", "A"},
        {"&#00000065;", "&#00000065;"},  // eight digits are too many
        {"&#x000041;", "A"},
        {"&#x0000041;", "A"},
        {"&#x00000041;", "&#x00000041;"},
        {"&#x1FFFFFFF;", "&#x1FFFFFFF;"},
        {"&#;", "&#;"},
        {"&#x;", "&#x;"},
        {"&#X41;", "&#X41;"},
        {"&#6A;", "&#6A;"},  // no digit of that base
        {"&#-5;", "&#-5;"},
        {"&# 5;", "&# 5;"},
        {"&#65", "&#65"},
        {"&#", "&#"},
        {"&", "&"},
        {"&foo;", "&foo;"},
        {"&lt", "&lt"},
        {"&LT;", "&LT;"},
        {"&&lt;", "&<"},
        {"a&b&lt;c", "a&b<c"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.written);
        EXPECT_EQ(DataOf("<a>" + std::string(row.written) + "</a>"), row.read);
        EXPECT_EQ(AttribOf("<a n=\"" + std::string(row.written) + "\"/>", "n"), row.read);
    }
}

TEST(MarkupEntities, AreNotCompletedByWhatFollowsTheValue)
{
    EXPECT_EQ(AttribOf("<a n=\"&lt\";/>", "n"), "&lt");
    EXPECT_EQ(AttribOf("<a n=\"&#6\"5;/>", "n"), "&#6");
}

TEST(MarkupEntities, ZeroIsANulInTheValue)
{
    EXPECT_EQ(AttribOf("<a n=\"x&#0;y\"/>", "n"), std::string("x\0y", 3));
}

TEST(MarkupEntities, AreWrittenForTheCharactersThatNeedThem)
{
    EXPECT_EQ(IndexedMarkup::x_TextToDoc("a<b&c>d'e\"f", true), "a&lt;b&amp;c&gt;d&apos;e&quot;f");
    EXPECT_EQ(IndexedMarkup::x_TextToDoc("a<b&c>d'e\"f", false), "a&lt;b&amp;c&gt;d'e\"f");
    EXPECT_EQ(IndexedMarkup::x_TextToDoc("", true), "");
    EXPECT_EQ(IndexedMarkup::x_TextToDoc("\xFF\xC3\xA4\r\n", true), "\xFF\xC3\xA4\r\n");
}
