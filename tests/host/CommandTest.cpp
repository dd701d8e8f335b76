// The built program, with the scripted module in the plug-in's place.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/DataLock.h"
#include "host/Json.h"
#include "host/UsageLedger.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Text.h"

using netinfo::Json;
using nettest::ExpectComplaint;
using nettest::Outcome;
using nettest::Program;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

struct CommandTest : nettest::ProgramTest
{
    CommandTest()
    {
        environment["NETINFO_SCRIPT"] = "";
        environment["NETINFO_SCRIPT_LOG"] = directory.File("log");
    }

    Outcome RunWithModule(std::vector<std::string> words, const std::string& input = "")
    {
        words.insert(words.end(), {"--module", NETINFO_SCRIPTED_MODULE});
        return Run(words, input);
    }

    /// Puts traffic of now into the usage ledger.
    void AddUsage(unsigned long long downloaded, unsigned long long uploaded) const
    {
        std::filesystem::create_directories(directory.File("data"));
        const auto ledger = netinfo::UsageLedger::Open(directory.File("data") + "/", {});
        ASSERT_TRUE(ledger);
        const long long now = std::time(nullptr);
        (*ledger)->Add({now - now % 3600, 1, "home", "wlan0", false, downloaded, uploaded, 0});
        EXPECT_FALSE((*ledger)->Commit({}));
    }

    /// The words of every command, as the help of its parent lists it, `words` themselves first.
    std::vector<std::vector<std::string>> CommandsBelow(const std::vector<std::string>& words)
    {
        std::vector<std::vector<std::string>> commands{words};
        for (std::size_t i = 0; i < commands.size(); ++i) {
            std::vector<std::string> asked = commands[i];
            asked.emplace_back("--help");
            std::istringstream help(Run(asked).text);
            std::string line;
            while (std::getline(help, line) && line != "Commands:")
                continue;
            while (std::getline(help, line) && !line.empty()) {
                commands.push_back(commands[i]);
                std::istringstream(line) >> commands.back().emplace_back();
            }
        }
        return commands;
    }

    std::vector<std::string> Log() const
    {
        std::istringstream text(nettest::ReadFile(directory.File("log")));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }
    /// The log without the links of the machine that runs the test.
    std::vector<std::string> LogOfCalls() const
    {
        std::vector<std::string> lines = Log();
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("state "); });
        std::erase(lines, "since");
        return lines;
    }
};

}  // namespace

// --- the command line ---

TEST_F(CommandTest, ShowsHelpWithExamplesAndItsVersion)
{
    const Outcome help = Run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.text, HasSubstr("Examples:"));
    EXPECT_THAT(help.text, HasSubstr("netinfo history --since 7d"));
    EXPECT_EQ(help.errors, "");

    const Outcome version = Run({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.text, testing::MatchesRegex("netinfo [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandTest, ShowsHelpOfEveryCommand)
{
    const std::vector<std::vector<std::string>> commands{
        {"run"},           {"report"},   {"history"},         {"records"},         {"records", "remove"},
        {"reset"},         {"settings"}, {"settings", "get"}, {"settings", "set"}, {"settings", "list"},
        {"devices"},       {"live"},     {"usage"},           {"limit"},           {"limit", "set"},
        {"limit", "clear"}};
    for (std::vector<std::string> words : commands) {
        words.emplace_back("--help");
        const Outcome help = Run(words);
        EXPECT_EQ(help.exitCode, 0) << words[0];
        EXPECT_THAT(help.text, HasSubstr("--json")) << words[0];
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, TeachesEveryCommandWithExamplesInEightyColumns)
{
    const auto commands = CommandsBelow({});
    EXPECT_GE(commands.size(), 18U);
    for (std::vector<std::string> words : commands) {
        SCOPED_TRACE(testing::PrintToString(words));
        words.emplace_back("--help");
        const Outcome help = Run(words);

        EXPECT_EQ(help.exitCode, 0);
        EXPECT_EQ(help.errors, "");
        EXPECT_THAT(help.text, testing::ContainsRegex("\nExamples?:\n  netinfo "));
        std::istringstream lines(help.text);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80U) << line;
            EXPECT_THAT(line, Not(EndsWith(" "))) << line;
        }
    }
}

TEST_F(CommandTest, TeachesNothingThatItThenRefuses)
{
    for (std::vector<std::string> words : CommandsBelow({})) {
        words.emplace_back("--help");
        std::istringstream lines(Run(words).text);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("  netinfo ")) continue;
            if (line.starts_with("  netinfo run") || line.starts_with("  netinfo live")) continue;  // no end
            SCOPED_TRACE(line);
            line = line.substr(0, std::min(line.find(" | "), line.find("  ", 3)));
            Program program({"/bin/sh", "-c", "netinfo() { \"$0\" \"$@\"; };" + line, NETINFO_PROGRAM},
                            environment);
            program.EndInput();
            const bool understood = program.Wait() != 2;
            EXPECT_TRUE(understood || program.Errors() == "netinfo: there are no records\n")
                << program.Errors();
        }
    }
}

TEST_F(CommandTest, HelpIsACommandToo)
{
    EXPECT_EQ(Run({"help"}).text, Run({"--help"}).text);
    EXPECT_EQ(Run({"help", "usage"}).text, Run({"usage", "--help"}).text);
    EXPECT_EQ(Run({"help", "limit", "set"}).text, Run({"limit", "set", "--help"}).text);
    ExpectComplaint(Run({"help", "usgae"}), 2, "there is no command 'usgae'; did you mean 'usage'?\n");
    ExpectComplaint(Run({"help", "limit", "set", "20GB"}), 2,
                    "'20GB' is one word too many for netinfo limit set; see netinfo limit set --help\n");
}

