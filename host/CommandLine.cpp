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
#include "host/HelpTexts.h"
#include "host/Output.h"
#include "host/WrongUsage.h"

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
    CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                         const char* help);
    void AddModule(CLI::App& command);
    void AddJson(CLI::App& command);
    void AddUnits(CLI::App& command);
    void AddColour(CLI::App& command);

    void AddSummary();
    void AddRun();
    void AddLive();
    void AddReport();
    void AddHistory();
    void AddRecords();
    void AddReset();
    void AddUsage();
    void AddLimit();
    void AddSettings();
    void AddDevices();
    void AddHelp();
    int ShowHelp() const;

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
    std::vector<std::string> m_helpWords;
    ColourChoice m_colour = ColourChoice::Auto;
    bool m_csv = false;
    bool m_last = false;
    bool m_quiet = false;
    bool m_yes = false;
    std::function<int()> m_command;  ///< what the command line asks for
};

CommandLine::CommandLine()
{
    m_app.set_version_flag("--version", "netinfo " NETINFO_VERSION, "Show the version");
    m_app.set_help_flag("-h,--help", "Show this help");
    m_app.require_subcommand(0, 1);
    m_app.footer(help::PROGRAM);
    const auto formatter = m_app.get_formatter();
    formatter->column_width(24);
    formatter->label("Positionals", "Arguments");
    formatter->label("SUBCOMMAND", "COMMAND");
    AddSummary();
    AddRun();
    AddLive();
    AddUsage();
    AddLimit();
    AddReport();
    AddHistory();
    AddRecords();
    AddReset();
    AddSettings();
    AddDevices();
    AddHelp();
}

CLI::App* CommandLine::AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                                  const char* help)
{
    CLI::App* const command = parent.add_subcommand(name, description);
    command->set_help_flag("-h,--help", "Show this help");
    command->group("Commands");
    command->footer(help);
    return command;
}

void CommandLine::AddModule(CLI::App& command)
{
    command.add_option("--module", m_common.modulePath, "The plug-in's module, if not the installed")
        ->option_text("PATH");
}

void CommandLine::AddJson(CLI::App& command)
{
    command.add_flag("--json", m_common.json, "JSON, for programs");
}

void CommandLine::AddUnits(CLI::App& command)
{
    const auto read = [this](const std::string& word) {
        const auto units = FindUnits(word);
        if (!units) throw CLI::ValidationError(fmt::format("--units takes iec, si or bytes, not '{}'", word));
        m_common.style.units = *units;
    };
    command.add_option_function<std::string>("--units", read, "iec (KiB, default), si (kB) or bytes")
        ->option_text("UNITS");
}

void CommandLine::AddColour(CLI::App& command)
{
    const auto read = [this](const std::string& word) {
        const auto choice = FindColourChoice(word);
        if (!choice)
            throw CLI::ValidationError(fmt::format("--color takes auto, always or never, not '{}'", word));
        m_colour = *choice;
    };
    command.add_option_function<std::string>("--color", read, "auto (default), always or never")
        ->option_text("WHEN");
}

/// The program without a command.
void CommandLine::AddSummary()
{
    AddUnits(m_app);
    AddColour(m_app);
    AddJson(m_app);
    m_app.callback([this] {
        if (!m_command) m_command = [this] { return SummaryCommand(m_common); };
    });
}

void CommandLine::AddRun()
{
    CLI::App* const run = AddCommand(m_app, "run", "Count, and show the figures until Ctrl-C", help::RUN);
    AddUnits(*run);
    AddColour(*run);
    AddModule(*run);
    CLI::Option* const quiet = run->add_flag("--quiet", m_quiet, "Count, and show nothing");
    run->add_flag("--json", m_common.json, "JSON, for programs")->excludes(quiet);
    run->callback([this] {
        const RunOutput output = m_quiet         ? RunOutput::Nothing
                                 : m_common.json ? RunOutput::AsJson
                                                 : RunOutput::AsTable;
        m_command = [this, output] { return RunCommand(m_common, output); };
    });
}

