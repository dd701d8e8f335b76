#include <gmock/gmock.h>

#include "tests/xml/IndexedMarkup.h"

using nettest::IndexedMarkup;

namespace {

const char* const LIBRARY =
    "<xml>\r\n"
    "<shelf n=\"1\">\r\n<book/>\r\n<box/>\r\n<book/>\r\n</shelf>\r\n"
    "<lamp/>\r\n"
    "<shelf n=\"2\"/>\r\n"
    "</xml>\r\n";

/// The three positions by tag name, "-" for none, and the node type.
std::string Cursor(const IndexedMarkup& doc)
{
    const auto name = [&](int pos) { return pos ? std::string(doc.x_TagName(pos)) : "-"; };
    return name(doc.m_nParentPos) + " " + name(doc.m_nMainPos) + " " + name(doc.m_nChildPos) + " " +
           std::to_string(doc.m_nNodeType);
}

/// In the first shelf, in front of its first book.
IndexedMarkup InsideFirstShelf()
{
    IndexedMarkup doc(LIBRARY);
    EXPECT_TRUE(doc.FindElem("xml"));
    EXPECT_TRUE(doc.IntoElem());
    EXPECT_TRUE(doc.FindElem("shelf"));
    EXPECT_TRUE(doc.IntoElem());
    EXPECT_EQ(Cursor(doc), "shelf - - 0");
    return doc;
}

}  // namespace

TEST(MarkupFindElem, FindsTheDocumentElementFirst)
{
    IndexedMarkup doc(LIBRARY);
    EXPECT_EQ(Cursor(doc), "- - - 0");

    EXPECT_TRUE(doc.FindElem("xml"));

    EXPECT_EQ(Cursor(doc), "- xml - 1");
    EXPECT_FALSE(doc.FindElem("xml"));
    EXPECT_EQ(Cursor(doc), "- xml - 1");
}

TEST(MarkupFindElem, GoesOnBehindTheMainPosition)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.IntoElem();

    EXPECT_TRUE(doc.FindElem("shelf"));
    EXPECT_EQ(doc.GetAttrib("n"), "1");
    EXPECT_TRUE(doc.FindElem("shelf"));
    EXPECT_EQ(doc.GetAttrib("n"), "2");
    EXPECT_FALSE(doc.FindElem("shelf"));
    EXPECT_FALSE(doc.FindElem("lamp"));  // it stands in front
    EXPECT_EQ(doc.GetAttrib("n"), "2");
}

TEST(MarkupFindElem, WithoutANameTakesTheVeryNext)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.IntoElem();

    EXPECT_TRUE(doc.FindElem());
    EXPECT_EQ(doc.GetTagName(), "shelf");
    EXPECT_TRUE(doc.FindElem(nullptr));
    EXPECT_EQ(doc.GetTagName(), "lamp");
    EXPECT_TRUE(doc.FindElem(""));
    EXPECT_EQ(doc.GetAttrib("n"), "2");
    EXPECT_FALSE(doc.FindElem());
}

TEST(MarkupFindElem, ClearsTheChildPosition)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.IntoElem();
    doc.FindElem("shelf");
    doc.FindChildElem();
    ASSERT_EQ(Cursor(doc), "xml shelf book 1");

    EXPECT_TRUE(doc.FindElem("lamp"));

    EXPECT_EQ(Cursor(doc), "xml lamp - 1");
}

TEST(MarkupFindElem, MatchesTheWholeNameInItsCase)
{
    IndexedMarkup doc("<xml><items/><Item/><item/></xml>");
    doc.FindElem();
    doc.IntoElem();

    EXPECT_TRUE(doc.FindElem("item"));

    EXPECT_FALSE(doc.FindElem());
    doc.ResetMainPos();
    EXPECT_TRUE(doc.FindElem("items[3]"));
    EXPECT_EQ(doc.GetTagName(), "items");
}

TEST(MarkupFindElem, TakesNoMoreOfTheTextForAName)
{
    CMarkupSTL doc("<xml><item>b</item><i/>< spaced/></xml>");
    for (const char* const name :
         {"item>b", "item>", "item>b</item", "ite", "items", "\"item", "<item", "", " "}) {
        doc.ResetPos();
        doc.FindElem();
        doc.IntoElem();
        EXPECT_EQ(doc.FindElem(name), *name == '\0') << name;
    }
    doc.ResetMainPos();
    EXPECT_TRUE(doc.FindElem("i"));
    EXPECT_TRUE(doc.FindElem("spaced"));
}

TEST(MarkupFindElem, FailsInADocumentWithoutElements)
{
    IndexedMarkup doc("text");

    EXPECT_FALSE(doc.FindElem());
    EXPECT_FALSE(doc.FindElem("text"));
    EXPECT_EQ(Cursor(doc), "- - - 0");
}

