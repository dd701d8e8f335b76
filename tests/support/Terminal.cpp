#include "tests/support/Terminal.h"

#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/support/Program.h"
#include "tests/support/Text.h"

namespace nettest {
namespace {

constexpr const char* TMUX = "/usr/bin/tmux";
constexpr std::chrono::seconds LIMIT{30};
constexpr useconds_t PAUSE = 10'000;  // microseconds between two looks at the screen

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

std::map<std::string, std::string> WithShell(std::map<std::string, std::string> environment)
{
    environment["ENV"] = "";
    environment["TMUX"] = "";
    environment["LC_ALL"] = "C.UTF-8";
    return environment;
}

}  // namespace

Terminal::Terminal(std::size_t columns, std::size_t rows, std::map<std::string, std::string> environment)
    : m_environment(WithShell(std::move(environment)))
{
    WriteFile(m_directory.File("configuration"), "set -g status off\n");
    // A test that is killed leaves a shell that ends by itself: when its terminal is said to go, for it is
    // deaf to a mere request.
    Ask({"new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows),
         "exec timeout --foreground --signal=HUP --kill-after=5 110 /bin/sh"});
    Start("PS1='ready $LINE '");  // some shells have one of their own for root
    if (WaitForShell()) return;
    Ask({"kill-server"});  // there will be no object to do it
    throw std::runtime_error("no shell in the terminal");
}

Terminal::~Terminal()
{
    try {
        Ask({"kill-server"});
    } catch (const std::exception&) {
        return;  // it has ended already
    }
}

bool Terminal::IsThere() { return access(TMUX, X_OK) == 0; }

std::vector<std::string> Terminal::Execute(const std::string& line)
{
    Start(line);
    if (!WaitForShell()) throw std::runtime_error("no end of: " + line);
    std::vector<std::string> lines = Screen();
    lines.pop_back();
    return lines;
}

void Terminal::Start(const std::string& line)
{
    // The prompt tells which line it follows: an earlier one may still be there.
    Ask({"send-keys", "-l", "LINE=" + std::to_string(++m_line) + "; printf '\\033c'; " + line});
    Press("Enter");
}

void Terminal::Press(const std::string& key) { Ask({"send-keys", key}); }

void Terminal::Resize(std::size_t columns, std::size_t rows)
{
    Ask({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(rows)});
}

std::vector<std::string> Terminal::Screen() { return Capture("-p"); }

std::vector<std::string> Terminal::ColouredScreen() { return Capture("-pe"); }

std::vector<std::string> Terminal::UnwrappedScreen() { return Capture("-pJ"); }

bool Terminal::WaitFor(const std::function<bool(const std::vector<std::string>&)>& wanted)
{
    const auto end = std::chrono::steady_clock::now() + LIMIT;
    while (!wanted(Screen())) {
        if (std::chrono::steady_clock::now() > end) return false;
        usleep(PAUSE);
    }
    return true;
}

bool Terminal::WaitForShell()
{
    const std::string prompt = "ready " + std::to_string(m_line);
    return WaitFor([&](const auto& lines) { return !lines.empty() && lines.back() == prompt; });
}

bool Terminal::ShowsCursor() { return Ask({"display-message", "-p", "#{cursor_flag}"}) == "1\n"; }

bool Terminal::Echoes()
{
    for (const std::string& line : Execute("stty -a")) {
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            if (word == "echo") return true;
        }
    }
    return false;
}

std::vector<std::string> Terminal::Capture(const std::string& how)
{
    return LinesOf(Ask({"capture-pane", how}));
}

std::string Terminal::Ask(std::vector<std::string> words)
{
    const std::vector<std::string> server{
        TMUX, "-u", "-S", m_directory.File("socket"), "-f", m_directory.File("configuration")};
    words.insert(words.begin(), server.begin(), server.end());
    Program tmux(words, m_environment);
    tmux.EndInput();
    if (tmux.Wait() != 0) throw std::runtime_error("tmux " + words[server.size()] + ": " + tmux.Errors());
    return tmux.Text();
}

}  // namespace nettest
