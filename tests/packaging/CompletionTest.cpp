// The completions of three shells against the program that they complete.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/packaging/HelpPages.h"
#include "tests/packaging/Shell.h"
#include "tests/support/Program.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using nettest::HelpPage;
using nettest::Program;
using nettest::Shell;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Words = std::vector<std::string>;

namespace {

struct Completion : testing::TestWithParam<const char*>
{
    void SetUp() override
    {
        m_shell = Shell::Open(GetParam());
        if (!m_shell) GTEST_SKIP() << "there is no " << GetParam();
    }

    /// What is offered behind `words`, the program's name before them.
    std::set<std::string> Offers(Words words)
    {
        words.insert(words.begin(), "netinfo");
        return m_shell->Offers(words);
    }
    /// The same as values of an option, without the option before them.
    std::set<std::string> Values(const Words& words)
    {
        std::set<std::string> values;
        for (const std::string& word : Offers(words))
            values.insert(word.starts_with("--") ? word.substr(word.find('=') + 1) : word);
        return values;
    }

    std::unique_ptr<Shell> m_shell;
};

Words Behind(const HelpPage& page, const std::string& word)
{
    Words words = page.command;
    words.push_back(word);
    return words;
}

/// True if the program takes the words for right usage.
bool IsAccepted(Words words)
{
    const nettest::TempDir directory;
    words.insert(words.begin(), NETINFO_PROGRAM);
    Program program(words, {{"HOME", directory.Path()},
                            {"NETINFO_DATA_DIR", directory.File("data")},
                            {"NETINFO_CONFIG_DIR", directory.File("config")}});
    program.EndInput();
    return program.Wait() != 2;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return std::string(shell.param); });

TEST_P(Completion, OffersEveryCommandAndNoOther)
{
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        if (page.commands.empty()) continue;
        SCOPED_TRACE(page.Name());
        EXPECT_EQ(Offers(Behind(page, "")), page.commands);
    }
}

TEST_P(Completion, OffersTheSameCommandsBehindHelp)
{
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        if (page.commands.empty()) continue;
        Words words = Behind(page, "");
        words.insert(words.begin(), "help");
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(Offers(words), page.commands);
    }
}

TEST_P(Completion, OffersEveryOptionOfEveryCommandAndNoOther)
{
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        SCOPED_TRACE(page.Name());
        std::set<std::string> options = page.options;
        options.insert("--help");
        EXPECT_EQ(Offers(Behind(page, "--")), options);
    }
}

TEST_P(Completion, OffersTheValuesOfOptions)
{
    EXPECT_THAT(Values({"usage", "--by", ""}),
                UnorderedElementsAre("hour", "day", "week", "month", "year", "type", "profile"));
    EXPECT_THAT(Values({"limit", "--units", ""}), UnorderedElementsAre("iec", "si", "bytes"));
    EXPECT_THAT(Values({"run", "--color", ""}), UnorderedElementsAre("auto", "always", "never"));
    EXPECT_THAT(Values({"usage", "--type", ""}), UnorderedElementsAre("dial-up", "wifi", "adsl"));
    EXPECT_THAT(Values({"limit", "set", "20GB", "--per", ""}), UnorderedElementsAre("month", "week", "day"));
    EXPECT_THAT(Values({"usage", "--by=mo"}), UnorderedElementsAre("month"));
    EXPECT_THAT(Values({"usage", "--json", "--last", "3", "--by", "w"}), UnorderedElementsAre("week"));
}

TEST_P(Completion, OffersNoValueThatTheProgramRefuses)
{
    const std::vector<Words> lines{{"usage", "--by"},
                                   {"usage", "--type"},
                                   {"usage", "--from"},
                                   {"usage", "--to"},
                                   {"history", "--since"},
                                   {"limit", "set", "20GB", "--per"},
                                   {"limit", "set", "20GB", "--warn"},
                                   {"limit", "set", "20GB", "--type"},
                                   {"settings", "set", "week-start"},
                                   {"settings", "set", "month-start"},
                                   {"settings", "set", "link.eth0"},
                                   {"settings", "set", "limit-command"},
                                   {"settings", "set", "checkpoint"},
                                   {"reset"},
                                   {"limit", "--units"},
                                   {"limit", "--color"}};
    for (Words line : lines) {
        SCOPED_TRACE(testing::PrintToString(line));
        line.emplace_back("");
        const std::set<std::string> values = Offers(line);
        EXPECT_FALSE(values.empty());
        for (const std::string& value : values) {
            line.back() = value;
            EXPECT_TRUE(IsAccepted(line)) << value;
        }
    }
}

TEST_P(Completion, OffersEverySettingAndEveryLink)
{
    std::set<std::string> keys;
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        if (page.Name() == "netinfo settings") keys = WordsOfSection(page, "Settings:");
    }
    EXPECT_EQ(keys.erase("link.NAME"), 1U);
    for (const auto& link : std::filesystem::directory_iterator("/sys/class/net"))
        keys.insert("link." + link.path().filename().string());

    EXPECT_EQ(Offers({"settings", "set", ""}), keys);
    EXPECT_EQ(Offers({"settings", "get", ""}), keys);
}

TEST_P(Completion, OffersTheTypesOfAReset)
{
    EXPECT_THAT(Offers({"reset", ""}), UnorderedElementsAre("dial-up", "wifi", "adsl"));
    EXPECT_THAT(Offers({"reset", "--yes", "w"}), UnorderedElementsAre("wifi"));
    EXPECT_THAT(Offers({"reset", "wifi", ""}), testing::Each(testing::StartsWith("-")));  // one is enough
}

TEST_P(Completion, OffersTheIndexesOfTheRecords)
{
    const long long now = std::time(nullptr);
    std::string records;
    for (const char* const name : {"first", "second", "third"}) {
        records += "<item device=\"modem\" apn=\"" + std::string(name) + "\" starttime=\"" +
                   std::to_string(now - 120) + "\" endtime=\"" + std::to_string(now - 60) +
                   "\" time=\"60\" uploaded=\"1\" downloaded=\"2\" unitprice=\"0\" fee=\"0\"/>\r\n";
    }
    std::filesystem::create_directory(m_shell->DataDirectory());
    nettest::WriteFile(m_shell->DataDirectory() + "/NetInfo.dat",
                       "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n<total>\r\n" +
                           records + "</total>\r\n</xml>\r\n");

    EXPECT_THAT(Offers({"records", "remove", ""}), UnorderedElementsAre("0", "1", "2"));
    EXPECT_THAT(Offers({"records", "remove", "0", "2"}), UnorderedElementsAre("2"));
}

TEST_P(Completion, OffersFilesForAModule)
{
    EXPECT_THAT(Offers({"report", "--module", "/sys/class/ne"}), testing::Not(IsEmpty()));
}

TEST(CompletionInBash, CompletesALineAsItIsTyped)
{
    const nettest::TempDir directory;
    Program bash({"/bin/sh", "-c", "exec bash --norc --noprofile -i 2>&1"},  // it prompts on standard error
                 {{"PS1", "ready> "}, {"TERM", "xterm"}, {"HOME", directory.Path()}},
                 Program::Output::Terminal);
    ASSERT_TRUE(bash.WaitFor("ready> "));
    bash.Type("source " NETINFO_SOURCE_DIR "/packaging/completions/netinfo.bash\n");
    ASSERT_TRUE(bash.WaitFor("ready> "));

    bash.Type("netinfo us\t--by=mon\t--la\t");

    EXPECT_TRUE(bash.WaitFor("netinfo usage --by=month --last "));
}
