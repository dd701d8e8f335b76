#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace nettest {

/// A terminal with a shell in it, kept by a tmux server of its own: what stands on it is what a person would
/// see. The server ends with the object, and with it everything that runs in the terminal.
///
/// Nothing here waits longer than half a minute of real time.
class Terminal
{
public:
    /// `environment` is added to that of the test; an empty value removes the variable.
    Terminal(std::size_t columns, std::size_t rows, std::map<std::string, std::string> environment);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// False where there is no tmux.
    static bool IsThere();

    /// Executes a line on an empty screen, waits until the shell is ready again, and returns what stands
    /// there.
    std::vector<std::string> Execute(const std::string& line);
    /// Executes a line on an empty screen and waits for nothing.
    void Start(const std::string& line);
    /// Sends keys by their names, such as "C-c".
    void Press(const std::string& key);
    void Resize(std::size_t columns, std::size_t rows);

    /// The lines of the screen without spaces at their ends and without empty lines at its end.
    std::vector<std::string> Screen();
    /// The same with the control sequences of its colours.
    std::vector<std::string> ColouredScreen();
    /// The same with every line that reached beyond the margin in one piece.
    std::vector<std::string> UnwrappedScreen();
    /// True once the screen is as wanted.
    bool WaitFor(const std::function<bool(const std::vector<std::string>&)>& wanted);
    /// True once the shell waits for a line.
    bool WaitForShell();

    bool ShowsCursor();
    /// True if what is typed is shown.
    bool Echoes();

private:
    std::string Ask(std::vector<std::string> words);
    std::vector<std::string> Capture(const std::string& how);

    const TempDir m_directory;
    const std::map<std::string, std::string> m_environment;
    unsigned m_line = 0;  ///< how many lines were executed
};

}  // namespace nettest