void CommandLine::AddReport()
{
    CLI::App* const report =
        AddCommand(m_app, "report", "Show the totals of every type and period", help::REPORT);
    AddUnits(*report);
    AddModule(*report);
    AddJson(*report);
    report->callback([this] { m_command = [this] { return ReportCommand(m_common); }; });
}

void CommandLine::AddHistory()
{
    CLI::App* const history =
        AddCommand(m_app, "history", "Show the traffic of the connections that ended since", help::HISTORY);
    history->add_option("--since", m_since, "2024-05-01, '2024-05-01 12:30', or 30m, 12h, 7d, 4w")
        ->option_text("WHEN")
        ->required();
    AddUnits(*history);
    AddModule(*history);
    AddJson(*history);
    history->callback([this] { m_command = [this] { return HistoryCommand(m_common, m_since); }; });
}

void CommandLine::AddRecords()
{
    CLI::App* const records =
        AddCommand(m_app, "records", "Show or remove the connection records", help::RECORDS);
    records->add_flag("--last", m_last, "The last record only");
    AddUnits(*records);
    AddModule(*records);
    AddJson(*records);
    records->callback([this] {
        if (!m_command) m_command = [this] { return RecordsCommand(m_common, m_last); };
    });

    CLI::App* const remove =
        AddCommand(*records, "remove", "Remove connection records for good", help::RECORDS_REMOVE);
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
    CLI::App* const reset = AddCommand(m_app, "reset", "Start the totals of a type anew", help::RESET);
    reset->add_option("TYPE", m_type, "dial-up, wifi or adsl")->option_text(" ")->required();
    reset->add_flag("--yes", m_yes, "Do not ask");
    AddModule(*reset);
    AddJson(*reset);
    reset->callback([this] { m_command = [this] { return ResetCommand(m_common, m_type, m_yes); }; });
}

void CommandLine::AddLive()
{
    CLI::App* const live = AddCommand(m_app, "live", "Watch the speeds, with graphs", help::LIVE);
    AddUnits(*live);
    AddColour(*live);
    AddModule(*live);
    AddJson(*live);
    live->callback([this] {
        const RunOutput output = m_common.json ? RunOutput::AsJson : RunOutput::AsGraphs;
        m_command = [this, output] { return LiveCommand(m_common, output); };
    });
}

void CommandLine::AddUsage()
{
    CLI::App* const usage =
        AddCommand(m_app, "usage", "Show what was used, by hour, day, week, month ...", help::USAGE);
    usage->add_option("--by", m_usage.by, "hour, day (default), week, month, year, type, profile")
        ->option_text("WHAT");
    usage->add_option("--from", m_usage.from, "From then on")->option_text("WHEN");
    usage->add_option("--to", m_usage.to, "Until then; a date means the end of that day")
        ->option_text("WHEN");
    usage->add_option("--last", m_usage.last, "So many hours, days ..., the present included")
        ->option_text("N");
    usage->add_option("--type", m_usage.type, "dial-up, wifi or adsl alone")->option_text("TYPE");
    usage->add_option("--top", m_usage.top, "The N busiest, the busiest first")->option_text("N");
    CLI::Option* const csv = usage->add_flag("--csv", m_csv, "Comma-separated values, for spreadsheets");
    csv->option_text(" ");
    usage->add_flag("--json", m_common.json, "JSON, for programs")->option_text(" ")->excludes(csv);
    AddUnits(*usage);
    usage->callback([this] {
        const UsageOutput output = m_csv           ? UsageOutput::AsCsv
                                   : m_common.json ? UsageOutput::AsJson
                                                   : UsageOutput::AsTable;
        m_command = [this, output] { return UsageCommand(m_usage, output, m_common.style); };
    });
}

