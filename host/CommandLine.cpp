#include "host/CommandLine.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <functional>
#include <string>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Output.h"

namespace netinfo {
namespace {

/// Opens what the caller left closed of standard input, output and error, so that no file of ours takes its
/// number and gets what was meant for people.
void OpenStandardStreams()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
}

/// The command line. Parsing it only notes what is to be done; `Run` does it.
class CommandLine
{
public:
    CommandLine();

    int Run(int argc, char** argv);

private:
    CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description);
    void AddModule(CLI::App& command);
    void AddJson(CLI::App& command);

    void AddRun();

    CLI::App m_app{"netinfo counts the traffic of this machine's dial-up, WiFi and ADSL connections.",
                   "netinfo"};
    CommonOptions m_common;
    std::function<int()> m_command;  ///< what the command line asks for
};

CommandLine::CommandLine()
{
    m_app.set_version_flag("--version", "netinfo " NETINFO_VERSION, "Show the version");
    m_app.set_help_flag("-h,--help", "Show this help");
    m_app.require_subcommand(1);
    m_app.footer(
        "Examples:\n"
        "  netinfo run                          count, and show a table until Ctrl-C\n"
        "\n"
        "Exit codes: 0 done, 1 failed, 2 wrong usage.");
    AddRun();
}

CLI::App* CommandLine::AddCommand(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const command = parent.add_subcommand(name, description);
    command->set_help_flag("-h,--help", "Show this help");
    return command;
}

void CommandLine::AddModule(CLI::App& command)
{
    command.add_option("--module", m_common.modulePath, "The plug-in's module, if not the installed one")
        ->option_text("PATH");
}

void CommandLine::AddJson(CLI::App& command)
{
    command.add_flag("--json", m_common.json, "JSON, for programs");
}

void CommandLine::AddRun()
{
    CLI::App* const run = AddCommand(m_app, "run", "Count, and show the figures until Ctrl-C");
    run->footer(
        "On a terminal a table is redrawn every second. Elsewhere, and with --json, there is one line for "
        "each\n"
        "change of the figures. Ctrl-C, SIGTERM and the end of the terminal save and end.");
    AddModule(*run);
    AddJson(*run);
    run->callback([this] { m_command = [this] { return RunCommand(m_common); }; });
}

int CommandLine::Run(int argc, char** argv)
{
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::Success& request) {  // help or version
        return m_app.exit(request) == 0 ? EXIT_DONE : EXIT_FAILED;
    } catch (const CLI::ParseError& error) {
        return Fail({fmt::format("{}; see netinfo --help", Printable(error.what())), EXIT_USAGE});
    }
    return m_command();
}

}  // namespace

int Main(int argc, char** argv)
{
    OpenStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone shows in the write
    try {
        return CommandLine().Run(argc, argv);
    } catch (const std::exception& exception) {
        return Fail({fmt::format("ended by an error: {}", Printable(exception.what()))});
    } catch (...) {
        return Fail({"ended by an error of the module"});
    }
}

}  // namespace netinfo
