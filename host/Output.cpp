#include "host/Output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/Format.h"

namespace netinfo {
namespace {

/// 0, or the error number of the write that failed.
int WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t length = write(descriptor, text.data(), text.size());
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) return errno;
        text.remove_prefix(static_cast<std::size_t>(length));
    }
    return 0;
}

}  // namespace

void Complain(std::string_view message) { WriteAll(STDERR_FILENO, fmt::format("netinfo: {}\n", message)); }

int Fail(const Failure& failure)
{
    Complain(failure.message);
    return failure.exitCode;
}

int Print(std::string_view text)
{
    const int error = WriteAll(STDOUT_FILENO, text);
    if (error == 0 || error == EPIPE) return EXIT_DONE;
    return Fail({fmt::format("the output cannot be written: {}", std::strerror(error))});
}

bool Confirm(std::string_view question)
{
    WriteAll(STDERR_FILENO, fmt::format("{} [y/N] ", question));

    std::string answer;
    char byte = 0;
    while (answer.size() < 16 && read(STDIN_FILENO, &byte, 1) == 1 && byte != '\n')
        answer += byte;
    answer = LowerCase(answer);
    return answer == "y" || answer == "yes";
}

}  // namespace netinfo
