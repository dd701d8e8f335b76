#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace nettest {

/// A program under test, from its start to its end, which comes at the latest with the object's: a child that
/// is still there then is killed.
///
/// Nothing here waits longer than half a minute of real time.
class Program
{
public:
    enum class Output
    {
        Pipe,
        Terminal  ///< its controlling terminal, 80 by 24; standard error is still a pipe
    };

    /// `environment` is added to that of the test; an empty value removes the variable.
    Program(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment,
            Output output = Output::Pipe);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t Id() const { return m_child; }
    /// Sends `text` to its standard input: keys, on a terminal.
    void Type(const std::string& text);
    /// Ends its standard input.
    void EndInput();
    /// True once its standard output has `text` beyond what an earlier call found.
    bool WaitFor(const std::string& text);
    /// True once the signal has stopped it.
    bool WaitForStop();
    void Signal(int number);
    /// Closes our end of its output: the reader goes, or the terminal.
    void CloseOutput();
    /// Its exit code, or minus the signal that ended it; -1000 if it does not end.
    int Wait();

    /// All that it has written; complete after `Wait`.
    const std::string& Text() const { return m_text; }
    const std::string& Errors() const { return m_errors; }

private:
    bool ReadSome(int milliseconds);

    pid_t m_child = -1;
    int m_input = -1;
    int m_output = -1;
    int m_error = -1;
    std::string m_text;
    std::string m_errors;
    std::size_t m_found = 0;  ///< how much of the text earlier searches have used up
};

}  // namespace nettest