void CommandLine::AddLimit()
{
    CLI::App* const limit =
        AddCommand(m_app, "limit", "Show how much of the limit is used, or change it", help::LIMIT);
    limit->require_subcommand(0, 1);
    AddUnits(*limit);
    AddColour(*limit);
    AddJson(*limit);
    limit->callback([this] {
        if (!m_command) m_command = [this] { return ShowLimitCommand(m_common); };
    });

    CLI::App* const set = AddCommand(*limit, "set", "Set the limit", help::LIMIT_SET);
    set->add_option("AMOUNT", m_limit.amount, "20GB, 18.5GiB or bytes")->option_text(" ")->required();
    set->add_option("--per", m_limit.per, "month (default), week or day")->option_text("PERIOD");
    set->add_option("--warn", m_limit.warn, "Warn at that part of it; default 80%")->option_text("PERCENT");
    set->add_option("--type", m_limit.type, "Of dial-up, wifi or adsl alone")->option_text("TYPE");
    AddUnits(*set);
    AddColour(*set);
    AddJson(*set);
    set->callback([this] { m_command = [this] { return SetLimitCommand(m_limit, m_common); }; });

    CLI::App* const clear = AddCommand(*limit, "clear", "Have no limit", help::LIMIT_CLEAR);
    AddJson(*clear);
    clear->callback([this] { m_command = [this] { return ClearLimitCommand(m_common); }; });
}

void CommandLine::AddSettings()
{
    CLI::App* const settings = AddCommand(m_app, "settings", "Show or change the settings", help::SETTINGS);
    settings->require_subcommand(0, 1);
    AddJson(*settings);
    settings->callback([this] {
        if (!m_command) m_command = [this] { return ListSettingsCommand(m_common.json); };
    });

    CLI::App* const list = AddCommand(*settings, "list", "Show every setting", help::SETTINGS_LIST);
    AddJson(*list);
    list->callback([this] { m_command = [this] { return ListSettingsCommand(m_common.json); }; });

    CLI::App* const get = AddCommand(*settings, "get", "Show one setting", help::SETTINGS_GET);
    get->add_option("KEY", m_key, "A setting, of those that netinfo help settings tells of")
        ->option_text(" ")
        ->required();
    AddJson(*get);
    get->callback([this] { m_command = [this] { return GetSettingCommand(m_key, m_common.json); }; });

    CLI::App* const set = AddCommand(*settings, "set", "Change one setting", help::SETTINGS_SET);
    set->add_option("KEY", m_key, "A setting, of those that netinfo help settings tells of")
        ->option_text(" ")
        ->required();
    set->add_option("VALUE", m_value, "The new value")->option_text(" ")->required();
    AddJson(*set);
    set->callback(
        [this] { m_command = [this] { return SetSettingCommand(m_key, m_value, m_common.json); }; });
}

void CommandLine::AddDevices()
{
    CLI::App* const devices =
        AddCommand(m_app, "devices", "Show every link and what it is counted as", help::DEVICES);
    AddJson(*devices);
    devices->callback([this] { m_command = [this] { return DevicesCommand(m_common.json); }; });
}

void CommandLine::AddHelp()
{
    CLI::App* const help = AddCommand(m_app, "help", "Show all about one command", help::HELP);
    help->add_option("COMMAND", m_helpWords, "Such as usage")->option_text(" ");
    help->callback([this] { m_command = [this] { return ShowHelp(); }; });
}

int CommandLine::ShowHelp() const
{
    const CLI::App* app = &m_app;
    std::string name = app->get_name();
    for (const std::string& word : m_helpWords) {
        const auto found =
            app->get_subcommands([&](const CLI::App* command) { return command->get_name() == word; });
        if (found.empty()) return Fail(UnknownCommand(*app, word));
        app = found.front();
        name += " " + word;
    }
    return Print(m_app.get_formatter()->make_help(app, name, CLI::AppFormatMode::Normal));
}

int CommandLine::Run(int argc, char** argv)
{
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::Success& request) {  // help or version
        return m_app.exit(request) == 0 ? EXIT_DONE : EXIT_FAILED;
    } catch (const CLI::ParseError& error) {
        return Fail(WrongUsage(m_app, error));
    }
    m_common.style.colour = UsesColour(m_colour, STDOUT_FILENO);
    m_common.style.unicode = LocaleHasBlocks();
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
