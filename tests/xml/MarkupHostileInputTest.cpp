#include <gmock/gmock.h>

#include <random>

#include "tests/support/TempDir.h"
#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;

namespace {

std::string Repeated(std::string_view text, int times)
{
    std::string all;
    all.reserve(text.size() * static_cast<std::size_t>(times));
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

/// Calls every operation that reads.
void ReadEverything(const IndexedMarkup& doc)
{
    doc.GetTagName();
    doc.GetChildTagName();
    doc.GetData();
    doc.GetChildData();
    for (const char* name : {"n", "a", "", "m=\"", "x y"}) {
        doc.GetAttrib(name);
        doc.GetChildAttrib(name);
    }
    for (int n = -1; n < 4; ++n)
        doc.GetAttribName(n);
}

/// Calls one of the operations, chosen by `random`.
void DoAnything(IndexedMarkup& doc, std::mt19937& random)
{
    static const char* const names[] = {nullptr, "", "a", "b", "n", "m", "p", "a[1]", "<", "\xFF"};
    static const char* const values[] = {nullptr, "", "1", "<&>'\"", "text", "]]>", "&#x41;", "\xFF\xFE"};
    const auto below = [&](std::size_t count) { return random() % count; };
    const char* const name = names[below(std::size(names))];
    const char* const value = values[below(std::size(values))];

    switch (below(24)) {
        case 0:
            doc.FindElem(name);
            break;
        case 1:
            doc.FindElem();
            break;
        case 2:
            doc.FindChildElem(name);
            break;
        case 3:
            doc.FindChildElem();
            break;
        case 4:
        case 5:
            doc.IntoElem();
            break;
        case 6:
            doc.OutOfElem();
            break;
        case 7:
            doc.ResetPos();
            break;
        case 8:
            doc.ResetMainPos();
            break;
        case 9:
            doc.ResetChildPos();
            break;
        case 10:
            doc.SavePos(name);
            break;
        case 11:
            doc.RestorePos(name);
            break;
        case 12:
            doc.AddElem(name, value);
            break;
        case 13:
            doc.InsertElem(name, value);
            break;
        case 14:
            doc.AddChildElem(name, value);
            break;
        case 15:
            doc.InsertChildElem(name, value);
            break;
        case 16:
            doc.AddSubDoc("<a n='1'><b/>x<b></b></a>");
            break;
        case 17:
            doc.SetAttrib(name, value);
            break;
        case 18:
            doc.SetChildAttrib(name, static_cast<int>(random()));
            break;
        case 19:
            doc.SetData(value, static_cast<int>(below(2)));
            break;
        case 20:
            doc.SetChildData(value, static_cast<int>(below(2)));
            break;
        case 21:
            doc.RemoveElem();
            break;
        case 22:
            doc.RemoveChildElem();
            break;
        case 23:
            ReadEverything(doc);
            break;
        default:
            break;
    }
}

}  // namespace

TEST(MarkupHostileInput, CutAtEveryLengthDoesNotParse)
{
    const std::string whole =
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!DOCTYPE x [<!ENTITY e \"]>\">]>\r\n<!-- c -->\r\n"
        "<xml n=\"1\" m='&lt;'>\r\n<a/>text<b k=\"v\"><![CDATA[<c>]]></b>\r\n<?d e?>\r\n</xml>";
    ASSERT_TRUE(CMarkupSTL(whole.c_str()).IsWellFormed());

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const std::string cut = whole.substr(0, length);
        IndexedMarkup doc;
        EXPECT_FALSE(doc.SetDoc(cut.c_str()));
        EXPECT_EQ(doc.GetDoc(), cut);
        EXPECT_EQ(doc.GetError().empty(), length == 0);
        EXPECT_EQ(doc.IndexFault(), "");

        EXPECT_TRUE(doc.AddElem("xml"));  // as the store goes on
        EXPECT_TRUE(doc.SetAttrib("n", "2"));
        EXPECT_EQ(doc.GetDoc(), cut + "<xml n=\"2\"/>\r\n");
        EXPECT_EQ(doc.IndexFault(), "");
    }
}

TEST(MarkupHostileInput, EveryByteReplacedByEveryByteLeavesASoundIndex)
{
    const std::string whole = "<?p?><x n=\"1\"><!--c--><a/>t<b><![CDATA[d]]></b></x>";
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (int byte = 1; byte <= UCHAR_MAX; ++byte) {
            std::string text = whole;
            text[at] = static_cast<char>(byte);
            IndexedMarkup doc(text.c_str());
            ASSERT_EQ(doc.IndexFault(), "") << text;
            if (doc.FindElem()) doc.SetAttrib("n", "123");
            if (doc.FindChildElem()) doc.RemoveChildElem();
            doc.AddChildElem("z");
            ASSERT_EQ(doc.IndexFault(), "") << text;
        }
    }
}

