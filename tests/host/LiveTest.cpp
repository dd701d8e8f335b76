// The built program's live view, beside a service and on its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/ControlClient.h"
#include "host/Format.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Terminal.h"
#include "tests/support/Text.h"

using nettest::Program;
using nettest::Terminal;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* GIVEN_BACK = "\033[?7h\033[?25h";

struct LiveTest : nettest::ProgramTest
{
    LiveTest()
    {
        environment["NETINFO_SCRIPT"] = "beat";
        environment["NETINFO_SCRIPT_LOG"] = directory.File("log");
    }

    /// A service that listens.
    std::unique_ptr<Program> StartService()
    {
        auto service = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
        EXPECT_TRUE(service->WaitFor("connected"));
        return service;
    }
    /// The view, once it has shown the figures.
    std::unique_ptr<Program> StartView()
    {
        auto view = Start({"live"}, Program::Output::Terminal);
        EXPECT_TRUE(view->WaitFor("WiFi     down"));
        return view;
    }
    void ExpectTheServiceCountsOn(Program& service)
    {
        const auto client = netinfo::ControlClient::Find(directory.File("data") + "/");
        EXPECT_TRUE(client && *client);
        service.Signal(SIGTERM);
        EXPECT_EQ(service.Wait(), 0);
    }
};

