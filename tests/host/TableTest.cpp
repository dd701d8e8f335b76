#include "host/Table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>

#include "host/Format.h"

using netinfo::Table;

namespace {

Table Connections()
{
    Table table({{"N", Table::Align::Right},
                 {"NAME", Table::Align::Left, Table::Narrow::Shorten},
                 {"FROM", Table::Align::Left, Table::Narrow::LeaveOut},
                 {"TO", Table::Align::Left, Table::Narrow::LeaveOut},
                 {"BYTES", Table::Align::Right}});
    table.Add({"1", "a long name of one", "10:00", "11:00", "1 B"});
    table.Add({"10", "café", "12:00", "13:00", "10 KiB"});
    return table;
}

std::string Fitted(std::size_t columns)
{
    Table table = Connections();
    table.Fit(columns);
    return table.Text();
}

}  // namespace

TEST(Table, StaysAsItIsWhereThereIsRoom)
{
    EXPECT_EQ(Fitted(46), Connections().Text());
    EXPECT_EQ(Fitted(46),
              " N  NAME                FROM   TO      BYTES\n"
              " 1  a long name of one  10:00  11:00     1 B\n"
              "10  café                12:00  13:00  10 KiB\n");
}

TEST(Table, LeavesColumnsOutFromTheLeftUntilItFits)
{
    EXPECT_EQ(Fitted(43),
              " N  NAME                TO      BYTES\n"
              " 1  a long name of one  11:00     1 B\n"
              "10  café                13:00  10 KiB\n");
    EXPECT_EQ(Fitted(36),
              " N  NAME                 BYTES\n"
              " 1  a long name of one     1 B\n"
              "10  café                10 KiB\n");
}

TEST(Table, ShortensCellsWhenNothingIsLeftToLeaveOut)
{
    EXPECT_EQ(Fitted(24),
              " N  NAME           BYTES\n"
              " 1  a long name…     1 B\n"
              "10  café          10 KiB\n");
}

TEST(Table, KeepsWhatMustStandEvenWhereItDoesNotFit)
{
    EXPECT_EQ(Fitted(0),
              " N  NAME       BYTES\n"
              " 1  a long …     1 B\n"
              "10  café      10 KiB\n");
}

TEST(Table, HasNoLineThatIsTooLongAtAnyWidthThatItCanHave)
{
    for (std::size_t columns = 20; columns <= 60; ++columns) {
        std::istringstream text(Fitted(columns));
        for (std::string line; std::getline(text, line);)
            EXPECT_LE(netinfo::Width(line), columns) << line;
    }
}
