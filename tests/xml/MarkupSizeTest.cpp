#include <gtest/gtest.h>

#include "tests/support/MemoryPeak.h"
#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;
using nettest::MemoryPeak;

namespace {

/// A document of at least `size` bytes: `element` again and again inside one root.
std::string Filled(std::size_t size, std::string_view element)
{
    std::string text = "<xml>\r\n";
    text.reserve(size + 2 * element.size() + 20);
    while (text.size() < size)
        text += element;
    return text + "</xml>\r\n";
}

}  // namespace

TEST(MarkupSize, HundredMegabytesParseAndAreEditedInTwiceTheirSize)
{
    const std::string record =
        "<item device=\"wlan0\" apn=\"" + std::string(400, 'n') + "\" time=\"5\"/>\r\n";
    const std::string text = Filled(100'000'000, record);

    const MemoryPeak peak;
    IndexedMarkup doc(text.c_str());
    ASSERT_TRUE(doc.FindElem("xml"));
    EXPECT_TRUE(doc.FindChildElem("item"));
    EXPECT_TRUE(doc.SetChildAttrib("time", "6000"));
    EXPECT_TRUE(doc.RemoveChildElem());
    doc.IntoElem();
    while (doc.FindElem("item")) {}
    EXPECT_TRUE(doc.SetAttrib("time", "7"));
    EXPECT_TRUE(doc.AddElem("item"));

    EXPECT_LT(peak.Bytes(), 2 * text.size());
    EXPECT_EQ(doc.GetDoc().size(), text.size() - record.size() + std::string("<item/>\r\n").size());
    EXPECT_EQ(doc.IndexFault(), "");
}

TEST(MarkupSize, NoTextTakesMoreThanTwentyTimesItsSize)
{
    constexpr std::size_t SIZE = 500'000;
    for (const char* const element :
         {"<a/>", "<a></a>", "<a b=\"\"/>", "&lt;", "<!---->", "<![CDATA[]]>", "<?a?>", "\xFF", "\n"}) {
        SCOPED_TRACE(element);
        const std::string text = Filled(SIZE, element);

        const MemoryPeak peak;
        IndexedMarkup doc(text.c_str());
        ASSERT_TRUE(doc.FindElem());
        doc.GetData();

        EXPECT_LT(peak.Bytes(), 20 * text.size());
    }
}

TEST(MarkupSize, NestingTakesNoMoreThanThirtyTimesTheSizeOfTheText)
{
    constexpr int DEPTH = 1'000'000;
    std::string text;
    for (int i = 0; i < DEPTH; ++i)
        text += "<a>";
    const std::string open = text;
    for (int i = 0; i < DEPTH; ++i)
        text += "</a>";

    const MemoryPeak peak;
    EXPECT_TRUE(IndexedMarkup(text.c_str()).IsWellFormed());
    EXPECT_LT(peak.Bytes(), 30 * text.size());

    const MemoryPeak unfinished;
    EXPECT_FALSE(IndexedMarkup(open.c_str()).IsWellFormed());
    EXPECT_LT(unfinished.Bytes(), 60 * open.size()) << "half the text for every element";
}
