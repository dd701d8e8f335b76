#include "host/WrongUsage.h"

#include <fmt/format.h>

#include <string>
#include <vector>

#include "host/Format.h"
#include "host/NearestWord.h"

namespace netinfo {
namespace {

/// "netinfo limit set".
std::string FullName(const CLI::App& app)
{
    const CLI::App* const parent = app.get_parent();
    return parent ? FullName(*parent) + " " + app.get_name() : app.get_name();
}

/// `nearest` is what was probably meant; empty: who knows.
Failure Refuse(const CLI::App& app, const std::string& problem, const std::string& nearest = "")
{
    if (!nearest.empty()) return {fmt::format("{}; did you mean '{}'?", problem, nearest), EXIT_USAGE};
    return {fmt::format("{}; see {} --help", problem, FullName(app)), EXIT_USAGE};
}

std::vector<std::string> Commands(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> LongOptions(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

Failure UnknownOption(const CLI::App& app, const std::string& word)
{
    const std::string name = word.substr(0, word.find('='));
    return Refuse(app, fmt::format("there is no option '{}'", Printable(name)),
                  name.starts_with("--") ? NearestWord(name, LongOptions(app)) : "");
}

}  // namespace

Failure UnknownCommand(const CLI::App& app, const std::string& name)
{
    const std::vector<std::string> commands = Commands(app);
    if (commands.empty())
        return Refuse(app, fmt::format("'{}' is one word too many for {}", Printable(name), FullName(app)));

    // A command of a command is told with the words that lead to it: 'limit sett', 'limit set'.
    const std::string before = app.get_parent() ? app.get_name() + " " : "";
    const std::string nearest = NearestWord(name, commands);
    return Refuse(app, fmt::format("there is no command '{}{}'", before, Printable(name)),
                  nearest.empty() ? "" : before + nearest);
}

Failure WrongUsage(const CLI::App& program, const CLI::ParseError& error)
{
    const CLI::App* app = &program;
    while (true) {
        const std::vector<std::string> unknown = app->remaining();
        if (!unknown.empty() && !app->get_allow_extras()) {
            const std::string& word = unknown.front();
            return word.starts_with("-") ? UnknownOption(*app, word) : UnknownCommand(*app, word);
        }
        if (app->get_subcommands().empty()) break;
        app = app->get_subcommands().front();
    }
    return Refuse(*app, Printable(error.what()));
}

}  // namespace netinfo
