#include "host/LiveOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include "host/Screen.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::LiveOutput;
using netinfo::Screen;

namespace {

struct Ends
{
    int reader = -1;
    int writer = -1;

    ~Ends()
    {
        CloseReader();
        if (writer >= 0) close(writer);
    }
    void CloseReader()
    {
        if (reader >= 0) close(reader);
        reader = -1;
    }
    std::string Read() const
    {
        std::string text(1 << 16, '\0');
        const ssize_t length = read(reader, text.data(), text.size());
        text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return text;
    }
};

Ends Pipe()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return {ends[0], ends[1]};
}

Ends SocketPair()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return {ends[0], ends[1]};
}

Ends Terminal()
{
    Ends ends;
    EXPECT_EQ(openpty(&ends.reader, &ends.writer, nullptr, nullptr, nullptr), 0);
    return ends;
}

struct LiveOutputTest : testing::Test
{
    void SetUp() override { std::signal(SIGPIPE, SIG_IGN); }
};

}  // namespace

TEST_F(LiveOutputTest, WritesAtOnce)
{
    for (auto* const make : {&Pipe, &SocketPair, &Terminal}) {
        const Ends ends = make();
        LiveOutput output(ends.writer);

        EXPECT_TRUE(output.Send("hello"));
        EXPECT_TRUE(output.Idle());
        EXPECT_EQ(ends.Read(), "hello");
    }
}

TEST_F(LiveOutputTest, NeverWaitsForAReaderThatPauses)
{
    for (auto* const make : {&Pipe, &SocketPair, &Terminal}) {
        const Ends ends = make();
        LiveOutput output(ends.writer);
        const std::string line(1000, 'x');
        int sent = 0;
        while (output.Send(line) && sent < 5000)
            ++sent;

        EXPECT_LT(sent, 5000);  // it refuses more in the end
        EXPECT_FALSE(output.Idle());
        EXPECT_EQ(output.Error(), 0);
    }
}

TEST_F(LiveOutputTest, GoesOnWhereItStoppedOnceTheReaderReads)
{
    const Ends ends = Pipe();
    LiveOutput output(ends.writer);
    std::string sent;
    for (int i = 0; output.Idle(); ++i) {
        const std::string line = "line " + std::to_string(i) + "\n";
        ASSERT_TRUE(output.Send(line));
        sent += line;
    }
    std::string received = ends.Read();
    output.Flush();
    EXPECT_TRUE(output.Idle());
    received += ends.Read();

    EXPECT_EQ(received, sent);
}

TEST_F(LiveOutputTest, LeavesTheSharedDescriptorAsItWas)
{
    const Ends ends = Pipe();
    const int before = fcntl(ends.writer, F_GETFL);
    const LiveOutput output(ends.writer);

    EXPECT_EQ(fcntl(ends.writer, F_GETFL), before);
}

TEST_F(LiveOutputTest, SeesThatTheReaderHasGone)
{
    Ends ends = Pipe();
    LiveOutput output(ends.writer);
    ends.CloseReader();

    output.Send("hello");

    EXPECT_EQ(output.Error(), EPIPE);
    EXPECT_TRUE(output.Idle());
}

TEST_F(LiveOutputTest, SeesThatTheReaderHadGoneBefore)
{
    Ends ends = Pipe();
    ends.CloseReader();
    LiveOutput output(ends.writer);

    output.Send("hello");

    EXPECT_EQ(output.Error(), EPIPE);
}

TEST_F(LiveOutputTest, SeesAFullDisk)
{
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    LiveOutput output(full);
    close(full);

    output.Send("hello");

    EXPECT_EQ(output.Error(), ENOSPC);
}

TEST_F(LiveOutputTest, AppendsToAFileWhereTheCallerStands)
{
    const nettest::TempDir directory;
    const int file = open(directory.File("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(write(file, "before ", 7), 7);
    LiveOutput output(file);

    output.Send("after");

    close(file);
    EXPECT_EQ(nettest::ReadFile(directory.File("out")), "before after");
}

TEST_F(LiveOutputTest, FinishesWithinItsLimit)
{
    const Ends ends = Pipe();
    LiveOutput output(ends.writer);
    while (output.Idle())
        output.Send(std::string(1000, 'x'));

    output.Finish(20);

    EXPECT_FALSE(output.Idle());
    ends.Read();
    output.Finish(20);
    EXPECT_TRUE(output.Idle());
}

TEST(Screen, DrawsOverWhatItDrewBefore)
{
    Screen screen;

    EXPECT_EQ(screen.Begin(), "\033[?25l\033[?7l");
    EXPECT_EQ(screen.Begin(), "");
    EXPECT_EQ(screen.Draw({"a", "b"}, 24), "\r\033[Ka\r\n\033[Kb\r\n\033[J");
    EXPECT_EQ(screen.Draw({"c"}, 24), "\r\033[2A\033[Kc\r\n\033[J");
    EXPECT_EQ(screen.Draw({"d"}, 24), "\r\033[1A\033[Kd\r\n\033[J");
    EXPECT_EQ(screen.End(), "\033[?7h\033[?25h");
    EXPECT_EQ(screen.End(), "");
}

TEST(Screen, StaysInsideALowTerminal)
{
    Screen screen;
    EXPECT_EQ(screen.Draw({"a", "b", "c", "d"}, 3), "\r\033[Ka\r\n\033[Kb\r\n\033[J");
    EXPECT_EQ(screen.Draw({"a", "b"}, 0), "\r\033[1A\033[Ka\r\n\033[J");
}

TEST(Screen, IsOnlyForTerminalsThatCanRedraw)
{
    const Ends terminal = Terminal();
    const Ends pipe = Pipe();

    setenv("TERM", "xterm", 1);
    EXPECT_TRUE(netinfo::CanRedraw(terminal.writer));
    EXPECT_FALSE(netinfo::CanRedraw(pipe.writer));
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(netinfo::CanRedraw(terminal.writer));
    unsetenv("TERM");
    EXPECT_FALSE(netinfo::CanRedraw(terminal.writer));
}

TEST(Screen, KnowsTheSizeOfATerminalAndACustomaryOneElse)
{
    const Ends pipe = Pipe();
    EXPECT_EQ(netinfo::SizeOfTerminal(pipe.writer).columns, 80U);
    EXPECT_EQ(netinfo::SizeOfTerminal(pipe.writer).rows, 24U);

    Ends terminal;
    winsize size{};
    size.ws_col = 132;
    size.ws_row = 50;
    ASSERT_EQ(openpty(&terminal.reader, &terminal.writer, nullptr, nullptr, &size), 0);
    EXPECT_EQ(netinfo::SizeOfTerminal(terminal.writer).columns, 132U);
    EXPECT_EQ(netinfo::SizeOfTerminal(terminal.writer).rows, 50U);
}
