#include "tests/support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace nettest {
namespace {

constexpr int LIMIT = 30'000;  // milliseconds

struct Pipe
{
    int reader = -1;
    int writer = -1;
};

Pipe MakePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    return {ends[0], ends[1]};
}

void Close(int& descriptor)
{
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

long long Now()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

/// Appends what can be read to `text`; closes the descriptor at its end.
void ReadInto(int& descriptor, std::string& text)
{
    std::array<char, 4096> buffer{};
    const ssize_t length = read(descriptor, buffer.data(), buffer.size());
    if (length > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    } else if (length == 0 || errno != EINTR) {  // a terminal whose program has ended gives an error
        Close(descriptor);
    }
}

[[noreturn]] void BecomeProgram(const std::vector<std::string>& words,
                                const std::map<std::string, std::string>& environment)
{
    for (const auto& [name, value] : environment) {
        if (value.empty()) {
            unsetenv(name.c_str());
        } else {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

Program::Program(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment,
                 Output output)
{
    Pipe error = MakePipe();
    if (output == Output::Terminal) {
        winsize size{};
        size.ws_col = 80;
        size.ws_row = 24;
        m_child = forkpty(&m_output, nullptr, nullptr, &size);
        if (m_child == 0) {
            dup2(error.writer, STDERR_FILENO);
            BecomeProgram(words, environment);
        }
        fcntl(m_output, F_SETFD, FD_CLOEXEC);
        m_input = fcntl(m_output, F_DUPFD_CLOEXEC, 0);
    } else {
        Pipe in = MakePipe();
        Pipe out = MakePipe();
        m_child = fork();
        if (m_child == 0) {
            dup2(in.reader, STDIN_FILENO);
            dup2(out.writer, STDOUT_FILENO);
            dup2(error.writer, STDERR_FILENO);
            BecomeProgram(words, environment);
        }
        m_input = in.writer;
        m_output = out.reader;
        Close(in.reader);
        Close(out.writer);
    }
    m_error = error.reader;
    Close(error.writer);
    if (m_child < 0) throw std::runtime_error("no process can be made");
    std::signal(SIGPIPE, SIG_IGN);
}

Program::~Program()
{
    if (m_child > 0) {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    EndInput();
    Close(m_output);
    Close(m_error);
}

void Program::Type(const std::string& text)
{
    if (write(m_input, text.data(), text.size()) < 0) EndInput();
}

void Program::EndInput() { Close(m_input); }

void Program::CloseOutput()
{
    EndInput();
    Close(m_output);
}

void Program::Signal(int number) { kill(m_child, number); }

/// False once both outputs have ended, or when nothing came in time.
bool Program::ReadSome(int milliseconds)
{
    std::array<pollfd, 2> waits{pollfd{m_output, POLLIN, 0}, pollfd{m_error, POLLIN, 0}};
    if (m_output < 0 && m_error < 0) return false;
    if (poll(waits.data(), waits.size(), milliseconds) <= 0) return false;
    if (waits[0].revents != 0) ReadInto(m_output, m_text);
    if (waits[1].revents != 0) ReadInto(m_error, m_errors);
    return true;
}

bool Program::WaitFor(const std::string& text)
{
    const long long end = Now() + LIMIT;
    while (true) {
        const std::size_t at = m_text.find(text, m_found);
        if (at != std::string::npos) {
            m_found = at + text.size();
            return true;
        }
        const long long left = end - Now();
        if (left <= 0 || m_output < 0) return false;
        ReadSome(static_cast<int>(left));
    }
}

bool Program::WaitForStop()
{
    int status = 0;
    if (waitpid(m_child, &status, WUNTRACED) != m_child) return false;
    if (WIFSTOPPED(status)) return true;
    m_child = -1;
    return false;
}

int Program::Wait()
{
    const long long end = Now() + LIMIT;
    while (ReadSome(static_cast<int>(end - Now())) && Now() < end)
        continue;  // both outputs end with the program

    if (Now() >= end) kill(m_child, SIGKILL);
    int status = 0;
    if (waitpid(m_child, &status, 0) != m_child) return -1000;
    m_child = -1;
    if (Now() >= end) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace nettest
