#include "plugin/ConnRecordImpl.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using Getter = const char* (IConnRecord::*)();

constexpr std::array<Getter, 8> GETTERS = {
    &IConnRecord::GetAPN,         &IConnRecord::GetStartTime,  &IConnRecord::GetEndTime,
    &IConnRecord::GetConnectTime, &IConnRecord::GetUploadData, &IConnRecord::GetDownloadData,
    &IConnRecord::GetUnitPrice,   &IConnRecord::GetFee,
};

/// The record whose eight texts are `prefix` and the getter's number.
tagConnRecord Record(const std::string& prefix)
{
    return {prefix + "0", prefix + "1", prefix + "2", prefix + "3",
            prefix + "4", prefix + "5", prefix + "6", prefix + "7"};
}

void ExpectStandsOn(IConnRecord& set, const std::string& prefix)
{
    for (std::size_t i = 0; i < GETTERS.size(); ++i)
        EXPECT_EQ((set.*GETTERS[i])(), prefix + std::to_string(i));
}

void ExpectStandsAtTheEnd(IConnRecord& set)
{
    for (const Getter getter : GETTERS)
        EXPECT_STREQ((set.*getter)(), "");
}

TEST(ConnRecordImpl, IsEmptyWhenNew)
{
    CConnRecordImpl set;

    ExpectStandsAtTheEnd(set);
    EXPECT_FALSE(set.MoveFirst());
    ExpectStandsAtTheEnd(set);
    EXPECT_FALSE(set.MoveNext());
    ExpectStandsAtTheEnd(set);
    EXPECT_EQ(set.GetAllRecordCount(), 0);
    EXPECT_EQ(set.GetLastError(), 0);
}

TEST(ConnRecordImpl, StandsOnItsFirstRecordOnceBuilt)
{
    CConnRecordImpl set;
    set.AddRecord(Record("a"));
    set.AddRecord(Record("b"));

    ExpectStandsOn(set, "a");
    EXPECT_EQ(set.GetAllRecordCount(), 2);
}

TEST(ConnRecordImpl, WalksToItsEndAndStaysThere)
{
    CConnRecordImpl set;
    set.AddRecord(Record("a"));
    set.AddRecord(Record("b"));

    EXPECT_TRUE(set.MoveNext());
    ExpectStandsOn(set, "b");
    EXPECT_FALSE(set.MoveNext());
    ExpectStandsAtTheEnd(set);
    EXPECT_FALSE(set.MoveNext());
    ExpectStandsAtTheEnd(set);
}

TEST(ConnRecordImpl, CanBeWalkedAgain)
{
    CConnRecordImpl set;
    set.AddRecord(Record("a"));
    while (set.MoveNext()) {}

    EXPECT_TRUE(set.MoveFirst());

    ExpectStandsOn(set, "a");
}

TEST(ConnRecordImpl, GoesBackToItsFirstRecordWhenOneIsAdded)
{
    CConnRecordImpl set;
    set.AddRecord(Record("a"));
    set.MoveNext();

    set.AddRecord(Record("b"));

    ExpectStandsOn(set, "a");
}

TEST(ConnRecordImpl, CopiesWhatItIsGiven)
{
    CConnRecordImpl set;
    tagConnRecord record = Record("a");
    set.AddRecord(record);

    record = Record("changed");

    ExpectStandsOn(set, "a");
}

TEST(ConnRecordImpl, KeepsTheTextsItHasReturnedWhileTheCursorMoves)
{
    CConnRecordImpl set;
    set.AddRecord(Record("a"));
    set.AddRecord(Record("b"));
    const char* const text = set.GetAPN();

    set.MoveNext();
    set.MoveNext();

    EXPECT_STREQ(text, "a0");
}

TEST(ConnRecordImpl, EndsThroughEveryFace)  // the leak checker watches
{
    IConnRecord* const asSet = new CConnRecordImpl;
    asSet->Release();
    IBaseInterface* const asBase = new CConnRecordImpl;
    asBase->Release();
    const IConnRecord* const asDeleted = new CConnRecordImpl;
    delete asDeleted;
}

}  // namespace