TEST_F(CommandTest, NamesTheNearestCommandOrOption)
{
    ExpectComplaint(Run({"reprot"}), 2, "netinfo: there is no command 'reprot'; did you mean 'report'?\n");
    ExpectComplaint(Run({"limit", "sett"}), 2, "no command 'limit sett'; did you mean 'limit set'?\n");
    ExpectComplaint(Run({"usage", "--form=7d"}), 2, "no option '--form'; did you mean '--from'?\n");
    ExpectComplaint(Run({"reset", "--yess", "wifi"}), 2, "no option '--yess'; did you mean '--yes'?\n");
    ExpectComplaint(Run({"settings", "get", "week-strat"}), 2, "; did you mean 'week-start'?\n");
    ExpectComplaint(Run({"\033[31m"}), 2, "there is no command '\\x1B[31m'; see netinfo --help\n");
    ExpectComplaint(Run({"run", "again"}), 2, "'again' is one word too many for netinfo run; see");
    ExpectComplaint(Run({"records", "list"}), 2, "no command 'records list'; see netinfo records --help\n");
}

TEST_F(CommandTest, RefusesWrongUsageWithOneLine)
{
    const std::vector<std::vector<std::string>> cases{
        {"frobnicate"},
        {"--frobnicate"},
        {"run", "--frobnicate"},
        {"run", "again"},
        {"run", "--module"},
        {"report", "today"},
        {"history"},
        {"history", "--since"},
        {"records", "list"},
        {"records", "remove"},
        {"records", "remove", "--frobnicate"},
        {"reset"},
        {"reset", "wifi", "adsl"},
        {"settings", "get"},
        {"settings", "set", "week-start"},
        {"settings", "unset", "week-start"},
        {"devices", "eth0"},
        {"usage", "today"},
        {"usage", "--by"},
        {"usage", "--json", "--csv"},
        {"limit", "set"},
        {"limit", "set", "20GB", "30GB"},
        {"limit", "unset"},
        {"limit", "20GB"},
        {"usage", "--units"},
        {"usage", "--units", "kib"},
        {"limit", "--color", "red"},
        {"help", "frobnicate"},
    };
    for (const auto& words : cases) {
        SCOPED_TRACE(testing::PrintToString(words));
        ExpectComplaint(Run(words), 2, "");
    }
    EXPECT_FALSE(std::filesystem::exists(directory.File("data")));
}

// --- the summary ---

TEST_F(CommandTest, TeachesANewcomerAndMakesNothing)
{
    const Outcome outcome = Run({});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.text, HasSubstr("\nNothing was counted yet; to start: netinfo run\n"));
    EXPECT_THAT(outcome.text, HasSubstr("netinfo limit set 20GB"));
    EXPECT_EQ(Json::parse(Run({"--json"}).text)["counting"], false);
    EXPECT_FALSE(std::filesystem::exists(directory.File("data")));
    EXPECT_FALSE(std::filesystem::exists(directory.File("config")));
    EXPECT_FALSE(std::filesystem::exists(directory.File("state")));
    EXPECT_THAT(Log(), IsEmpty()) << "it needs no module";
}

TEST_F(CommandTest, SumsUpWhatWasUsedAndSaysThatNothingCounts)
{
    AddUsage(6000, 30);
    Run({"limit", "set", "12060"});
    const Outcome outcome = Run({"--units", "bytes"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.text, HasSubstr("\nNothing is counting; to start: netinfo run\n"));
    EXPECT_THAT(outcome.text, testing::ContainsRegex("WiFi +6030 B +6030 B +6030 B\n"));
    EXPECT_THAT(outcome.text, HasSubstr("Limit  6030 B of 12060 per month\n"));
    EXPECT_THAT(outcome.text, HasSubstr("] 50 %; 6030 B left, "));
    EXPECT_THAT(outcome.text, Not(HasSubstr("\033")));
    EXPECT_THAT(Run({"--color=always"}).text, HasSubstr("\033[1mTYPE"));

    const Json json = Json::parse(Run({"--json", "--units", "si"}).text);
    EXPECT_EQ(json["used"]["today"]["wifi"]["total"], 6030);
    EXPECT_EQ(json["limit"]["percent"], 50);
}

TEST_F(CommandTest, SumsUpWhatTheServiceCounts)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto service = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(service->WaitFor("connected"));

    const Outcome outcome = Run({});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.text, HasSubstr("\ncounting"));
    EXPECT_THAT(outcome.text, testing::ContainsRegex("WiFi +connected.* 1.00 KiB/s +0 B/s\n"));
    const Json json = Json::parse(Run({"--json"}).text);
    EXPECT_EQ(json["counting"], true);
    EXPECT_EQ(json["types"][1]["download_speed"], 1024);
    service->Signal(SIGTERM);
    EXPECT_EQ(service->Wait(), 0);
}

TEST_F(CommandTest, SaysWhatKeepsItFromSummingUp)
{
    std::filesystem::create_directory(directory.File("data"));
    nettest::WriteFile(DataFile("usage.db"), "no database at all");
    ExpectComplaint(Run({}), 1, "it is damaged; netinfo run will set it aside");
    std::filesystem::create_directories(directory.File("config/DataUsageLimit.ini"));
    ExpectComplaint(Run({}), 1, "DataUsageLimit.ini cannot be read");
}

// --- figures ---

TEST_F(CommandTest, ReportsEveryPeriodOfEveryType)
{
    const Outcome outcome = RunWithModule({"report"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.text, StartsWith("TYPE     PERIOD       FROM                 "));
    EXPECT_THAT(outcome.text,
                HasSubstr("WiFi     today        2024-05-01 00:00:00  11.0 KiB  5.50 KiB  16.5 KiB"));
    EXPECT_THAT(outcome.text, HasSubstr("         since reset  2024-05-01 00:00:00  45.0 KiB"));
    EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 16);
}

