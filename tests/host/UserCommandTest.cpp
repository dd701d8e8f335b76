#include "host/UserCommand.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using netinfo::UserCommand;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A pipe on which a command can be waited for: it ends when the last writer has.
class Ending
{
public:
    Ending()
    {
        EXPECT_EQ(0, mkfifo(m_directory.File("pipe").c_str(), 0600));
        m_reader = open(m_directory.File("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    ~Ending() { close(m_reader); }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    std::string Path() const { return m_directory.File("pipe"); }
    /// What was written until its end.
    std::string Await() const
    {
        std::string text;
        std::array<char, 4096> buffer{};
        for (;;) {
            pollfd wait{m_reader, POLLIN, 0};
            if (poll(&wait, 1, 30'000) <= 0) return text + "(nothing for half a minute)";
            const ssize_t length = read(m_reader, buffer.data(), buffer.size());
            if (length <= 0) return text;
            text.append(buffer.data(), static_cast<std::size_t>(length));
        }
    }

private:
    nettest::TempDir m_directory;
    int m_reader = -1;
};

/// What is to tell of the commands, once they have ended.
std::vector<std::string> Problems(UserCommand& commands, std::size_t count)
{
    std::vector<std::string> problems;
    while (problems.size() < count) {
        for (const std::string& problem : commands.Reap())
            problems.push_back(problem);
    }
    return problems;
}

TEST(UserCommand, GetsTheFactsInItsEnvironment)
{
    const Ending ending;
    setenv("NETINFO_LIMIT_USED", "old", 1);
    UserCommand commands;
    ASSERT_FALSE(
        commands.Start("exec >" + ending.Path() + "; echo \"$NETINFO_LIMIT_USED $NETINFO_LIMIT_MESSAGE\"",
                       {{"NETINFO_LIMIT_USED", "42"}, {"NETINFO_LIMIT_MESSAGE", "a 'b' \"c\" $d"}}));
    EXPECT_EQ("42 a 'b' \"c\" $d\n", ending.Await());
    EXPECT_EQ(std::string("old"), std::getenv("NETINFO_LIMIT_USED"));
}

TEST(UserCommand, IsNotWaitedFor)
{
    const Ending ending;
    UserCommand commands;
    // It goes on until the test has read from it, after both calls have come back.
    ASSERT_FALSE(commands.Start("exec 3>" + ending.Path() + "; while printf x >&3; do :; done", {}));
    EXPECT_THAT(commands.Reap(), IsEmpty());
    pollfd wait{open(ending.Path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), POLLIN, 0};
    EXPECT_EQ(1, poll(&wait, 1, 30'000));
    close(wait.fd);
}

TEST(UserCommand, StandsApartFromTheHostsSignalsAndFiles)
{
    const Ending ending;
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    const int file = open("/dev/null", O_RDONLY);  // not closed by itself on exec
    UserCommand commands;
    const std::string others = "/proc/self/fd/" + std::to_string(file);
    ASSERT_FALSE(commands.Start(
        "exec >" + ending.Path() + "; test -e " + others +
            " && echo file; grep -E 'SigBlk|SigIgn' /proc/self/status; cut -d' ' -f6 /proc/$$/stat; echo $$; "
            "test -t 0 || readlink /proc/self/fd/0",
        {}));
    const std::string text = ending.Await();
    EXPECT_THAT(text, testing::Not(HasSubstr("file")));
    EXPECT_THAT(text, HasSubstr("SigBlk:\t0000000000000000\n"));
    const std::size_t ignored = text.find("SigIgn:\t");
    ASSERT_NE(std::string::npos, ignored);
    // The two above 31 are the C library's own.
    EXPECT_EQ(0U, std::strtoull(text.c_str() + ignored + 8, nullptr, 16) & 0x7FFFFFFFU);
    EXPECT_THAT(text, HasSubstr("/dev/null"));
    const auto session = text.find('\n', text.find("SigIgn")) + 1;
    const auto process = text.find('\n', session) + 1;
    EXPECT_EQ(text.substr(session, process - session), text.substr(process, process - session))
        << "it leads a session of its own";
}

TEST(UserCommand, IsTakenNoteOfWhenItEnds)
{
    UserCommand commands;
    ASSERT_FALSE(commands.Start("exit 3", {}));
    EXPECT_THAT(Problems(commands, 1), ElementsAre("ended with exit code 3"));
    ASSERT_FALSE(commands.Start("kill -9 $$", {}));
    EXPECT_THAT(Problems(commands, 1), ElementsAre("was ended by signal 9"));
    ASSERT_FALSE(commands.Start("exit 0", {}));
    ASSERT_FALSE(commands.Start("/no/such/program 2>/dev/null", {}));
    EXPECT_THAT(Problems(commands, 1), ElementsAre("ended with exit code 127"));
    EXPECT_THAT(commands.Reap(), IsEmpty());
}

}  // namespace
