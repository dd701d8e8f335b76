// The whole command line against what it cannot work with: one clear line, the right exit code, nothing lost.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/UsageLedger.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Text.h"

using nettest::ExpectComplaint;
using nettest::Outcome;
using nettest::Program;
using testing::HasSubstr;
using Words = std::vector<std::string>;

namespace {

struct BadInput : nettest::ProgramTest
{
    BadInput()
    {
        environment["NETINFO_SCRIPT"] = "beat";
        environment["XDG_RUNTIME_DIR"] = "";
        environment["XDG_DATA_HOME"] = "";
        environment["XDG_CONFIG_HOME"] = "";
    }

    void FillDirectories()
    {
        std::filesystem::create_directories(directory.File("data"));
        const auto ledger = netinfo::UsageLedger::Open(directory.File("data") + "/", {});
        ASSERT_TRUE(ledger);
        const long long now = std::time(nullptr);
        (*ledger)->Add({now - now % 3600, 1, "home", "wlan0", false, 1000, 100, 60});
        ASSERT_FALSE((*ledger)->Commit({}));
        std::filesystem::create_directories(directory.File("config"));
        nettest::WriteFile(directory.File("config/DataUsageLimit.ini"), "[limit]\namount = 20GB\n");
    }

    /// What must not be lost, without what is only there while somebody looks at it.
    std::map<std::string, std::string> Contents() const
    {
        std::map<std::string, std::string> contents;
        for (const char* const name : {"data/NetInfo.dat", "data/usage.db", "config/DataUsageLimit.ini"})
            contents[name] = nettest::ReadFile(directory.File(name));
        return contents;
    }

    static Words WithModule(Words words)
    {
        words.insert(words.end(), {"--module", NETINFO_SCRIPTED_MODULE});
        return words;
    }

    /// A command as somebody who owns the test's directory and has no special rights. Whoever runs the tests
    /// as root is made nobody for it.
    Outcome RunAsOrdinaryUser(const Words& words)
    {
        if (geteuid() != 0) return Run(words);
        Words command{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                      NETINFO_PROGRAM};
        command.insert(command.end(), words.begin(), words.end());
        Program program(command, environment);
        program.EndInput();
        const int exitCode = program.Wait();
        return {exitCode, program.Text(), program.Errors()};
    }
    /// Hands the test's directory to that user; false where the user cannot get at the program.
    bool GiveToOrdinaryUser()
    {
        if (geteuid() != 0) return true;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.Path()))
            EXPECT_EQ(chown(entry.path().c_str(), 65534, 65534), 0);
        EXPECT_EQ(chown(directory.Path().c_str(), 65534, 65534), 0);
        return RunAsOrdinaryUser({"--version"}).exitCode == 0;
    }
};

struct BadDirectory
{
    Words words;
    int exitCode;
    std::string part;  ///< of the complaint; empty: the command does not mind
};

}  // namespace

