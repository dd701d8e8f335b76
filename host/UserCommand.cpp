#include "host/UserCommand.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

namespace netinfo {
namespace {

/// The program's environment with `variables` in the place of its own of those names.
std::vector<std::string> EnvironmentWith(const UserCommand::Variables& variables)
{
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::string_view name = text.substr(0, text.find('='));
        const bool replaced = std::any_of(variables.begin(), variables.end(),
                                          [&](const auto& variable) { return variable.first == name; });
        if (!replaced) entries.emplace_back(text);
    }
    for (const auto& [name, value] : variables)
        entries.push_back(fmt::format("{}={}", name, value));
    return entries;
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

std::optional<std::string> UserCommand::Start(const std::string& command, const Variables& variables)
{
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);

    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);

    std::vector<std::string> words{"/bin/sh", "-c", command};
    std::vector<std::string> environment = EnvironmentWith(variables);
    pid_t child = -1;
    const int error = posix_spawn(&child, words.front().c_str(), &files, &attributes, Pointers(words).data(),
                                  Pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) return std::strerror(error);
    m_running.push_back(child);
    return std::nullopt;
}

std::vector<std::string> UserCommand::Reap()
{
    std::vector<std::string> problems;
    std::erase_if(m_running, [&](pid_t child) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == 0) return false;
        if (ended < 0) return errno != EINTR;
        if (WIFSIGNALED(status)) problems.push_back(fmt::format("was ended by signal {}", WTERMSIG(status)));
        if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
            problems.push_back(fmt::format("ended with exit code {}", WEXITSTATUS(status)));
        return true;
    });
    return problems;
}

}  // namespace netinfo
