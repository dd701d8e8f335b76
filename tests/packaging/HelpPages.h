#pragma once

#include <set>
#include <string>
#include <vector>

namespace nettest {

/// What `netinfo [command] --help` tells of one command; the program itself is the command without words.
struct HelpPage
{
    std::vector<std::string> command;  ///< "limit", "set"
    std::set<std::string> options;     ///< "--json"; without "--help", which all have
    std::set<std::string> commands;    ///< the words that may follow: "set", "clear"
    std::string text;

    /// "netinfo limit set"
    std::string Name() const;
};

/// The pages of the program and of all its commands, as the built program tells them.
std::vector<HelpPage> ReadHelpPages();

/// The words that begin the lines of a section of a page, such as "Settings:".
std::set<std::string> WordsOfSection(const HelpPage& page, const std::string& heading);

}  // namespace nettest
