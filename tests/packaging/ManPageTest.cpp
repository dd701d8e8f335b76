// The man page against the program that it tells of.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/packaging/HelpPages.h"
#include "tests/support/Program.h"
#include "tests/support/Text.h"

using nettest::HelpPage;
using testing::Contains;

namespace {

const std::string PAGE = NETINFO_SOURCE_DIR "/docs/man/netinfo.1";

/// The options that the page lists for each command, "netinfo limit set"; those of the program alone are
/// under "netinfo".
std::map<std::string, std::set<std::string>> ListedOptions()
{
    std::map<std::string, std::set<std::string>> listed;
    std::istringstream text(nettest::ReadFile(PAGE));
    std::string section;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(".Sh ")) section.clear();
        if (line.starts_with(".Ss ")) section = line.substr(4);
        if (section.empty()) continue;
        listed[section];
        static const std::regex option("^\\.It .*Fl (-[a-z-]+)");
        std::smatch found;
        if (std::regex_search(line, found, option)) listed[section].insert("-" + found[1].str());
    }
    return listed;
}

/// All words after a macro, such as the names after ".It Ev".
std::set<std::string> WordsAfter(const std::string& macro)
{
    std::set<std::string> words;
    std::istringstream text(nettest::ReadFile(PAGE));
    for (std::string line; std::getline(text, line);) {
        const std::size_t at = line.find(macro + " ");
        if (at == std::string::npos) continue;
        std::istringstream rest(line.substr(at + macro.size() + 1));
        for (std::string word; rest >> word;)
            words.insert(word);
    }
    return words;
}

/// The variables that the sources ask the environment for, or hand to a command.
std::set<std::string> VariablesInSources()
{
    static const std::regex name("\"((NETINFO|XDG|NOTIFY|NO|TERM)(_[A-Z_]+)?)\"");
    std::set<std::string> names;
    for (const char* const room : {"host", "platform"}) {
        const std::filesystem::path folder = std::filesystem::path(NETINFO_SOURCE_DIR) / room;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.path().extension() != ".cpp") continue;
            const std::string text = nettest::ReadFile(entry.path());
            for (auto i = std::sregex_iterator(text.begin(), text.end(), name); i != std::sregex_iterator();
                 ++i)
                names.insert((*i)[1].str());
        }
    }
    return names;
}

}  // namespace

TEST(ManPage, ListsEveryOptionOfEveryCommandAndNoOther)
{
    std::map<std::string, std::set<std::string>> known;
    for (const HelpPage& page : nettest::ReadHelpPages())
        known[page.Name()] = page.options;
    EXPECT_GE(known.size(), 17U);
    EXPECT_EQ(ListedOptions(), known);
}

TEST(ManPage, ShowsEveryOptionInItsSynopsisToo)
{
    const std::string text = nettest::ReadFile(PAGE);
    const std::string synopsis = text.substr(0, text.find(".Sh DESCRIPTION"));
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        for (const std::string& option : page.options) {
            EXPECT_THAT(synopsis, testing::ContainsRegex("Fl " + option.substr(1) + "\\b")) << page.Name();
        }
    }
}

TEST(ManPage, TellsOfEverySetting)
{
    const std::set<std::string> listed = WordsAfter(".It Cm");
    for (const HelpPage& page : nettest::ReadHelpPages()) {
        if (page.Name() != "netinfo settings") continue;
        const std::set<std::string> settings = WordsOfSection(page, "Settings:");
        EXPECT_GE(settings.size(), 4U);
        for (const std::string& setting : settings)
            EXPECT_THAT(listed, Contains(setting == "link.NAME" ? "link.\\&" : setting));
    }
}

TEST(ManPage, TellsOfEveryVariableOfTheEnvironment)
{
    const std::set<std::string> listed = WordsAfter("Ev");
    const std::set<std::string> variables = VariablesInSources();
    EXPECT_THAT(variables, testing::IsSupersetOf({"NETINFO_DATA_DIR", "NETINFO_LIMIT_EVENT", "NO_COLOR"}));
    for (const std::string& variable : variables)
        EXPECT_THAT(listed, Contains(variable));
}

TEST(ManPage, IsWellFormed)
{
    if (access("/usr/bin/mandoc", X_OK) != 0) GTEST_SKIP() << "there is no mandoc";
    nettest::Program mandoc({"/usr/bin/mandoc", "-T", "lint", "-W", "warning", PAGE}, {});
    EXPECT_EQ(mandoc.Wait(), 0);
    EXPECT_EQ(mandoc.Text(), "");
}

TEST(ManPage, FitsATerminalOfEightyColumns)
{
    if (access("/usr/bin/mandoc", X_OK) != 0) GTEST_SKIP() << "there is no mandoc";
    nettest::Program mandoc({"/usr/bin/mandoc", "-T", "ascii", "-O", "width=80", PAGE}, {});
    EXPECT_EQ(mandoc.Wait(), 0);
    std::istringstream text(std::regex_replace(mandoc.Text(), std::regex(".\b"), ""));
    for (std::string line; std::getline(text, line);)
        EXPECT_LE(line.size(), 80U) << line;
}
