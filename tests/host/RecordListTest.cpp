#include "host/RecordList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Json.h"
#include "host/Table.h"

using netinfo::IndexedRecord;
using netinfo::RecordJson;
using netinfo::RecordTable;
using netinfo::Table;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::vector<IndexedRecord> RECORDS{
    {0, {"internet", "1714557600", "1714561203", "3603", "1048576", "5242880", "0", "0"}},
    {12, {"caf\xC3\xA9 \x1B[31m", "1714557600x", "", "-5", "many", "99999999999999999999", "", "1.5"}},
};

}  // namespace

TEST(RecordTable, ShowsTimesDurationsAndBytes)
{
    EXPECT_EQ(RecordTable({RECORDS[0]}),
              "INDEX  PROFILE   START                END                      TIME      DOWN        UP\n"
              "    0  internet  2024-05-01 12:00:00  2024-05-01 13:00:03  01:00:03  5.00 MiB  1.00 MiB\n");
}

TEST(RecordTable, ShowsDamagedTextAsItStandsButSafely)
{
    const std::string text = RecordTable(RECORDS);

    EXPECT_THAT(text, HasSubstr("   12  café \\x1B[31m  1714557600x "));
    EXPECT_THAT(text, HasSubstr("-5"));
    EXPECT_THAT(text, HasSubstr("99999999999999999999"));
    EXPECT_THAT(text, HasSubstr("many"));
    EXPECT_THAT(text, Not(HasSubstr("\x1B")));
}

TEST(RecordTable, ShowsNoMomentForZero)
{
    EXPECT_THAT(RecordTable({{3, {"", "0", "0", "0", "0", "0", "0", "0"}}}),
                HasSubstr("-      -    00:00:00"));
}

TEST(RecordTable, SaysWhenThereIsNothing) { EXPECT_EQ(RecordTable({}), "no records\n"); }

TEST(RecordJson, HasTheTextsUnchangedAndNumbersWhereTheyAreNumbers)
{
    const auto json = netinfo::Json::parse(RecordJson(RECORDS));
    const auto& whole = json["records"][0];
    const auto& damaged = json["records"][1];

    EXPECT_EQ(whole["index"], 0);
    EXPECT_EQ(whole["profile"], "internet");
    EXPECT_EQ(whole["start_time"], "1714557600");
    EXPECT_EQ(whole["numbers"]["start_time"], 1714557600);
    EXPECT_EQ(whole["numbers"]["end_time"], 1714561203);
    EXPECT_EQ(whole["numbers"]["connect_time"], 3603);
    EXPECT_EQ(whole["numbers"]["downloaded"], 5242880);
    EXPECT_EQ(whole["numbers"]["uploaded"], 1048576);
    EXPECT_EQ(whole["numbers"]["unit_price"], 0);
    EXPECT_EQ(whole["numbers"]["fee"], 0);

    EXPECT_EQ(damaged["index"], 12);
    EXPECT_EQ(damaged["profile"], "caf\xC3\xA9 \x1B[31m");
    EXPECT_EQ(damaged["start_time"], "1714557600x");
    EXPECT_EQ(damaged["end_time"], "");
    EXPECT_EQ(damaged["connect_time"], "-5");
    EXPECT_EQ(damaged["downloaded"], "99999999999999999999");
    EXPECT_EQ(damaged["fee"], "1.5");
    EXPECT_TRUE(damaged["numbers"].empty());
}

TEST(RecordJson, SurvivesTextThatIsNotUtf8)
{
    const auto json = netinfo::Json::parse(RecordJson({{0, {"\xFF\xFE", "", "", "", "", "", "", ""}}}));
    EXPECT_EQ(json["records"][0]["profile"], "\uFFFD\uFFFD");
}

TEST(RecordJson, IsAnEmptyListForNothing)
{
    EXPECT_TRUE(netinfo::Json::parse(RecordJson({}))["records"].empty());
}

TEST(Table, AlignsByColumnsAndLeavesNoBlanksBehind)
{
    Table table({{"A"}, {"NUMBER", Table::Align::Right}, {"LAST"}});
    table.Add({"Büro", "1", ""});
    table.Add({"x", "12345678", "end"});

    EXPECT_EQ(table.Text(),
              "A       NUMBER  LAST\n"
              "Büro         1\n"
              "x     12345678  end\n");
}

TEST(RecordDocument, BecomesTheRecordsAgain)
{
    const auto records = netinfo::RecordsFrom(netinfo::RecordDocument(RECORDS));
    EXPECT_EQ(RecordJson(records), RecordJson(RECORDS));
    EXPECT_EQ(RecordTable(records), RecordTable(RECORDS));
    EXPECT_THROW(netinfo::RecordsFrom({{"records", {1}}}), netinfo::Json::exception);
}
