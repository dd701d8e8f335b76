// What a person sees of every command, in a real terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/Format.h"
#include "host/UsageLedger.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Terminal.h"

using nettest::Terminal;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Lines = std::vector<std::string>;

namespace {

constexpr long long HOUR = 3600;           // seconds
constexpr long long MAY_DAY = 1714514400;  // 2024-05-01 00:00 in the zone of the tests

std::string Joined(const Lines& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

/// Every command that people read, with the scripted module where one is needed.
const Lines& Commands()
{
    static const Lines commands{
        "netinfo",
        "netinfo report --module $MODULE",
        "netinfo report --units bytes --module $MODULE",
        "netinfo history --since 2024-05-01 --module $MODULE",
        "netinfo records --module $MODULE",
        "netinfo records --last --module $MODULE",
        "netinfo records remove 0 --yes --module $MODULE",
        "netinfo reset wifi --yes --module $MODULE",
        "netinfo usage --by hour --from 2024-05-01 --to 2024-05-01",
        "netinfo usage --from 2024-05-01 --to 2024-05-07",
        "netinfo usage --by week --from 2024-04-01 --to 2024-05-07",
        "netinfo usage --by month --units si",
        "netinfo usage --by type --from 2024-05-01",
        "netinfo usage --by profile --from 2024-05-01",
        "netinfo usage --from 2024-05-01 --top 2",
        "netinfo limit set 20GB",
        "netinfo limit",
        "netinfo",
        "netinfo --units bytes",
        "netinfo limit set 2500MB",  // which the month will reach
        "netinfo limit set 1GB",     // which it has reached
        "netinfo limit clear",
        "netinfo limit",
        "netinfo settings",
        "netinfo settings get week-start",
        "netinfo devices",
    };
    return commands;
}

struct Screens : nettest::ProgramTest
{
    void SetUp() override
    {
        if (!Terminal::IsThere()) GTEST_SKIP() << "there is no tmux";
        const std::string folder = std::filesystem::path(NETINFO_PROGRAM).parent_path();
        environment["PATH"] = folder + ":/usr/bin:/bin";
        environment["MODULE"] = NETINFO_SCRIPTED_MODULE;
        environment["NETINFO_SCRIPT"] = "beat";
        environment.erase("TERM");
        FillLedger();
    }

    void Open(std::size_t columns, std::size_t rows = 40)
    {
        terminal.reset();
        terminal = std::make_unique<Terminal>(columns, rows, environment);
    }
    Lines Execute(const std::string& line) { return terminal->Execute(line); }
    /// The screen of a table that is redrawn, once it has its last line.
    bool WaitForTable(const std::string& last)
    {
        return terminal->WaitFor(
            [&](const Lines& lines) { return Joined(lines).find(last) != std::string::npos; });
    }
    void ExpectNothingWrapped(std::size_t columns)
    {
        const Lines lines = terminal->Screen();
        EXPECT_EQ(lines.size(), terminal->UnwrappedScreen().size()) << Joined(lines);
        for (const std::string& line : lines)
            EXPECT_LE(netinfo::Width(line), columns) << line;
    }
    void ExpectTerminalAsItWas()
    {
        EXPECT_TRUE(terminal->ShowsCursor());
        EXPECT_TRUE(terminal->Echoes());
        // Long lines go on in the next one again.
        const std::string text(300, 'x');
        EXPECT_EQ(Joined(Execute("printf '" + text + "\\n'")).find(text), std::string::npos);
        EXPECT_THAT(terminal->UnwrappedScreen(), Contains(text));
    }

    void FillLedger() const
    {
        std::filesystem::create_directories(directory.File("data"));
        const auto ledger = netinfo::UsageLedger::Open(directory.File("data") + "/", {});
        ASSERT_TRUE(ledger);
        const long long day = 24 * HOUR;
        (*ledger)->Add({MAY_DAY + 9 * HOUR, 1, "home", "wlan0", false, 3 << 20, 1 << 20, 3600});
        (*ledger)->Add({MAY_DAY + 10 * HOUR, 4, "eth0", "eth0", false, 700 << 20, 20 << 20, 3600});
        (*ledger)->Add({MAY_DAY + day, 1, "home", "wlan0", true, 1500 << 10, 200 << 10, 0});
        (*ledger)->Add({MAY_DAY + 3 * day, 0, "a provider with quite a long name of its own", "ppp0", false,
                        100'000'000, 1'000'000, 86'000});
        const long long now = std::time(nullptr);
        (*ledger)->Add({now - now % HOUR, 4, "eth0", "eth0", false, 1'000'000'000, 1'000'000'000, 100});
        ASSERT_FALSE((*ledger)->Commit({}));
    }

    std::unique_ptr<Terminal> terminal;
};

/// True if a line has control sequences.
bool IsColoured(const Lines& lines) { return Joined(lines).find("\033[") != std::string::npos; }

}  // namespace

TEST_F(Screens, NoCommandWrapsALineAtAnyWidth)
{
    for (const std::size_t columns : {60U, 80U, 200U}) {
        Open(columns);
        for (const std::string& command : Commands()) {
            // One of the scripted records is damaged, and what it has is not cut.
            if (columns == 60 && command == "netinfo records --module $MODULE") continue;
            SCOPED_TRACE(std::to_string(columns) + " columns: " + command);
            EXPECT_FALSE(Execute(command).empty());
            ExpectNothingWrapped(columns);
        }
    }
}

TEST_F(Screens, NoHelpWrapsALineOnAnOrdinaryTerminal)
{
    Open(80, 60);
    for (const char* const command :
         {"", "run", "usage", "limit", "limit set", "limit clear", "report", "history", "records",
          "records remove", "reset", "settings", "devices", "live", "help"}) {
        SCOPED_TRACE(command);
        EXPECT_GT(Execute(std::string("netinfo ") + command + " --help").size(), 5U);
        ExpectNothingWrapped(80);
    }
}

TEST_F(Screens, AReportHasItsFiguresInLine)
{
    Open(100);
    EXPECT_THAT(
        Joined(Execute("netinfo report --module $MODULE")),
        StartsWith("TYPE     PERIOD       FROM                     DOWN        UP     TOTAL      TIME\n"
                   "Dial-up  today        2024-05-01 00:00:00  1.00 KiB     512 B  1.50 KiB  00:01:00\n"
                   "         this week    2024-05-01 00:00:00  2.00 KiB  1.00 KiB  3.00 KiB  00:02:00\n"));
    Open(60);
    EXPECT_THAT(Joined(Execute("netinfo report --module $MODULE")),
                StartsWith("TYPE     PERIOD           DOWN        UP     TOTAL      TIME\n"
                           "Dial-up  today        1.00 KiB     512 B  1.50 KiB  00:01:00\n"
                           "         this week    2.00 KiB  1.00 KiB  3.00 KiB  00:02:00\n"));
}

TEST_F(Screens, RecordsLeaveOutWhatOtherColumnsTell)
{
    Open(120);
    EXPECT_THAT(Execute("netinfo records --module $MODULE"),
                Contains("    0  internet          2024-05-01 12:00:00  2024-05-01 13:00:03  01:00:03"
                         "              5.00 MiB  1.00 MiB"));
    environment["NETINFO_SCRIPT"] = "";
    Open(60);
    const Lines narrow = Execute("netinfo records --module $MODULE");
    EXPECT_THAT(narrow.front(), AllOf(HasSubstr("START"), Not(HasSubstr("END"))));
}

TEST_F(Screens, UsageDrawsItsBarsAsLongAsTheTerminalAllows)
{
    Open(80);
    const std::string command = "netinfo usage --from 2024-05-01 --to 2024-05-04";
    EXPECT_THAT(
        Execute(command),
        ElementsAre("DAY             DOWN        UP     TOTAL           TIME",
                    "2024-05-01   703 MiB  21.0 MiB   724 MiB       02:00:00  ██████████████████████░",
                    "2024-05-02  1.46 MiB   200 KiB  1.66 MiB *     00:00:00  █",
                    "2024-05-03       0 B       0 B       0 B       00:00:00",
                    "2024-05-04  95.4 MiB   977 KiB  96.3 MiB       23:53:20  ███",
                    "total        800 MiB  22.1 MiB   822 MiB *  1d 01:53:20",
                    "* 1.66 MiB recovered: it passed while nobody counted"));
    Open(200);
    const Lines wide = Execute(command);
    EXPECT_THAT(wide[1], testing::EndsWith(std::string("  ") + [] {
                    std::string bar;
                    for (int i = 0; i < 39; ++i)
                        bar += "█";
                    return bar + "░";
                }()));
}

TEST_F(Screens, ALimitShowsWhatIsLeft)
{
    Open(80);
    const Lines lines = Execute("netinfo limit set 20GB --units si");
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "Limit     20GB per month, all connections; warning at 80 %");
    EXPECT_THAT(lines[2], StartsWith("Used      2.00 GB, 10 %"));
    EXPECT_THAT(lines[2], HasSubstr("[████░░░"));
    EXPECT_THAT(lines[3], StartsWith("Left      18.0 GB, "));
}

TEST_F(Screens, EveryLinkStandsUnderTheHeadings)
{
    Open(80);
    const Lines lines = Execute("netinfo devices");
    ASSERT_GE(lines.size(), 2U);
    for (const char* const heading : {"STATE", "TYPE", "COUNTED"}) {
        const std::size_t column = lines[0].find(heading);
        ASSERT_NE(column, std::string::npos);
        for (const std::string& line : lines) {
            EXPECT_EQ(line[column - 1], ' ') << line;
            EXPECT_NE(line[column], ' ') << line;
        }
    }
}

TEST_F(Screens, ColoursAreForTerminalsOfThoseWhoWantThem)
{
    const struct
    {
        const char* command;
        bool coloured;
    } cases[] = {
        {"netinfo limit", true},
        {"netinfo limit | cat", false},
        {"NO_COLOR=1 netinfo limit", false},
        {"NO_COLOR= netinfo limit", true},  // an empty one says nothing
        {"TERM=dumb netinfo limit", false},
        {"netinfo limit --color never", false},
        {"netinfo limit --color always | cat", true},
        {"NO_COLOR=1 netinfo limit --color always", true},
    };
    Open(80);
    Execute("netinfo limit set 20GB");
    for (const auto& [command, coloured] : cases) {
        SCOPED_TRACE(command);
        Execute(command);
        EXPECT_EQ(IsColoured(terminal->ColouredScreen()), coloured);
    }
}

TEST_F(Screens, WhatIsPipedHasEveryColumn)
{
    Open(60, 60);
    Execute("netinfo report --module $MODULE > report; netinfo records --module $MODULE > records");
    EXPECT_EQ(Joined(Execute("grep -c FROM report; grep -c END records")), "1\n1\n");
}

TEST_F(Screens, RunDrawsATableAndGivesTheTerminalBackOnCtrlC)
{
    Open(80);
    terminal->Start("netinfo run --module $MODULE");
    ASSERT_TRUE(WaitForTable("connected"));
    ASSERT_TRUE(WaitForTable("Up since reset"));
    EXPECT_FALSE(terminal->ShowsCursor());
    EXPECT_TRUE(IsColoured(terminal->ColouredScreen()));
    ExpectNothingWrapped(80);

    terminal->Press("C-c");

    ASSERT_TRUE(terminal->WaitForShell());
    EXPECT_TRUE(WaitForTable("Up since reset"));  // the last figures stay
    ExpectTerminalAsItWas();
}

TEST_F(Screens, RunFollowsTheSizeOfTheTerminal)
{
    Open(200);
    terminal->Start("netinfo run --module $MODULE");
    ASSERT_TRUE(WaitForTable("Up since reset"));
    ExpectNothingWrapped(200);

    terminal->Resize(60, 40);
    const auto fits = [](const Lines& lines) {
        return std::all_of(lines.begin(), lines.end(),
                           [](const std::string& line) { return netinfo::Width(line) <= 60; }) &&
               lines.size() == 13 && lines.back().ends_with(" 22.5 KiB") &&
               lines.back().starts_with("Up since");
    };
    EXPECT_TRUE(terminal->WaitFor(fits)) << Joined(terminal->Screen());

    terminal->Resize(60, 8);
    EXPECT_TRUE(terminal->WaitFor([](const Lines& lines) { return lines.size() <= 8; }));
    terminal->Press("C-c");
    ASSERT_TRUE(terminal->WaitForShell());
    terminal->Resize(80, 40);
    ExpectTerminalAsItWas();
}

TEST_F(Screens, RunGivesTheTerminalBackWhenItIsStoppedOrKilledWithASignal)
{
    Open(80);
    terminal->Start("netinfo run --module $MODULE");
    ASSERT_TRUE(WaitForTable("Up since reset"));
    terminal->Press("C-z");
    ASSERT_TRUE(terminal->WaitForShell());
    EXPECT_TRUE(terminal->ShowsCursor());

    terminal->Start("fg");
    ASSERT_TRUE(WaitForTable("Up since reset"));
    EXPECT_TRUE(terminal->WaitFor([&](const Lines&) { return !terminal->ShowsCursor(); }));
    terminal->Press("C-\\");
    ASSERT_TRUE(terminal->WaitForShell());
    ExpectTerminalAsItWas();
}

TEST_F(Screens, NetinfoAloneSumsUpOnOneScreen)
{
    for (const std::size_t columns : {60U, 200U}) {
        Open(columns, 24);
        Execute("netinfo limit set 20GB");
        const Lines lines = Execute("netinfo");
        EXPECT_THAT(lines.front(), StartsWith("netinfo  "));  // nothing has scrolled away
        EXPECT_THAT(lines, Contains(StartsWith("TYPE ")));
        EXPECT_THAT(lines, Contains(StartsWith("USED ")));
        EXPECT_THAT(lines, Contains(StartsWith("Limit ")));
        ExpectNothingWrapped(columns);
    }
}

TEST_F(Screens, LiveDrawsGraphsThatFollowTheTerminalAndGivesItBack)
{
    Open(80);
    terminal->Start("netinfo live --module $MODULE");
    ASSERT_TRUE(WaitForTable("connected"));
    ASSERT_TRUE(WaitForTable("WiFi     down"));
    EXPECT_FALSE(terminal->ShowsCursor());

    terminal->Resize(60, 24);
    EXPECT_TRUE(terminal->WaitFor([](const Lines& lines) {
        return Joined(lines).find("connected") != std::string::npos &&
               std::all_of(lines.begin(), lines.end(),
                           [](const std::string& line) { return netinfo::Width(line) <= 60; });
    })) << Joined(terminal->Screen());
    terminal->Press("C-c");
    ASSERT_TRUE(terminal->WaitForShell());
    terminal->Resize(80, 40);
    ExpectTerminalAsItWas();
}

TEST_F(Screens, WrongUsageIsToldInOneLine)
{
    Open(80);
    for (const char* const command :
         {"netinfo usgae", "netinfo usage --by fortnight", "netinfo limit set 20G", "netinfo reset cable",
          "netinfo history --since tomorrow"}) {
        SCOPED_TRACE(command);
        Execute(std::string(command) + "; echo \"exit $?\"");
        EXPECT_THAT(terminal->UnwrappedScreen(),
                    ElementsAre(StartsWith("netinfo: "), "exit 2", StartsWith("ready")));
    }
}