TEST_F(BadInput, IsRefusedWithTheWordThatIsWrong)
{
    const std::vector<std::pair<Words, std::string>> cases{
        // types
        {{"reset", "cable", "--yes"}, "'cable' is no connection type: dial-up, wifi or adsl"},
        {{"usage", "--type", "cable"}, "'cable' is no connection type: dial-up, wifi or adsl"},
        {{"limit", "set", "20GB", "--type", "cable"}, "'cable' is no connection type"},
        {{"settings", "set", "link.eth0", "cable"}, "dial-up, wifi, adsl, ignore or auto, not 'cable'"},
        // moments
        {{"history", "--since", "yesterday"}, "'yesterday' is not a date (2024-05-01)"},
        {{"history", "--since", "2999-01-01"}, "'2999-01-01' lies in the future"},
        {{"history", "--since", "2024-02-30"}, "'2024-02-30' is not a date that exists"},
        {{"usage", "--from", "2024-13-01"}, "'2024-13-01' is not a date"},
        {{"usage", "--from", "99999999999999999999d"}, "'99999999999999999999d'"},
        {{"usage", "--to", "2024-05-01 25:00"}, "'2024-05-01 25:00'"},
        {{"usage", "--from", "2024-05-02", "--to", "2024-05-01"}, "is empty"},
        // units, numbers and amounts
        {{"usage", "--units", "miles"}, "--units takes iec, si or bytes, not 'miles'"},
        {{"limit", "--color", "blue"}, "--color takes auto, always or never, not 'blue'"},
        {{"usage", "--by", "fortnight"}, "not 'fortnight'"},
        {{"usage", "--last", "0"}, "--last takes a number from 1 to 100000, not '0'"},
        {{"usage", "--last", "-3"}, "not '-3'"},
        {{"usage", "--top", "many"}, "--top takes a number from 1 to 100000, not 'many'"},
        {{"limit", "set", "20G"}, "'20G' is no amount"},
        {{"limit", "set", "-5"}, "'-5' is no amount"},
        {{"limit", "set", "99999999PB"}, "'99999999PB'"},
        {{"limit", "set", "20GB", "--warn", "0%"}, "not '0%'"},
        {{"limit", "set", "20GB", "--per", "decade"}, "a limit is per month, week or day"},
        {{"settings", "set", "month-start", "31"}, "from 1 to 28, not '31'"},
        {{"settings", "set", "link.", "wifi"}, "is not the name of a link"},
        {{"settings", "set", "link.a-name-beyond-limit", "wifi"}, "is not the name of a link"},
        {{"records", "remove", "first", "--yes"}, "'first'"},
        {{"records", "remove", "3-1", "--yes"}, "'3-1'"},
        // text that a terminal would obey
        {{"\033[31mred"}, "\\x1B[31mred"},
        {{"usage", "--type", "a\nb"}, "a\\x0Ab"},
    };
    FillDirectories();
    const auto before = Contents();
    for (const auto& [words, part] : cases) {
        SCOPED_TRACE(testing::PrintToString(words));
        ExpectComplaint(Run(words), 2, part);
    }
    EXPECT_TRUE(Contents() == before) << "something was lost";
}

TEST_F(BadInput, ADataDirectoryThatIsAFileIsNamedAndKept)
{
    nettest::WriteFile(directory.File("data"), "not a directory");
    const std::string folder = directory.File("data") + "/";
    const std::string mend = "the data directory " + folder + " cannot be made; set NETINFO_DATA_DIR";
    for (const Words& words : std::vector<Words>{{"run"},
                                                 {"report"},
                                                 {"history", "--since", "7d"},
                                                 {"records"},
                                                 {"records", "remove", "0", "--yes"},
                                                 {"reset", "wifi", "--yes"}}) {
        SCOPED_TRACE(words[0]);
        ExpectComplaint(Run(WithModule(words)), 1, mend);
    }
    ExpectComplaint(Run({"usage"}), 1, folder + "usage.db cannot be read: Not a directory");
    ExpectComplaint(Run({"limit", "set", "20GB"}), 1, folder + "usage.db cannot be read: Not a directory");
    EXPECT_EQ(nettest::ReadFile(directory.File("data")), "not a directory");
}

TEST_F(BadInput, ASettingsDirectoryThatIsAFileIsNamedAndKept)
{
    nettest::WriteFile(directory.File("config"), "not a directory");
    const std::string mend =
        "the settings file " + directory.File("config") +
        "/DataUsageLimit.ini cannot be written; make it writable or set NETINFO_CONFIG_DIR";
    ExpectComplaint(Run({"settings", "set", "week-start", "monday"}), 1, mend);
    ExpectComplaint(Run({"limit", "set", "20GB"}), 1, mend);
    EXPECT_EQ(nettest::ReadFile(directory.File("config")), "not a directory");
}