TEST(MarkupFindChildElem, WalksTheMainElementsChildren)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.IntoElem();
    doc.FindElem("shelf");

    EXPECT_TRUE(doc.FindChildElem("book"));
    EXPECT_EQ(Cursor(doc), "xml shelf book 1");
    EXPECT_TRUE(doc.FindChildElem());
    EXPECT_EQ(Cursor(doc), "xml shelf box 1");
    EXPECT_TRUE(doc.FindChildElem("book"));
    EXPECT_EQ(Cursor(doc), "xml shelf book 1");
    EXPECT_FALSE(doc.FindChildElem("book"));
    EXPECT_EQ(Cursor(doc), "xml shelf book 1");
}

TEST(MarkupFindChildElem, FirstTakesTheNextElementIfThereIsNoMain)
{
    IndexedMarkup doc(LIBRARY);

    EXPECT_TRUE(doc.FindChildElem("lamp"));

    EXPECT_EQ(Cursor(doc), "- xml lamp 1");
}

TEST(MarkupFindChildElem, StaysOnTheElementTakenWhenNoChildMatches)
{
    IndexedMarkup doc(LIBRARY);

    EXPECT_FALSE(doc.FindChildElem("none"));

    EXPECT_EQ(Cursor(doc), "- xml - 1");
}

TEST(MarkupFindChildElem, FailsWhereThereIsNoElementToTake)
{
    IndexedMarkup doc("<xml><empty/></xml>");
    doc.FindElem();
    doc.IntoElem();
    doc.FindElem();
    doc.IntoElem();
    ASSERT_EQ(Cursor(doc), "empty - - 0");

    EXPECT_FALSE(doc.FindChildElem());
    EXPECT_FALSE(doc.FindChildElem("xml"));
    EXPECT_EQ(Cursor(doc), "empty - - 0");
}

TEST(MarkupIntoElem, MakesTheChildPositionTheMainPosition)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindChildElem("lamp");

    EXPECT_TRUE(doc.IntoElem());

    EXPECT_EQ(Cursor(doc), "xml lamp - 1");
    EXPECT_TRUE(doc.FindElem());
    EXPECT_EQ(doc.GetAttrib("n"), "2");
}

TEST(MarkupIntoElem, NeedsAMainPosition)
{
    IndexedMarkup doc(LIBRARY);
    EXPECT_FALSE(doc.IntoElem());

    doc = InsideFirstShelf();
    EXPECT_FALSE(doc.IntoElem());
    EXPECT_EQ(Cursor(doc), "shelf - - 0");
}

TEST(MarkupIntoElem, NeedsAMainPositionThatNavigationReached)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.m_nNodeType = 0;

    EXPECT_FALSE(doc.IntoElem());
    EXPECT_FALSE(doc.RemoveElem());
    EXPECT_EQ(doc.GetDoc(), LIBRARY);
}

TEST(MarkupOutOfElem, MakesTheParentTheMainPosition)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.FindElem("box");

    EXPECT_TRUE(doc.OutOfElem());
    EXPECT_EQ(Cursor(doc), "xml shelf box 1");
    EXPECT_TRUE(doc.OutOfElem());
    EXPECT_EQ(Cursor(doc), "- xml shelf 1");
    EXPECT_FALSE(doc.OutOfElem());
    EXPECT_EQ(Cursor(doc), "- xml shelf 1");
}

TEST(MarkupOutOfElem, LeavesAnElementWithoutAPositionInIt)
{
    IndexedMarkup doc = InsideFirstShelf();

    EXPECT_TRUE(doc.OutOfElem());

    EXPECT_EQ(Cursor(doc), "xml shelf - 1");
}

TEST(MarkupReset, GoesBackInFrontOfTheDocumentElement)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.FindElem();

    doc.ResetPos();

    EXPECT_EQ(Cursor(doc), "- - - 0");
    EXPECT_TRUE(doc.FindElem("xml"));
}

TEST(MarkupReset, OfTheMainPositionStaysInTheParent)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.FindElem("box");
    doc.ResetMainPos();

    EXPECT_EQ(Cursor(doc), "shelf - - 0");
    EXPECT_TRUE(doc.FindElem());
    EXPECT_EQ(doc.GetTagName(), "book");
}

TEST(MarkupReset, OfTheChildPositionStaysOnTheMainElement)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindChildElem("lamp");
    doc.ResetChildPos();

    EXPECT_EQ(Cursor(doc), "- xml - 1");
    EXPECT_TRUE(doc.FindChildElem());
    EXPECT_EQ(doc.GetChildTagName(), "shelf");

    doc.ResetPos();
    doc.ResetChildPos();
    EXPECT_EQ(Cursor(doc), "- - - 0");
}

TEST(MarkupSavedPos, BringsAllThreePositionsBack)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();
    doc.IntoElem();
    doc.FindElem("shelf");
    doc.FindChildElem("box");
    EXPECT_TRUE(doc.SavePos("here"));
    doc.ResetPos();

    EXPECT_TRUE(doc.RestorePos("here"));

    EXPECT_EQ(Cursor(doc), "xml shelf box 1");
    doc.ResetPos();
    EXPECT_TRUE(doc.RestorePos("here"));  // as often as one likes
    EXPECT_EQ(Cursor(doc), "xml shelf box 1");
}

