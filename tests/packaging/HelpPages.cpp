#include "tests/packaging/HelpPages.h"

#include <deque>
#include <sstream>
#include <stdexcept>

#include "tests/support/Program.h"

namespace nettest {
namespace {

HelpPage ReadPage(std::vector<std::string> command)
{
    std::vector<std::string> words = command;
    words.insert(words.begin(), NETINFO_PROGRAM);
    words.emplace_back("--help");
    Program program(words, {});
    program.EndInput();
    if (program.Wait() != 0) throw std::runtime_error("no help of " + words[1]);

    HelpPage page;
    page.command = std::move(command);
    page.text = program.Text();
    page.commands = WordsOfSection(page, "Commands:");
    for (const std::string& names : WordsOfSection(page, "Options:")) {  // "-h,--help"
        std::istringstream list(names);
        for (std::string name; std::getline(list, name, ',');) {
            if (name.starts_with("--") && name != "--help") page.options.insert(name);
        }
    }
    return page;
}

}  // namespace

std::string HelpPage::Name() const
{
    std::string name = "netinfo";
    for (const std::string& word : command)
        name += " " + word;
    return name;
}

std::vector<HelpPage> ReadHelpPages()
{
    std::vector<HelpPage> pages;
    std::deque<std::vector<std::string>> unread{{}};
    while (!unread.empty()) {
        pages.push_back(ReadPage(unread.front()));
        unread.pop_front();
        if (pages.size() == 1 && pages.back().commands.empty())
            throw std::runtime_error("the help has no commands");
        for (const std::string& word : pages.back().commands) {
            unread.push_back(pages.back().command);
            unread.back().push_back(word);
        }
    }
    return pages;
}

std::set<std::string> WordsOfSection(const HelpPage& page, const std::string& heading)
{
    std::set<std::string> words;
    std::istringstream text(page.text);
    bool inside = false;
    for (std::string line; std::getline(text, line);) {
        if (line.empty() || line[0] != ' ') {
            inside = line == heading;
        } else if (inside && line.starts_with("  ") && line.find_first_not_of(' ') == 2) {
            words.insert(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return words;
}

}  // namespace nettest