TEST_F(BadInput, WhoHasNoHomeIsToldWhatToSet)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody without a home";
    if (!GiveToOrdinaryUser()) GTEST_SKIP() << "an ordinary user cannot get at the program";
    ASSERT_EQ(chmod(directory.Path().c_str(), 0755), 0);
    for (const char* const variable : {"HOME", "NETINFO_DATA_DIR", "NETINFO_CONFIG_DIR", "XDG_STATE_HOME"})
        environment[variable] = "";
    const auto run = [&](const Words& words) {
        Words command{"/usr/bin/setpriv", "--reuid=4242424", "--regid=65534", "--clear-groups",
                      NETINFO_PROGRAM};
        command.insert(command.end(), words.begin(), words.end());
        Program program(command, environment);
        program.EndInput();
        const int exitCode = program.Wait();
        return Outcome{exitCode, program.Text(), program.Errors()};
    };
    const std::string noData = "there is no data directory: neither HOME nor NETINFO_DATA_DIR is set";
    const std::string noSettings =
        "there is no settings directory: neither HOME nor NETINFO_CONFIG_DIR is set";
    for (const Words& words :
         std::vector<Words>{{"run"}, {"report"}, {"records"}, {"history", "--since", "7d"}})
        ExpectComplaint(run(WithModule(words)), 1, noData);
    ExpectComplaint(run({"usage"}), 1, noData);
    ExpectComplaint(run({"settings", "set", "week-start", "monday"}), 1, noSettings);
    ExpectComplaint(run({"limit", "set", "20GB"}), 1, noSettings);
    EXPECT_EQ(run({"devices"}).exitCode, 0);
}

TEST_F(BadInput, DirectoriesWithoutTheRightsAreNamedAndNothingIsLost)
{
    FillDirectories();
    if (!GiveToOrdinaryUser()) GTEST_SKIP() << "an ordinary user cannot get at the program";
    const std::string data = directory.File("data");
    const std::string config = directory.File("config");
    const std::string noData =
        "the data directory " + data + "/ cannot be written: Permission denied; make it";
    const std::string noLock = data + "/netinfo.lock cannot be read: Permission denied";
    const std::string noLedger = data + "/usage.db cannot be read: Permission denied";
    const std::string noSettings = config + "/DataUsageLimit.ini cannot be read: Permission denied";
    const struct
    {
        std::string path;
        mode_t mode;
        std::vector<BadDirectory> commands;
    } cases[] = {
        {data,
         0,
         {{WithModule({"run"}), 1, noData},
          {WithModule({"report"}), 1, noLock},
          {WithModule({"records", "remove", "0", "--yes"}), 1, noLock},
          {WithModule({"reset", "wifi", "--yes"}), 1, noLock},
          {{"usage"}, 1, noLedger},
          {{"limit"}, 1, noLedger},
          {{"settings"}, 0, ""}}},
        {data,
         0555,  // may be read
         {{WithModule({"run"}), 1, noData}, {WithModule({"reset", "wifi", "--yes"}), 1, noData}}},
        {config,
         0,
         {{WithModule({"run"}), 1, noSettings},
          {WithModule({"report"}), 1, noSettings},
          {{"usage"}, 1, noSettings},
          {{"limit"}, 1, noSettings},
          {{"limit", "set", "1GB"}, 1, noSettings},
          {{"limit", "clear"}, 1, noSettings},
          {{"settings"}, 1, noSettings},
          {{"settings", "set", "week-start", "monday"}, 1, noSettings}}},
        {config,
         0555,
         {{{"limit", "clear"}, 1, "cannot be written; make it writable or set NETINFO_CONFIG_DIR"},
          {{"settings", "set", "week-start", "monday"}, 1, "cannot be written; make it writable"},
          {{"limit"}, 0, ""}}},
    };
    const auto before = Contents();
    for (const auto& [path, mode, commands] : cases) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        for (const auto& [words, exitCode, part] : commands) {
            SCOPED_TRACE(path + " " + testing::PrintToString(words));
            const Outcome outcome = RunAsOrdinaryUser(words);
            if (exitCode == 0) {
                EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
            } else {
                ExpectComplaint(outcome, exitCode, part);
            }
        }
        ASSERT_EQ(chmod(path.c_str(), 0700), 0);
    }
    EXPECT_TRUE(Contents() == before) << "something was lost";
}

TEST_F(BadInput, AStateDirectoryThatIsAFileCostsNothingButTheTrace)
{
    nettest::WriteFile(directory.File("state"), "not a directory");
    EXPECT_EQ(Run(WithModule({"report"})).exitCode, 0);
    EXPECT_EQ(nettest::ReadFile(directory.File("state")), "not a directory");
}
