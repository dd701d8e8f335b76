#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Program.h"
#include "tests/support/TempDir.h"

namespace nettest {

/// A shell of its own with our completions loaded, asked what it offers for the last word of a command line.
class Shell
{
public:
    virtual ~Shell() = default;

    /// The words that it offers when the tabulator is pressed behind these, the last of which may be empty.
    virtual std::set<std::string> Offers(const std::vector<std::string>& words) = 0;

    /// Where its `netinfo` has its data.
    std::string DataDirectory() const { return m_directory.File("data"); }

    /// "bash", "fish" or "zsh"; null where there is no such shell.
    static std::unique_ptr<Shell> Open(const std::string& name);

protected:
    const TempDir m_directory;
};

}  // namespace nettest
