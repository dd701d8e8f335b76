#include "host/CommandLine.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <functional>
#include <string>
#include <vector>

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
    void AddReport();
    void AddHistory();
    void AddRecords();
    void AddReset();
    void AddUsage();
    void AddLimit();
    void AddSettings();
    void AddDevices();

    CLI::App m_app{"netinfo counts the traffic of this machine's dial-up, WiFi and ADSL connections.",
                   "netinfo"};
    CommonOptions m_common;
    std::string m_since;
    std::vector<std::string> m_indexes;
    std::string m_type;
    std::string m_key;
    std::string m_value;
    UsageWords m_usage;
    LimitWords m_limit;
    bool m_csv = false;
    bool m_last = false;
    bool m_yes = false;
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
        "  netinfo usage --by month             what each month has used\n"
        "  netinfo limit set 20GB --warn 80%    be warned before 20 GB a month are used\n"
        "  netinfo report                       today, this week, this month, this year, since the reset\n"
        "  netinfo history --since 7d           what ended in the last seven days\n"
        "  netinfo records remove 0-4           remove the five oldest connection records\n"
        "  netinfo reset wifi --yes             start the totals of WiFi anew\n"
        "  netinfo settings set week-start monday\n"
        "  netinfo settings set link.eth0 wifi  count eth0 as WiFi\n"
        "  netinfo devices                      every link, and what it is counted as\n"
        "\n"
        "Exit codes: 0 done, 1 failed, 2 wrong usage.");
    AddRun();
    AddReport();
    AddHistory();
    AddRecords();
    AddReset();
    AddUsage();
    AddLimit();
    AddSettings();
    AddDevices();
}