TEST_F(CommandTest, ReportsAsJson)
{
    const Outcome outcome = RunWithModule({"report", "--json"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const Json types = Json::parse(outcome.text)["types"];
    ASSERT_EQ(types.size(), 3U);
    const std::map<std::string, unsigned> periods{
        {"today", 1}, {"week", 2}, {"month", 3}, {"year", 4}, {"since_reset", 5}};
    for (const auto& [name, period] : periods) {
        EXPECT_EQ(types[2]["type"], "adsl");
        EXPECT_EQ(types[2][name]["start"], 1'714'514'400);
        EXPECT_EQ(types[2][name]["downloaded"], 1024 * (40 + period));
        EXPECT_EQ(types[2][name]["uploaded"], 512 * (40 + period));
        EXPECT_EQ(types[2][name]["seconds"], 60 * period);
    }
}

TEST_F(CommandTest, CountsNothingInAOneShotCommand)
{
    RunWithModule({"report"});
    EXPECT_THAT(Log(), Contains("no siblings"));
}

TEST_F(CommandTest, ShowsTheHistorySinceAMoment)
{
    const Outcome people = RunWithModule({"history", "--since", "2024-05-01 12:00"});
    EXPECT_EQ(people.exitCode, 0) << people.errors;
    EXPECT_THAT(people.text, HasSubstr("2024-05-01 12:00:00  6.00 KiB  3.00 KiB  9.00 KiB  00:06:00"));
    EXPECT_THAT(Log(), Contains("history 1714557600"));

    const Outcome programs = RunWithModule({"history", "--since", "2024-05-01T12:00:00", "--json"});
    EXPECT_EQ(Json::parse(programs.text),
              Json::parse(R"({"since":1714557600,"downloaded":6144,"uploaded":3072,"seconds":360})"));
}

TEST_F(CommandTest, RefusesAHistorySinceTheFutureOrNonsense)
{
    for (const char* const when : {"2999-01-01", "2024-02-30", "tomorrow", "-7d", ""}) {
        SCOPED_TRACE(when);
        ExpectComplaint(RunWithModule({"history", std::string("--since=") + when}), 2, "");
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, ListsRecordsWithTheIndexesThatRemoveThem)
{
    const Outcome people = RunWithModule({"records"});
    EXPECT_EQ(people.exitCode, 0) << people.errors;
    EXPECT_THAT(people.text, HasSubstr("    0  internet"));
    EXPECT_THAT(people.text, HasSubstr("    1  café \\x1B[31mred"));
    EXPECT_THAT(people.text, Not(HasSubstr("\x1B")));

    const Outcome programs = RunWithModule({"records", "--json"});
    EXPECT_EQ(Json::parse(programs.text)["records"].size(), 3U);

    const Outcome last = RunWithModule({"records", "--last", "--json"});
    const Json records = Json::parse(last.text)["records"];
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]["index"], 2);
}

TEST_F(CommandTest, ListsNoRecordsWhereThereIsNoneOrNoList)
{
    for (const char* const script : {"no-list", "empty-list"}) {
        environment["NETINFO_SCRIPT"] = script;
        EXPECT_EQ(RunWithModule({"records"}).text, "no records\n");
        EXPECT_EQ(RunWithModule({"records", "--last"}).text, "no records\n");
        EXPECT_TRUE(Json::parse(RunWithModule({"records", "--json"}).text)["records"].empty());
    }
}

TEST_F(CommandTest, ShowsAmountsInTheUnitsAskedFor)
{
    EXPECT_THAT(RunWithModule({"report", "--units", "si"}).text,
                HasSubstr("WiFi     today        2024-05-01 00:00:00  11.3 kB  5.63 kB  16.9 kB"));
    EXPECT_THAT(RunWithModule({"report", "--units", "bytes"}).text,
                HasSubstr("WiFi     today        2024-05-01 00:00:00  11264 B   5632 B  16896 B  00:01:00"));
    EXPECT_THAT(RunWithModule({"history", "--since", "2024-05-01", "--units", "si"}).text,
                HasSubstr("6.14 kB  3.07 kB  9.22 kB"));
    EXPECT_THAT(RunWithModule({"records", "--units", "bytes"}).text, HasSubstr("5242880 B  1048576 B"));
    AddUsage(6000, 30);
    EXPECT_THAT(Run({"usage", "--units", "si"}).text, HasSubstr("6.00 kB  30 B  6.03 kB"));
    EXPECT_THAT(Run({"usage", "--units", "BYTES"}).text, HasSubstr("6000 B  30 B  6030 B"));
    EXPECT_THAT(Run({"limit", "set", "20GB", "--units", "si"}).text, HasSubstr("Left      20.0 GB,"));
    EXPECT_THAT(Run({"limit", "--units", "bytes"}).text, HasSubstr("Left      19999993970 B,"));
    ExpectComplaint(Run({"usage", "--units", "kib"}), 2, "--units takes iec, si or bytes, not 'kib'");
}

TEST_F(CommandTest, GivesProgramsBytesWhateverTheUnits)
{
    AddUsage(6000, 30);
    EXPECT_EQ(Run({"usage", "--json", "--units", "si"}).text, Run({"usage", "--json"}).text);
    EXPECT_EQ(RunWithModule({"report", "--json", "--units", "si"}).text,
              RunWithModule({"report", "--json"}).text);
}

TEST_F(CommandTest, ColoursTheLimitWhenAskedTo)
{
    Run({"limit", "set", "1000"});
    EXPECT_THAT(Run({"limit"}).text, Not(HasSubstr("\033")));
    EXPECT_THAT(Run({"limit", "--color", "always"}).text, HasSubstr("\033[32m"));
    AddUsage(800, 0);
    EXPECT_THAT(Run({"limit", "--color", "always"}).text, HasSubstr("\033[33m"));
    AddUsage(200, 0);
    EXPECT_THAT(Run({"limit", "--color", "always"}).text, HasSubstr("\033[31m"));
    EXPECT_THAT(Run({"limit", "--color", "never"}).text, Not(HasSubstr("\033")));
    ExpectComplaint(Run({"limit", "--color", "red"}), 2, "--color takes auto, always or never, not 'red'");
}

TEST_F(CommandTest, DrawsBarsThatTheLocaleHas)
{
    AddUsage(600, 300);
    Run({"limit", "set", "1000"});
    environment["LC_ALL"] = "de_DE.ISO-8859-1";
    EXPECT_THAT(Run({"usage"}).text, HasSubstr("###---"));
    EXPECT_THAT(Run({"limit"}).text, HasSubstr("####-"));
    EXPECT_THAT(Run({"usage"}).text + Run({"limit"}).text, Not(HasSubstr("█")));
}

// --- changes ---

TEST_F(CommandTest, RemovesRecordsInOneBatch)
{
    const Outcome outcome = RunWithModule({"records", "remove", "2", "0-1", "--yes"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.text, "3 records removed\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(Log(),
                testing::IsSupersetOf({"begin remove", "remove 0", "remove 1", "remove 2", "end remove"}));
}

TEST_F(CommandTest, AsksBeforeItRemoves)
{
    const Outcome yes = RunWithModule({"records", "remove", "1", "--json"}, "y\n");
    EXPECT_EQ(yes.exitCode, 0) << yes.errors;
    EXPECT_EQ(yes.errors, "Remove 1 record for good? [y/N] ");
    EXPECT_EQ(Json::parse(yes.text), Json::parse(R"({"removed":[1]})"));

    for (const char* const answer : {"n\n", "\n", "", "yep\n", "yes and a lot of words after it\n"}) {
        std::filesystem::remove(directory.File("log"));
        const Outcome no = RunWithModule({"records", "remove", "1"}, answer);
        EXPECT_EQ(no.exitCode, 1);
        EXPECT_THAT(no.errors, HasSubstr("netinfo: nothing was removed\n"));
        EXPECT_THAT(Log(), Not(Contains("begin remove")));
    }
}

TEST_F(CommandTest, RefusesWrongIndexesAndRemovesNothing)
{
    const std::vector<std::vector<std::string>> cases{
        {"3"},        {"0", "3"}, {"1-3"}, {"-1"},  {"0", "-1"}, {"1", "1"},
        {"0-1", "1"}, {"x"},      {"1x"},  {"2-1"}, {""},        {"99999999999999999999"}};
    for (const auto& indexes : cases) {
        SCOPED_TRACE(testing::PrintToString(indexes));
        std::vector<std::string> words{"records", "remove", "--yes"};
        words.insert(words.end(), indexes.begin(), indexes.end());
        ExpectComplaint(RunWithModule(words), 2, "");
    }
    EXPECT_THAT(Log(), Not(Contains("begin remove")));
}

TEST_F(CommandTest, ResetsAType)
{
    const Outcome outcome = RunWithModule({"reset", "WiFi", "--yes"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.text, "WiFi was reset\n");
    EXPECT_THAT(Log(), Contains("reset 1"));

    EXPECT_EQ(Json::parse(RunWithModule({"reset", "adsl", "--yes", "--json"}).text),
              Json::parse(R"({"reset":"adsl"})"));
    EXPECT_THAT(Log(), Contains("reset 4"));
}

TEST_F(CommandTest, AsksBeforeItResetsAndTellsWhatGoes)
{
    const Outcome no = RunWithModule({"reset", "dial-up"}, "no\n");

    EXPECT_EQ(no.exitCode, 1);
    EXPECT_THAT(no.errors,
                HasSubstr("Reset every total of Dial-up to zero, and remove all connection records"));
    EXPECT_THAT(Log(), Not(Contains("reset 0")));

    EXPECT_EQ(RunWithModule({"reset", "dial-up"}, "YES\n").exitCode, 0);
    EXPECT_THAT(Log(), Contains("reset 0"));
}

TEST_F(CommandTest, NamesTheWordThatIsNoCommandOrOption)
{
    ExpectComplaint(Run({"frobnicate"}), 2, "there is no command 'frobnicate'");
    ExpectComplaint(Run({"--frobnicate"}), 2, "there is no option '--frobnicate'");
}

TEST_F(CommandTest, RefusesToResetAnUnknownType)
{
    for (const char* const type : {"cable", "unknown", "1", ""}) {
        SCOPED_TRACE(type);
        ExpectComplaint(RunWithModule({"reset", type, "--yes"}), 2, "is no connection type");
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, SaysWhenAChangeDidNotReachTheDisk)
{
    environment["NETINFO_SCRIPT"] = "no-save";
    ExpectComplaint(RunWithModule({"reset", "wifi", "--yes"}), 1, "could not be saved");
    ExpectComplaint(RunWithModule({"records", "remove", "0", "--yes"}), 1, "could not be saved");

    EXPECT_EQ(RunWithModule({"report"}).exitCode, 0);  // it changed nothing that could be lost
}

// --- settings and devices ---

TEST_F(CommandTest, ListsGetsAndSetsSettings)
{
    EXPECT_EQ(Run({"settings"}).text,
              "SETTING      VALUE\n"
              "week-start   sunday  (default)\n"
              "month-start  1       (default)\n");
    EXPECT_EQ(Run({"settings", "set", "week-start", "monday"}).text, "monday\n");
    EXPECT_EQ(Run({"settings", "set", "month-start", "15"}).text, "15\n");
    EXPECT_EQ(Run({"settings", "set", "link.eth0", "wifi"}).text, "wifi\n");
    EXPECT_EQ(Run({"settings", "get", "month-start"}).text, "15\n");
    EXPECT_EQ(Run({"settings", "list"}).text,
              "SETTING      VALUE\n"
              "week-start   monday\n"
              "month-start  15\n"
              "link.eth0    wifi\n");

    const Outcome json = Run({"settings", "--json"});
    EXPECT_EQ(Json::parse(json.text)["settings"][1],
              Json::parse(R"({"key":"month-start","value":"15","default":false,"valid":true})"));
    EXPECT_EQ(Json::parse(Run({"settings", "get", "link.eth0", "--json"}).text)["value"], "wifi");
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, RefusesSettingsOutOfRange)
{
    ExpectComplaint(Run({"settings", "set", "month-start", "29"}), 2,
                    "month-start is a day of the month from 1 to 28, not '29'");
    ExpectComplaint(Run({"settings", "set", "month-start", "-1"}), 2, "");
    ExpectComplaint(Run({"settings", "set", "week-start", "noday"}), 2, "week-start is a weekday");
    ExpectComplaint(Run({"settings", "set", "colour", "blue"}), 2, "there is no setting 'colour'");
    ExpectComplaint(Run({"settings", "get", "colour"}), 2, "there is no setting 'colour'");
    EXPECT_FALSE(std::filesystem::exists(directory.File("config")));
}

TEST_F(CommandTest, ChangesSettingsWhileAnotherProcessCounts)
{
    std::filesystem::create_directory(directory.File("data"));
    const auto lock = netinfo::DataLock::Take(directory.File("data") + "/");
    ASSERT_TRUE(lock);

    EXPECT_EQ(Run({"settings", "set", "week-start", "monday"}).exitCode, 0);
}

TEST_F(CommandTest, WarnsOfStoredSettingsThatMakeNoSense)
{
    std::filesystem::create_directory(directory.File("config"));
    nettest::WriteFile(directory.File("config/DataUsageLimit.ini"), "[uselimit]\nstartweekdate = \033soon\n");

    const Outcome outcome = RunWithModule({"report"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors,
                HasSubstr("netinfo: the setting week-start is stored as '\\x1Bsoon', which is not"));
    EXPECT_THAT(Run({"settings"}).errors, HasSubstr("week-start"));
}

TEST_F(CommandTest, RefusesASettingsFileThatCannotBeRead)
{
    std::filesystem::create_directories(directory.File("config/DataUsageLimit.ini"));
    const std::vector<std::vector<std::string>> commands{
        {"settings"}, {"settings", "get", "week-start"}, {"settings", "set", "week-start", "monday"}};
    for (const auto& words : commands)
        ExpectComplaint(Run(words), 1, directory.File("config/DataUsageLimit.ini") + " cannot be read");
}

TEST_F(CommandTest, ListsEveryLinkAndWhyItIsNotCounted)
{
    const Outcome people = Run({"devices"});
    EXPECT_EQ(people.exitCode, 0) << people.errors;
    EXPECT_THAT(people.text, StartsWith("LINK"));
    EXPECT_THAT(people.text, HasSubstr("\nlo "));

    const Outcome programs = Run({"devices", "--json"});
    const Json json = Json::parse(programs.text);
    bool found = false;
    for (const Json& link : json["links"]) {
        if (link["link"] != "lo") continue;
        found = true;
        EXPECT_EQ(link["counted"], false);
        EXPECT_TRUE(link["type"].is_null());
        EXPECT_NE(link["reason"], "");
    }
    EXPECT_TRUE(found);
    EXPECT_THAT(Log(), IsEmpty());
}

// --- usage and limit ---

TEST_F(CommandTest, ShowsWhatTheLedgerHas)
{
    AddUsage(600, 30);
    const Outcome people = Run({"usage", "--type", "wifi"});
    EXPECT_EQ(people.exitCode, 0) << people.errors;
    EXPECT_THAT(people.text, StartsWith("DAY "));
    EXPECT_THAT(people.text, HasSubstr("  630 B "));
    EXPECT_THAT(people.text, HasSubstr("█"));
    EXPECT_THAT(Run({"usage", "--type", "adsl"}).text, HasSubstr("No traffic is recorded"));

    const Json json = Json::parse(Run({"usage", "--by", "profile", "--json"}).text);
    EXPECT_EQ(json["lines"][0]["profile"], "home");
    EXPECT_EQ(json["total"]["total"], 630);
    EXPECT_THAT(Run({"usage", "--by", "type", "--csv"}).text, HasSubstr("\r\nwifi,600,30,630,0,0,0\r\n"));
    EXPECT_THAT(Log(), IsEmpty()) << "it needs no module";
}

TEST_F(CommandTest, ShowsUsageWhileAnotherProcessCounts)
{
    AddUsage(600, 30);
    const auto lock = netinfo::DataLock::Take(directory.File("data") + "/");
    ASSERT_TRUE(lock);
    const auto ledger = netinfo::UsageLedger::Open(directory.File("data") + "/", {});
    ASSERT_TRUE(ledger);

    EXPECT_EQ(Json::parse(Run({"usage", "--json"}).text)["total"]["total"], 630);
    EXPECT_EQ(Run({"limit", "set", "1000"}).exitCode, 0);
    EXPECT_EQ(Json::parse(Run({"limit", "--json"}).text)["used"], 630);
}

TEST_F(CommandTest, MakesNothingWhereNothingWasEverCounted)
{
    EXPECT_EQ(Run({"usage"}).text, "No traffic is recorded for this time.\n");
    EXPECT_EQ(Run({"limit"}).text, "There is no limit. Set one: netinfo limit set 20GB\n");
    EXPECT_EQ(Json::parse(Run({"limit", "--json"}).text), Json::parse(R"({"limit":null})"));
    EXPECT_FALSE(std::filesystem::exists(directory.File("data")));
    EXPECT_FALSE(std::filesystem::exists(directory.File("config")));
}

TEST_F(CommandTest, RefusesQuestionsAboutUsageThatMakeNoSense)
{
    ExpectComplaint(Run({"usage", "--by", "decade"}), 2, "--by takes hour, day");
    ExpectComplaint(Run({"usage", "--from", "soon"}), 2, "'soon' is not a date");
    ExpectComplaint(Run({"usage", "--from", "2999-01-01"}), 2, "lies in the future");
    ExpectComplaint(Run({"usage", "--to", "2024-02-30"}), 2, "not a date that exists");
    ExpectComplaint(Run({"usage", "--from", "1d", "--to", "2d"}), 2, "is empty");
    ExpectComplaint(Run({"usage", "--last", "0"}), 2, "--last takes a number");
    ExpectComplaint(Run({"usage", "--last", "3", "--from", "7d"}), 2, "not with --from");
    ExpectComplaint(Run({"usage", "--type", "modem"}), 2, "'modem' is no connection type");
    ExpectComplaint(Run({"usage", "--top", "-1"}), 2, "--top takes a number");
}

TEST_F(CommandTest, SaysWhenTheLedgerCannotBeRead)
{
    AddUsage(600, 30);
    nettest::WriteFile(DataFile("usage.db"), "no database at all");
    ExpectComplaint(Run({"usage"}), 1, "it is damaged; netinfo run will set it aside");
    EXPECT_EQ(nettest::ReadFile(DataFile("usage.db")), "no database at all");
    std::filesystem::remove_all(directory.File("data"));
    std::filesystem::create_directories(DataFile("usage.db"));
    ExpectComplaint(Run({"usage"}), 1, "not a regular file");
    Run({"limit", "set", "20GB"});
    ExpectComplaint(Run({"limit"}), 1, "not a regular file");
    environment["NETINFO_DATA_DIR"] = "/dev/null/data";
    ExpectComplaint(Run({"usage"}), 1, "/dev/null/data/usage.db cannot be read");
}

TEST_F(CommandTest, SetsShowsAndClearsTheLimit)
{
    const Outcome set = Run({"limit", "set", "20GB", "--per", "day", "--warn", "90%", "--type", "wifi"});
    EXPECT_EQ(set.exitCode, 0) << set.errors;
    EXPECT_THAT(set.text, StartsWith("Limit     20GB per day, wifi; warning at 90 %\n"));
    AddUsage(5'000'000'000, 0);
    EXPECT_THAT(Run({"limit"}).text, HasSubstr("Used      4.66 GiB, 25 %"));
    const Json json = Json::parse(Run({"limit", "--json"}).text);
    EXPECT_EQ(json["limit"]["bytes"], 20'000'000'000);
    EXPECT_EQ(json["left"], 15'000'000'000);
    EXPECT_THAT(nettest::ReadFile(directory.File("config/DataUsageLimit.ini")), HasSubstr("[limit]"));

    EXPECT_EQ(Run({"limit", "clear"}).exitCode, 0);
    EXPECT_THAT(Run({"limit"}).text, StartsWith("There is no limit."));
}

TEST_F(CommandTest, RefusesLimitsThatMakeNoSense)
{
    ExpectComplaint(Run({"limit", "set", "20G"}), 2, "'20G' is no amount: 20GB, 18.5GiB or bytes");
    ExpectComplaint(Run({"limit", "set", "lots"}), 2, "'lots' is no amount");
    ExpectComplaint(Run({"limit", "set", "0"}), 2, "'0' is no amount");
    ExpectComplaint(Run({"limit", "set", "20GB", "--per", "year"}), 2, "a limit is per month, week or day");
    ExpectComplaint(Run({"limit", "set", "20GB", "--warn", "101%"}), 2, "not '101%'");
    ExpectComplaint(Run({"limit", "set", "20GB", "--type", "modem"}), 2, "'modem' is no connection type");
    EXPECT_FALSE(std::filesystem::exists(directory.File("config")));
}

TEST_F(CommandTest, RunRecordsWhatThePluginCounts)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGTERM);
    ASSERT_EQ(program->Wait(), 0);

    const Json json = Json::parse(Run({"usage", "--by", "type", "--json"}).text);
    EXPECT_GT(json["total"]["total"], 0) << json;
}

TEST_F(CommandTest, RunHasThePluginWriteAtEveryCheckpoint)
{
    ASSERT_EQ(Run({"settings", "set", "checkpoint", "1"}).text, "1\n");
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    const std::vector<std::string> writing{"begin remove", "remove -1", "end remove"};
    const auto hasWritten = [&] {
        const std::vector<std::string> log = Log();
        return std::search(log.begin(), log.end(), writing.begin(), writing.end()) != log.end();
    };
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!hasWritten() && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    EXPECT_TRUE(hasWritten());
    program->Signal(SIGTERM);
    EXPECT_EQ(program->Wait(), 0);
}

TEST_F(CommandTest, RunSetsADamagedLedgerAsideAndCountsOn)
{
    std::filesystem::create_directory(directory.File("data"));
    nettest::WriteFile(DataFile("usage.db"), "no database at all");
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(program->Errors(), HasSubstr("netinfo: usage.db was damaged; it is kept as "));
    EXPECT_EQ(Run({"usage"}).exitCode, 0);
}

// --- what can be wrong at the start ---

TEST_F(CommandTest, TellsASecondProcessWhoHasTheDataAndChangesNothing)
{
    std::filesystem::create_directory(directory.File("data"));
    const auto lock = netinfo::DataLock::Take(directory.File("data") + "/");
    ASSERT_TRUE(lock);
    const std::string holder =
        "the data in " + directory.File("data") + "/ is in use by process " + std::to_string(getpid());

    const std::vector<std::vector<std::string>> commands{{"run"},
                                                         {"report"},
                                                         {"history", "--since", "7d"},
                                                         {"records"},
                                                         {"records", "remove", "0", "--yes"},
                                                         {"reset", "wifi", "--yes"}};
    for (const auto& words : commands) {
        SCOPED_TRACE(words[0]);
        ExpectComplaint(RunWithModule(words), 1, holder);
    }
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(DataFile("NetInfo.dat")));
}

TEST_F(CommandTest, RefusesADataDirectoryThatCannotBeMade)
{
    environment["NETINFO_DATA_DIR"] = "/dev/null/data";
    ExpectComplaint(RunWithModule({"run"}), 1, "the data directory /dev/null/data/ cannot be made");
    ExpectComplaint(RunWithModule({"report"}), 1, "cannot be made");
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, RefusesFilesThatCannotBeReadBeforeAnythingIsLoaded)
{
    for (const char* const file :
         {"data/NetInfo.dat", "config/DataUsageLimit.ini", "module/SysSetting.xml"}) {
        SCOPED_TRACE(file);
        std::filesystem::create_directories(directory.File(file));
        ExpectComplaint(RunWithModule({"run"}), 1, directory.File(file) + " cannot be read");
        ExpectComplaint(RunWithModule({"report"}), 1, directory.File(file) + " cannot be read");
        std::filesystem::remove(directory.File(file));
    }
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(CommandTest, RefusesAModuleThatCannotBeUsed)
{
    ExpectComplaint(Run({"run", "--module", "/missing.so"}), 1, "/missing.so");
    ExpectComplaint(Run({"report", "--module", NETINFO_NO_PLUGIN}), 1, "has no CreatePlugin");
    for (const char* const script :
         {"no-plugin", "no-traffic", "no-records", "init-fails", "throw-create", "throw-odd-init"}) {
        SCOPED_TRACE(script);
        environment["NETINFO_SCRIPT"] = script;
        ExpectComplaint(RunWithModule({"run"}), 1, "the module ");
        ExpectComplaint(RunWithModule({"records"}), 1, "the module ");
    }
}

TEST_F(CommandTest, EndsInOrderWhenAServiceThrows)
{
    for (const char* const script : {"beat throw-since", "beat throw-odd-since"}) {
        environment["NETINFO_SCRIPT"] = script;
        std::filesystem::remove(directory.File("log"));
        ExpectComplaint(RunWithModule({"report"}), 1, "ended by an error");
        EXPECT_THAT(LogOfCalls(), ElementsAre("create", "container", "init", "no siblings", "query", "query",
                                              "destroy", "release"));

        std::filesystem::remove(directory.File("log"));
        ExpectComplaint(RunWithModule({"run"}), 1, "ended by an error");
        EXPECT_THAT(LogOfCalls(), testing::IsSupersetOf({"unregister function", "destroy", "release"}));
    }
}

TEST_F(CommandTest, TellsWhereADamagedDataFileWasKept)
{
    environment["NETINFO_SCRIPT"] = "set-aside";

    const Outcome outcome = RunWithModule({"reset", "wifi", "--yes"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "netinfo: NetInfo.dat was damaged; it is kept as " +
                                  DataFile("NetInfo.dat.bad-1714557600") + "\n");
    EXPECT_EQ(RunWithModule({"reset", "wifi", "--yes"}).errors, "");  // that was then
}

TEST_F(CommandTest, LeavesADamagedDataFileToWhoCounts)
{
    environment["NETINFO_SCRIPT"] = "set-aside";

    const Outcome outcome = RunWithModule({"report"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors,
              "netinfo: NetInfo.dat is damaged; netinfo run will set it aside and begin a new one\n");
    EXPECT_FALSE(std::filesystem::exists(directory.File("data")));
}

TEST_F(CommandTest, SaysWhenItsOutputCannotBeWritten)
{
    // The program's standard output is a full disk.
    Program program({"/bin/sh", "-c", "exec \"$0\" settings > /dev/full", NETINFO_PROGRAM}, environment);
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(program.Errors(), HasSubstr("the output cannot be written: No space left"));

    Program running({"/bin/sh", "-c", "exec \"$0\" run --module \"$1\" > /dev/full", NETINFO_PROGRAM,
                     NETINFO_SCRIPTED_MODULE},
                    [&] {
                        auto beating = environment;
                        beating["NETINFO_SCRIPT"] = "beat";
                        return beating;
                    }());
    EXPECT_EQ(running.Wait(), 1);
    EXPECT_THAT(running.Errors(), HasSubstr("the output cannot be written: No space left"));
    EXPECT_THAT(Log(), Contains("release"));
}

TEST_F(CommandTest, KeepsItsFilesOffClosedStandardStreams)
{
    Program program({"/bin/sh", "-c", "exec \"$0\" reset wifi --yes --module \"$1\" 0<&- 1>&- 2>&-",
                     NETINFO_PROGRAM, NETINFO_SCRIPTED_MODULE},
                    environment);
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_THAT(nettest::ReadFile(DataFile("netinfo.lock")), testing::MatchesRegex("[0-9]+\n"));
}

// --- run ---

TEST_F(CommandTest, RunPrintsALineForEachChangeOffATerminal)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});

    EXPECT_TRUE(program->WaitFor("  WiFi     connected"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_EQ(std::count(program->Text().begin(), program->Text().end(), '\n'), 1);
    EXPECT_THAT(program->Text(), HasSubstr("connection 4.00 KiB / 2.00 KiB"));
    EXPECT_THAT(program->Text(), Not(HasSubstr("\033")));
    EXPECT_EQ(program->Errors(), "");
}

TEST_F(CommandTest, RunPrintsJsonLines)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program =
        Start({"run", "--json", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);

    EXPECT_TRUE(program->WaitFor("\n"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_EQ(Json::parse(program->Text())["type"], "wifi");
    EXPECT_EQ(Json::parse(program->Text())["downloaded"], 4096);
}

TEST_F(CommandTest, RunTearsDownInOrderOnEverySignal)
{
    environment["NETINFO_SCRIPT"] = "beat";
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        std::filesystem::remove(directory.File("log"));
        const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
        ASSERT_TRUE(program->WaitFor("connected"));
        program->Signal(signal);
        EXPECT_EQ(program->Wait(), 0) << signal;

        EXPECT_THAT(LogOfCalls(), ElementsAre("create", "container", "init", "siblings", "query", "query",
                                              "register function", "register listener", "deregister listener",
                                              "unregister function", "destroy", "release"));
        EXPECT_TRUE(std::filesystem::exists(DataFile("NetInfo.dat")));
    }
}

TEST_F(CommandTest, RunEndsWhenItsReaderGoes)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));

    program->CloseOutput();

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(Log(), Contains("release"));
}

TEST_F(CommandTest, RunOutlivesItsTerminalWhenToldTo)
{
    environment["NETINFO_SCRIPT"] = "beat";
    Program program({"/bin/sh", "-c", "trap '' HUP; exec \"$0\" run --module \"$1\"", NETINFO_PROGRAM,
                     NETINFO_SCRIPTED_MODULE},
                    environment);
    ASSERT_TRUE(program.WaitFor("connected"));

    program.Signal(SIGHUP);
    program.Signal(SIGTERM);

    EXPECT_EQ(program.Wait(), 0);
}

TEST_F(CommandTest, RunShowsATableOnATerminalAndGivesItBackOnCtrlC)
{
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);

    EXPECT_TRUE(program->WaitFor("\033[?25l"));
    EXPECT_TRUE(program->WaitFor("\033[1m"));
    EXPECT_TRUE(program->WaitFor("connected"));
    EXPECT_TRUE(program->WaitFor("Up since reset"));
    EXPECT_TRUE(program->WaitFor("\033[13A"));  // redrawn in its place
    program->Type("\003");

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(program->Text(), EndsWith("\033[?7h\033[?25h"));
    EXPECT_THAT(LogOfCalls(), testing::IsSupersetOf({"unregister function", "destroy", "release"}));
    EXPECT_EQ(program->Errors(), "");
}

TEST_F(CommandTest, RunUsesNoColourWhenAskedNotTo)
{
    environment["NO_COLOR"] = "1";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
    ASSERT_TRUE(program->WaitFor("Up since reset"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(program->Text(), Not(HasSubstr("\033[1m")));
}

TEST_F(CommandTest, RunFollowsUnitsAndColourOfTheCommandLine)
{
    environment["NETINFO_SCRIPT"] = "beat";
    environment["NO_COLOR"] = "1";
    const auto program =
        Start({"run", "--color", "always", "--units", "bytes", "--module", NETINFO_SCRIPTED_MODULE},
              Program::Output::Terminal);
    EXPECT_TRUE(program->WaitFor("\033[1m"));
    EXPECT_TRUE(program->WaitFor("  4096 B"));
    program->Signal(SIGTERM);
    EXPECT_EQ(program->Wait(), 0);

    const auto lines = Start({"run", "--units", "si", "--module", NETINFO_SCRIPTED_MODULE});
    EXPECT_TRUE(lines->WaitFor("connection 4.10 kB / 2.05 kB"));
    lines->Signal(SIGTERM);
    EXPECT_EQ(lines->Wait(), 0);
}

TEST_F(CommandTest, RunPrintsLinesOnATerminalThatCannotRedraw)
{
    environment["TERM"] = "dumb";
    environment["NETINFO_SCRIPT"] = "beat";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(program->Text(), Not(HasSubstr("\033")));
}

TEST_F(CommandTest, RunSavesWhenItsTerminalIsClosed)
{
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
    ASSERT_TRUE(program->WaitFor("Up since reset"));

    program->CloseOutput();

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(Log(), testing::IsSupersetOf({"destroy", "release"}));
    EXPECT_TRUE(std::filesystem::exists(DataFile("NetInfo.dat")));
}

TEST_F(CommandTest, RunGivesTheTerminalBackWhileItIsStopped)
{
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
    ASSERT_TRUE(program->WaitFor("Up since reset"));

    program->Type("\032");
    EXPECT_TRUE(program->WaitForStop());
    EXPECT_TRUE(program->WaitFor("\033[?25h"));
    program->Signal(SIGCONT);
    EXPECT_TRUE(program->WaitFor("\033[?25l"));
    EXPECT_TRUE(program->WaitFor("Up since reset"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
}

TEST_F(CommandTest, RunGivesTheTerminalBackWhenAServiceThrows)
{
    environment["NETINFO_SCRIPT"] = "beat throw-third-since";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);

    EXPECT_EQ(program->Wait(), 1);
    EXPECT_THAT(program->Text(), HasSubstr("\033[?25h"));
    EXPECT_THAT(program->Errors(), HasSubstr("ended by an error: scripted"));
}

TEST_F(CommandTest, RunSaysWhenTheFiguresCouldNotBeSaved)
{
    environment["NETINFO_SCRIPT"] = "beat no-save";
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGINT);

    EXPECT_EQ(program->Wait(), 1);
    EXPECT_THAT(program->Errors(), HasSubstr("could not be saved"));
}

TEST_F(CommandTest, RunIsNotHeldUpByAReaderThatPauses)
{
    environment["NETINFO_SCRIPT"] = "flood";  // far more changes than a pipe holds
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(Log(), Contains("release"));
}