bool Has(const std::vector<std::string>& screen, const std::string& text)
{
    return std::any_of(screen.begin(), screen.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

}  // namespace

TEST_F(LiveTest, ShowsWhatTheServiceCountsUntilCtrlC)
{
    const auto service = StartService();
    const auto view = Start({"live"}, Program::Output::Terminal);

    EXPECT_TRUE(view->WaitFor("\033[?25l"));
    EXPECT_TRUE(view->WaitFor("Ctrl-C ends the view"));
    EXPECT_TRUE(view->WaitFor("connected"));
    EXPECT_TRUE(view->WaitFor("1.00 KiB/s"));
    EXPECT_TRUE(view->WaitFor("WiFi     down"));
    EXPECT_TRUE(view->WaitFor("██"));  // the next second
    view->Type("\003");

    EXPECT_EQ(view->Wait(), 0);
    EXPECT_THAT(view->Text(), EndsWith(GIVEN_BACK));
    EXPECT_EQ(view->Errors(), "");
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, CountsItselfWhereNothingCounts)
{
    const auto view = Start({"live", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);

    EXPECT_TRUE(view->WaitFor("Ctrl-C ends\r"));
    EXPECT_TRUE(view->WaitFor("WiFi     down"));
    view->Signal(SIGTERM);

    EXPECT_EQ(view->Wait(), 0);
    EXPECT_THAT(view->Text(), EndsWith(GIVEN_BACK));
    EXPECT_THAT(nettest::ReadFile(directory.File("log")), HasSubstr("\nregister listener\n"));
    EXPECT_TRUE(std::filesystem::exists(DataFile("NetInfo.dat")));
}

TEST_F(LiveTest, PrintsALineForEachChangeOffATerminal)
{
    const auto service = StartService();
    const auto view = Start({"live", "--units", "bytes"});

    EXPECT_TRUE(view->WaitFor("  WiFi     connected"));
    EXPECT_TRUE(view->WaitFor("connection 4096 B / 2048 B"));
    view->Signal(SIGTERM);

    EXPECT_EQ(view->Wait(), 0);
    EXPECT_THAT(view->Text(), Not(HasSubstr("\033")));
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, PrintsJsonLines)
{
    const auto service = StartService();
    const auto view = Start({"live", "--json"}, Program::Output::Terminal);
    EXPECT_TRUE(view->WaitFor("\"wifi\""));
    EXPECT_TRUE(view->WaitFor("\n"));
    view->Signal(SIGTERM);

    EXPECT_EQ(view->Wait(), 0);
    EXPECT_THAT(view->Text(), HasSubstr("\"download_speed\":1024"));
    EXPECT_THAT(view->Text(), Not(HasSubstr("\033")));
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, GivesTheTerminalBackOnEverySignal)
{
    const auto service = StartService();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const auto view = StartView();
        view->Signal(signal);
        EXPECT_EQ(view->Wait(), 0) << signal;
        EXPECT_THAT(view->Text(), EndsWith(GIVEN_BACK)) << signal;
    }
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, GivesTheTerminalBackWhileItIsStopped)
{
    const auto service = StartService();
    const auto view = StartView();

    view->Type("\032");
    EXPECT_TRUE(view->WaitForStop());
    EXPECT_TRUE(view->WaitFor(GIVEN_BACK));
    view->Signal(SIGCONT);
    EXPECT_TRUE(view->WaitFor("\033[?25l"));
    EXPECT_TRUE(view->WaitFor("WiFi     down"));
    view->Signal(SIGTERM);

    EXPECT_EQ(view->Wait(), 0);
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, EndsWithOneLineWhenTheServiceDies)
{
    const auto service = StartService();
    const auto view = StartView();

    service->Signal(SIGKILL);

    EXPECT_EQ(view->Wait(), 1);
    EXPECT_THAT(view->Text(), EndsWith(GIVEN_BACK));
    EXPECT_THAT(view->Errors(), testing::StartsWith("netinfo: "));
    EXPECT_EQ(view->Errors().find('\n'), view->Errors().size() - 1) << view->Errors();
}

TEST_F(LiveTest, EndsWhenItsReaderOrItsTerminalGoes)
{
    const auto service = StartService();
    const auto view = StartView();
    view->CloseOutput();
    EXPECT_EQ(view->Wait(), 0);

    const auto lines = Start({"live"});
    EXPECT_TRUE(lines->WaitFor("connected"));
    lines->CloseOutput();
    EXPECT_EQ(lines->Wait(), 0);
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, SaysWhenItsOutputCannotBeWritten)
{
    const auto service = StartService();
    Program view({"/bin/sh", "-c", "exec \"$0\" live > /dev/full", NETINFO_PROGRAM}, environment);
    EXPECT_EQ(view.Wait(), 1);
    EXPECT_THAT(view.Errors(), HasSubstr("the output cannot be written: No space left"));
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, HasNoColourWhenAskedNotTo)
{
    const auto service = StartService();
    const auto view = Start({"live", "--color", "never"}, Program::Output::Terminal);
    EXPECT_TRUE(view->WaitFor("WiFi     down"));
    view->Signal(SIGTERM);
    EXPECT_EQ(view->Wait(), 0);
    EXPECT_THAT(view->Text(), Not(HasSubstr("\033[32m")));
    ExpectTheServiceCountsOn(*service);
}

TEST_F(LiveTest, FollowsTheSizeOfTheTerminal)
{
    if (!Terminal::IsThere()) GTEST_SKIP() << "there is no tmux";
    const auto service = StartService();
    environment.erase("TERM");
    Terminal terminal(80, 24, environment);
    const auto width = [](const std::vector<std::string>& screen) {
        std::size_t most = 0;
        for (const std::string& line : screen)
            most = std::max(most, netinfo::Width(line));
        return most;
    };

    terminal.Start(std::string(NETINFO_PROGRAM) + " live");
    EXPECT_TRUE(terminal.WaitFor([&](const auto& screen) {
        return Has(screen, "Up since reset") && Has(screen, "         up ") && width(screen) == 80;
    }));
    terminal.Resize(60, 12);
    EXPECT_TRUE(terminal.WaitFor([&](const auto& screen) {
        return !Has(screen, "since reset") && Has(screen, "         up ") && width(screen) == 60 &&
               screen.front().starts_with("netinfo  ");
    }));
    terminal.Resize(200, 40);
    EXPECT_TRUE(terminal.WaitFor([&](const auto& screen) {
        return Has(screen, "Up since reset") && width(screen) == 200 &&
               screen.front().starts_with("netinfo  ");
    }));
    terminal.Resize(30, 4);
    EXPECT_TRUE(terminal.WaitFor([&](const auto& screen) { return Has(screen, "State"); }));

    terminal.Press("C-c");
    EXPECT_TRUE(terminal.WaitForShell());
    EXPECT_TRUE(terminal.ShowsCursor());
    terminal.Resize(80, 40);  // for the answer to the next question
    EXPECT_TRUE(terminal.Echoes());
    ExpectTheServiceCountsOn(*service);
}