CLI::App* CommandLine::AddCommand(CLI::App& parent, const std::string& name, const std::string& description)
{
    CLI::App* const command = parent.add_subcommand(name, description);
    command->set_help_flag("-h,--help", "Show this help");
    command->footer("");  // the program's own footer would be taken over
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

void CommandLine::AddReport()
{
    CLI::App* const report = AddCommand(m_app, "report", "Show the totals of every type and period");
    report->footer(
        "The connected time of all types together stands with the type that the data file has first.");
    AddModule(*report);
    AddJson(*report);
    report->callback([this] { m_command = [this] { return ReportCommand(m_common); }; });
}

void CommandLine::AddHistory()
{
    CLI::App* const history =
        AddCommand(m_app, "history", "Show the traffic of the connections that ended since");
    history->add_option("--since", m_since, "2024-05-01, '2024-05-01 12:30', or a span: 30m, 12h, 7d, 4w")
        ->option_text("WHEN")
        ->required();
    history->footer("A connection counts with all of its traffic by its end; all that ended today count.");
    AddModule(*history);
    AddJson(*history);
    history->callback([this] { m_command = [this] { return HistoryCommand(m_common, m_since); }; });
}

void CommandLine::AddRecords()
{
    CLI::App* const records = AddCommand(m_app, "records", "Show or remove the connection records");
    records->add_flag("--last", m_last, "The last record only");
    AddModule(*records);
    AddJson(*records);
    records->callback([this] {
        if (!m_command) m_command = [this] { return RecordsCommand(m_common, m_last); };
    });

    CLI::App* const remove = AddCommand(*records, "remove", "Remove connection records for good");
    remove->allow_extras();  // they begin with a dash: negative numbers get a word of their own
    remove->add_option("INDEX", m_indexes, "Indexes (3) and ranges (2-5) as the list shows them")
        ->option_text(" ");
    remove->add_flag("--yes", m_yes, "Do not ask");
    AddModule(*remove);
    AddJson(*remove);
    remove->callback([this, remove] {
        for (const std::string& extra : remove->remaining())
            m_indexes.push_back(extra);
        if (m_indexes.empty()) throw CLI::RequiredError("INDEX");
        m_command = [this] { return RemoveRecordsCommand(m_common, m_indexes, m_yes); };
    });
}

void CommandLine::AddReset()
{
    CLI::App* const reset = AddCommand(m_app, "reset", "Start the totals of a type anew");
    reset->add_option("TYPE", m_type, "dial-up, wifi or adsl")->option_text(" ")->required();
    reset->add_flag("--yes", m_yes, "Do not ask");
    reset->footer("All connection records but the last are removed as well, whatever their type.");
    AddModule(*reset);
    AddJson(*reset);
    reset->callback([this] { m_command = [this] { return ResetCommand(m_common, m_type, m_yes); }; });
}

void CommandLine::AddUsage()
{
    CLI::App* const usage = AddCommand(m_app, "usage", "Show what was used, by hour, day, week, month ...");
    usage->add_option("--by", m_usage.by, "hour, day (default), week, month, year, type or profile")
        ->option_text("WHAT");
    usage->add_option("--from", m_usage.from, "2024-05-01, '2024-05-01 12:00', or a span back: 12h, 7d, 4w")
        ->option_text("WHEN");
    usage->add_option("--to", m_usage.to, "The same; a date means the end of that day")->option_text("WHEN");
    usage->add_option("--last", m_usage.last, "So many hours, days ..., the present one included")
        ->option_text("N");
    usage->add_option("--type", m_usage.type, "dial-up, wifi or adsl alone")->option_text("TYPE");
    usage->add_option("--top", m_usage.top, "The N with the most traffic, the busiest first")
        ->option_text("N");
    CLI::Option* const csv = usage->add_flag("--csv", m_csv, "Comma-separated values, for spreadsheets");
    usage->add_flag("--json", m_common.json, "JSON, for programs")->excludes(csv);
    usage->footer(
        "Examples:\n"
        "  netinfo usage                        the last 30 days\n"
        "  netinfo usage --by month --last 6    six months; they begin on the day that the settings say\n"
        "  netinfo usage --by hour --from 2024-05-01 --to 2024-05-01\n"
        "  netinfo usage --by day --from 2024-01-01 --top 10\n"
        "  netinfo usage --by profile --type wifi --from 30d\n"
        "\n"
        "Kept are whole hours, each of which counts by its start.");
    usage->callback([this] {
        const UsageOutput output = m_csv           ? UsageOutput::AsCsv
                                   : m_common.json ? UsageOutput::AsJson
                                                   : UsageOutput::AsTable;
        m_command = [this, output] { return UsageCommand(m_usage, output); };
    });
}

void CommandLine::AddLimit()
{
    CLI::App* const limit = AddCommand(m_app, "limit", "Show how much of the limit is used, or change it");
    limit->require_subcommand(0, 1);
    limit->footer(
        "Examples:\n"
        "  netinfo limit set 20GB                     a month, with a warning at 80 %\n"
        "  netinfo limit set 500MiB --per day --type wifi --warn 90%\n"
        "  netinfo settings set limit-command 'notify-send \"$NETINFO_LIMIT_MESSAGE\"'\n"
        "\n"
        "GB is decimal, GiB binary. Months and weeks begin on the days that the settings say. The running\n"
        "netinfo warns once in a period at the warning and once at the limit, and runs the command.");
    AddJson(*limit);
    limit->callback([this] {
        if (!m_command) m_command = [this] { return ShowLimitCommand(m_common.json); };
    });

    CLI::App* const set = AddCommand(*limit, "set", "Set the limit");
    set->add_option("AMOUNT", m_limit.amount, "20GB, 18.5GiB or bytes")->option_text(" ")->required();
    set->add_option("--per", m_limit.per, "month (default), week or day")->option_text("PERIOD");
    set->add_option("--warn", m_limit.warn, "Warn at that part of it; default 80%")->option_text("PERCENT");
    set->add_option("--type", m_limit.type, "Of dial-up, wifi or adsl alone")->option_text("TYPE");
    AddJson(*set);
    set->callback([this] { m_command = [this] { return SetLimitCommand(m_limit, m_common.json); }; });

    CLI::App* const clear = AddCommand(*limit, "clear", "Have no limit");
    AddJson(*clear);
    clear->callback([this] { m_command = [this] { return ClearLimitCommand(m_common.json); }; });
}

void CommandLine::AddSettings()
{
    CLI::App* const settings = AddCommand(m_app, "settings", "Show or change the settings");
    settings->require_subcommand(0, 1);
    settings->footer(
        "Settings:\n"
        "  week-start     the weekday on which a week begins: sunday ... saturday\n"
        "  month-start    the day on which a month begins: 1 ... 28\n"
        "  limit-command  what the shell executes at the limit and at the warning before it, or none\n"
        "  link.NAME      what the link NAME is counted as: dial-up, wifi, adsl, ignore, or auto for no "
        "rule");
    AddJson(*settings);
    settings->callback([this] {
        if (!m_command) m_command = [this] { return ListSettingsCommand(m_common.json); };
    });

    CLI::App* const list = AddCommand(*settings, "list", "Show every setting");
    AddJson(*list);
    list->callback([this] { m_command = [this] { return ListSettingsCommand(m_common.json); }; });

    CLI::App* const get = AddCommand(*settings, "get", "Show one setting");
    get->add_option("KEY", m_key, "week-start, month-start, limit-command or link.NAME")
        ->option_text(" ")
        ->required();
    AddJson(*get);
    get->callback([this] { m_command = [this] { return GetSettingCommand(m_key, m_common.json); }; });

    CLI::App* const set = AddCommand(*settings, "set", "Change one setting");
    set->add_option("KEY", m_key, "week-start, month-start, limit-command or link.NAME")
        ->option_text(" ")
        ->required();
    set->add_option("VALUE", m_value, "The new value")->option_text(" ")->required();
    AddJson(*set);
    set->callback(
        [this] { m_command = [this] { return SetSettingCommand(m_key, m_value, m_common.json); }; });
}

void CommandLine::AddDevices()
{
    CLI::App* const devices = AddCommand(m_app, "devices", "Show every link and what it is counted as");
    AddJson(*devices);
    devices->callback([this] { m_command = [this] { return DevicesCommand(m_common.json); }; });
}

int CommandLine::Run(int argc, char** argv)
{
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::Success& request) {  // help or version
        return m_app.exit(request) == 0 ? EXIT_DONE : EXIT_FAILED;
    } catch (const CLI::RequiredError& error) {
        // The library misses the command before it complains of the word that stands in its place.
        const std::vector<std::string> unknown = m_app.remaining();
        if (unknown.empty() || !m_app.get_subcommands().empty())
            return Fail({fmt::format("{}; see netinfo --help", Printable(error.what())), EXIT_USAGE});
        const char* const kind = unknown.front().starts_with("-") ? "option" : "command";
        return Fail({fmt::format("there is no {} '{}'; see netinfo --help", kind, Printable(unknown.front())),
                     EXIT_USAGE});
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
