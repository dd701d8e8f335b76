#include "tests/packaging/Shell.h"

#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "tests/support/Text.h"

namespace nettest {
namespace {

const std::string COMPLETIONS = NETINFO_SOURCE_DIR "/packaging/completions/";

/// The built program is the `netinfo` of the shell, and it has data of its own.
std::map<std::string, std::string> EnvironmentIn(const TempDir& directory)
{
    const std::string folder = std::filesystem::path(NETINFO_PROGRAM).parent_path();
    return {{"PATH", folder + ":/usr/bin:/bin"},
            {"HOME", directory.Path()},
            {"NETINFO_DATA_DIR", directory.File("data")},
            {"NETINFO_CONFIG_DIR", directory.File("config")},
            {"XDG_CONFIG_HOME", ""},
            {"XDG_DATA_HOME", ""},
            {"XDG_STATE_HOME", ""},
            {"TERM", "xterm"},
            {"ZDOTDIR", directory.Path()}};
}

std::set<std::string> Lines(const std::string& text)
{
    std::set<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.insert(line.substr(0, line.find('\t')));  // a description follows
    lines.erase("");
    return lines;
}

std::string Joined(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

std::set<std::string> LinesOf(const std::vector<std::string>& command,
                              const std::map<std::string, std::string>& environment)
{
    Program program(command, environment);
    program.EndInput();
    if (program.Wait() != 0 || !program.Errors().empty())
        throw std::runtime_error(command.front() + " says: " + program.Errors());
    return Lines(program.Text());
}

/// Bash itself calls the function with the line split into words, at '=' as well.
class Bash final : public Shell
{
public:
    std::set<std::string> Offers(const std::vector<std::string>& words) override
    {
        std::vector<std::string> command{
            "/bin/bash",
            "--norc",
            "--noprofile",
            "-c",
            "source \"$0\"; [[ $(complete -p netinfo) == *_netinfo* ]] || exit 1; "
            "COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _netinfo; "
            "printf '%s\\n' \"${COMPREPLY[@]}\"",
            COMPLETIONS + "netinfo.bash"};
        for (const std::string& word : words) {
            const std::size_t at = word.starts_with("--") ? word.find('=') : std::string::npos;
            command.push_back(word.substr(0, at));
            if (at == std::string::npos) continue;
            command.emplace_back("=");
            if (at + 1 < word.size()) command.push_back(word.substr(at + 1));
        }
        return LinesOf(command, EnvironmentIn(m_directory));
    }
};

class Fish final : public Shell
{
public:
    std::set<std::string> Offers(const std::vector<std::string>& words) override
    {
        return LinesOf({"/usr/bin/fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
                        COMPLETIONS + "netinfo.fish", Joined(words)},
                       EnvironmentIn(m_directory));
    }
};

/// An interactive zsh, because its completion works nowhere else: it notes what is added to the matches.
class Zsh final : public Shell
{
public:
    Zsh()
    {
        WriteFile(m_directory.File(".zshrc"),
                  "PS1='ready> '\n"
                  "fpath=(" +
                      COMPLETIONS +
                      " $fpath)\n"
                      "autoload -Uz compinit; compinit -u -D\n"
                      "zstyle ':completion:*' insert-tab false\n"
                      "LISTMAX=10000\n"
                      "compadd() {\n"
                      "    local -a offered\n"
                      "    (( ${@[(I)-(O|A|D)*]} )) || builtin compadd -A offered \"$@\"\n"
                      "    print -rl -- $offered >> " +
                      Noted() +
                      "\n"
                      "    builtin compadd \"$@\"\n"
                      "}\n"
                      "noted() { BUFFER=; print -n 'all noted' }\n"
                      "zle -N noted\n"
                      "bindkey '^Xn' noted\n");
        m_program = std::make_unique<Program>(std::vector<std::string>{"/usr/bin/zsh", "-d", "-i"},
                                              EnvironmentIn(m_directory), Program::Output::Terminal);
        if (!m_program->WaitFor("ready> ")) throw std::runtime_error("zsh does not start");
    }

    std::set<std::string> Offers(const std::vector<std::string>& words) override
    {
        WriteFile(Noted(), "");
        m_program->Type(Joined(words) + "\t\030n");
        if (!m_program->WaitFor("all noted")) throw std::runtime_error("zsh does not answer");
        return Lines(ReadFile(Noted()));
    }

private:
    std::string Noted() const { return m_directory.File("noted"); }

    std::unique_ptr<Program> m_program;
};

}  // namespace

std::unique_ptr<Shell> Shell::Open(const std::string& name)
{
    const std::string path = name == "bash" ? "/bin/bash" : "/usr/bin/" + name;
    if (access(path.c_str(), X_OK) != 0) return nullptr;
    if (name == "bash") return std::make_unique<Bash>();
    if (name == "fish") return std::make_unique<Fish>();
    return std::make_unique<Zsh>();
}

}  // namespace nettest