TEST(MarkupHostileInput, RandomMarkupAndRandomOperationsLeaveASoundIndex)
{
    static const std::string_view pieces[] = {
        "<",     ">",        "/",      "a",   "b",           "\"",   "'",       "!",          "?",    "[",
        "]",     "--",       " ",      "=",   "&",           ";",    "&#x41;",  "\xFF",       "\r\n", "<!--",
        "-->",   "<![CDATA", "]]>",    "<a>", "</a>",        "<a/>", "<b ",     "</b>",       "<?",   "?>",
        "<!D [", "n=\"",     " n='1'", "</",  "<b n=\"1\">", "text", "<a></a>", "<b n=1 m/>", "\t",   "\\"};
    for (unsigned int seed = 0; seed < 2'000; ++seed) {
        std::mt19937 random(seed);
        std::string text = random() % 2 ? "<a>" : "";
        for (unsigned long count = random() % 24; count > 0; --count)
            text += pieces[random() % std::size(pieces)];
        if (random() % 2) text += "</a>";

        IndexedMarkup doc(text.c_str());
        ASSERT_EQ(doc.IndexFault(), "") << "seed " << seed << ": " << text;
        bool parses = doc.IsWellFormed();
        for (int step = 0; step < 40; ++step) {
            DoAnything(doc, random);
            ASSERT_EQ(doc.IndexFault(), "") << "seed " << seed << ", step " << step << ": " << text;
            parses = parses && doc.IsWellFormed();  // what follows the document element is not looked at
            if (parses) {
                ASSERT_EQ(doc.Elements(), IndexedMarkup(doc.GetDoc().c_str()).Elements())
                    << "seed " << seed << ", step " << step << ": " << text << "\n"
                    << doc.GetDoc();
            }
        }
    }
}

TEST(MarkupHostileInput, MillionNestedElementsParseAndAreEdited)
{
    constexpr int DEPTH = 1'000'000;
    const std::string text = Repeated("<a>", DEPTH) + Repeated("</a>", DEPTH);
    IndexedMarkup doc(text.c_str());
    ASSERT_TRUE(doc.IsWellFormed());

    ASSERT_TRUE(doc.FindElem());
    for (int level = 1; level < DEPTH; ++level) {
        ASSERT_TRUE(doc.FindChildElem());
        ASSERT_TRUE(doc.IntoElem());
    }
    EXPECT_TRUE(doc.SavePos("deepest"));
    EXPECT_TRUE(doc.AddChildElem("b"));
    EXPECT_TRUE(doc.SetAttrib("n", "1"));
    EXPECT_EQ(doc.GetDoc(),
              Repeated("<a>", DEPTH - 1) + "<a n=\"1\">\r\n<b/>\r\n</a>" + Repeated("</a>", DEPTH - 1));
    EXPECT_EQ(doc.IndexFault(), "");

    const IndexedMarkup copy = doc;
    doc.ResetPos();
    EXPECT_TRUE(doc.FindElem());
    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_FALSE(doc.RestorePos("deepest"));
    EXPECT_EQ(copy.IndexFault(), "");
}