TEST(MarkupSavedPos, MayHaveNoMainPosition)
{
    IndexedMarkup doc = InsideFirstShelf();
    EXPECT_TRUE(doc.SavePos(""));
    doc.FindElem();

    EXPECT_TRUE(doc.RestorePos(""));

    EXPECT_EQ(Cursor(doc), "shelf - - 0");
    EXPECT_EQ(doc.GetAttrib("n"), "");
}

TEST(MarkupSavedPos, IsOverwrittenUnderTheSameName)
{
    IndexedMarkup doc(LIBRARY);
    doc.SavePos("p");
    doc.FindElem();
    doc.SavePos("p");
    doc.SavePos("q");
    doc.ResetPos();

    EXPECT_TRUE(doc.RestorePos("p"));
    EXPECT_EQ(Cursor(doc), "- xml - 1");
}

TEST(MarkupSavedPos, NeedsAKnownName)
{
    IndexedMarkup doc(LIBRARY);
    doc.FindElem();

    EXPECT_FALSE(doc.SavePos(nullptr));
    EXPECT_FALSE(doc.RestorePos(nullptr));
    EXPECT_FALSE(doc.RestorePos("p"));
    EXPECT_EQ(Cursor(doc), "- xml - 1");
}

TEST(MarkupSavedPos, OutlivesEditsAroundIt)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.FindElem("box");
    doc.SavePos("box");
    doc.ResetMainPos();
    doc.FindElem("book");
    doc.SetAttrib("title", "a long title");
    doc.InsertElem("first");
    doc.FindElem("book");
    doc.RemoveElem();

    EXPECT_TRUE(doc.RestorePos("box"));

    EXPECT_EQ(Cursor(doc), "shelf box - 1");
    EXPECT_TRUE(doc.SetAttrib("n", "3"));
    EXPECT_EQ(doc.GetDoc(),
              "<xml>\r\n<shelf n=\"1\">\r\n<first/>\r\n<box n=\"3\"/>\r\n<book/>\r\n</shelf>\r\n"
              "<lamp/>\r\n<shelf n=\"2\"/>\r\n</xml>\r\n");
}

TEST(MarkupSavedPos, IsForgottenWhenItsElementIsRemoved)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.FindElem("box");
    doc.SavePos("main");
    doc.IntoElem();
    doc.SavePos("parent");
    doc.OutOfElem();
    doc.OutOfElem();
    doc.SavePos("child");
    doc.ResetChildPos();
    doc.SavePos("shelf");
    doc.FindChildElem("box");

    EXPECT_TRUE(doc.RemoveChildElem());

    EXPECT_FALSE(doc.RestorePos("main"));
    EXPECT_FALSE(doc.RestorePos("parent"));
    EXPECT_FALSE(doc.RestorePos("child"));
    EXPECT_EQ(Cursor(doc), "xml shelf book 1");
    EXPECT_TRUE(doc.RestorePos("shelf"));
    EXPECT_EQ(Cursor(doc), "xml shelf - 1");
}

TEST(MarkupSavedPos, IsForgottenWhenAnElementAroundItIsRemoved)
{
    IndexedMarkup doc = InsideFirstShelf();
    doc.SavePos("in front");
    doc.FindElem("book");
    doc.SavePos("book");
    doc.ResetPos();
    doc.SavePos("start");
    doc.FindElem();

    EXPECT_TRUE(doc.RemoveElem());

    EXPECT_FALSE(doc.RestorePos("in front"));
    EXPECT_FALSE(doc.RestorePos("book"));
    EXPECT_TRUE(doc.RestorePos("start"));
    EXPECT_EQ(Cursor(doc), "- - - 0");
    EXPECT_EQ(doc.GetDoc(), "\r\n");
}

// --- FindLastElem

TEST(MarkupFindLastElem, GoesWhereFindElemStopsInTheEnd)
{
    const CMarkupSTL whole("<x>\r\n<a n=\"1\"/><b/><a n=\"2\"><a/></a><c/></x>");
    for (const char* name : {"a", "b", "c", "d", "", "a=1", static_cast<const char*>(nullptr)}) {
        for (int start = 0; start <= 4; ++start) {
            SCOPED_TRACE(testing::Message() << (name ? name : "none") << " from " << start);
            CMarkupSTL walker = whole;
            ASSERT_TRUE(walker.FindElem("x") && walker.IntoElem());
            for (int i = 0; i < start; ++i)
                ASSERT_TRUE(walker.FindElem());
            CMarkupSTL jumper = walker;

            bool found = false;
            while (walker.FindElem(name))
                found = true;

            EXPECT_EQ(jumper.FindLastElem(name), found);
            EXPECT_EQ(jumper.GetTagName(), walker.GetTagName());
            EXPECT_EQ(jumper.GetAttrib("n"), walker.GetAttrib("n"));
        }
    }
}

TEST(MarkupFindLastElem, FindsNothingInAnEmptyDocument) { EXPECT_FALSE(CMarkupSTL().FindLastElem("a")); }