TEST(MarkupHostileInput, MillionElementsLeftOpenFailCleanly)
{
    constexpr int DEPTH = 1'000'000;
    IndexedMarkup doc;

    EXPECT_FALSE(doc.SetDoc(Repeated("<a>", DEPTH).c_str()));
    EXPECT_EQ(doc.GetError(), "End tag of a element not found");
    EXPECT_FALSE(doc.SetDoc((Repeated("<a>", DEPTH) + "</b>").c_str()));
    EXPECT_EQ(doc.GetError(), "End tag does not correspond to a");
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupHostileInput, MillionSiblingsParse)
{
    constexpr int COUNT = 1'000'000;
    IndexedMarkup doc(("<x>" + Repeated("<a/>", COUNT) + "</x>").c_str());

    EXPECT_EQ(doc.Elements().size(), COUNT + 1U);
    EXPECT_LT(doc.IndexRoom(), 2U * COUNT);
}

TEST(MarkupHostileInput, HugeAttributeValueIsReadAndReplaced)
{
    const std::string value(1'000'000, '"');
    IndexedMarkup doc("<x><a/><b/></x>");
    doc.FindChildElem();

    EXPECT_TRUE(doc.SetChildAttrib("n", value.c_str()));
    EXPECT_EQ(doc.GetChildAttrib("n"), value);
    EXPECT_EQ(doc.IndexFault(), "");
    EXPECT_TRUE(doc.SetChildAttrib("n", "1"));
    EXPECT_EQ(doc.GetDoc(), "<x><a n=\"1\"/><b/></x>");
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupHostileInput, HugeNamesAndEntitiesAreRead)
{
    const std::string name(1'000'000, 'a');
    const std::string ampersands(1'000'000, '&');
    const std::string text =
        "<" + name + " " + name + "=\"" + ampersands + "\"><" + name + "/></" + name + ">";
    IndexedMarkup doc(text.c_str());

    EXPECT_TRUE(doc.FindElem(name.c_str()));
    EXPECT_EQ(doc.GetAttrib(name.c_str()), ampersands);
    EXPECT_TRUE(doc.FindChildElem(name.c_str()));
    EXPECT_FALSE(doc.FindElem((name + "a").c_str()));
}

TEST(MarkupHostileInput, NameLongerThanTheDocumentIsNotFound)
{
    const std::string name(1'000'000, 'a');
    CMarkupSTL doc("<a><b/></a>");

    EXPECT_FALSE(doc.FindElem(name.c_str()));
    EXPECT_TRUE(doc.FindElem());
    EXPECT_FALSE(doc.FindChildElem(name.c_str()));
}

TEST(MarkupHostileInput, NothingIsLookedAtAgainAndAgain)
{
    // Each of these is slow beyond measure if a part of the scan starts over for every element.
    constexpr int COUNT = 200'000;
    for (const char* text :
         {"<a \">", "<a '", "<!-- <a>", "<", "<a", "< ?", "<![CDATA[", "</", "<a><", "&#"}) {
        SCOPED_TRACE(text);
        IndexedMarkup doc(("<x>" + Repeated(text, COUNT)).c_str());
        EXPECT_FALSE(doc.IsWellFormed());
    }
}

TEST(MarkupHostileInput, CursorOutlivesTheRemovalOfWhatItStoodOn)
{
    IndexedMarkup doc("<x>\r\n<a>\r\n<b/>\r\n</a>\r\n</x>\r\n");
    doc.FindElem();
    doc.FindChildElem();
    EXPECT_TRUE(doc.RemoveChildElem());

    EXPECT_EQ(doc.GetChildTagName(), "");
    EXPECT_EQ(doc.GetChildAttrib("n"), "");
    EXPECT_FALSE(doc.SetChildAttrib("n", "1"));
    EXPECT_FALSE(doc.RemoveChildElem());
    EXPECT_TRUE(doc.RemoveElem());
    EXPECT_FALSE(doc.RemoveElem());
    EXPECT_FALSE(doc.IntoElem());
    EXPECT_FALSE(doc.OutOfElem());
    EXPECT_FALSE(doc.SetAttrib("n", "1"));
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_EQ(doc.GetDoc(), "\r\n");
    EXPECT_EQ(doc.IndexFault(), "");
}
