#pragma once

#include <CLI/CLI.hpp>

#include "host/Result.h"

namespace netinfo {

/// What is wrong with a command line that `program` did not understand, as one line for people: a word that
/// is no command or option is named, together with the nearest one, before anything else is missed.
///
/// Threads: one.
Failure WrongUsage(const CLI::App& program, const CLI::ParseError& error);

/// `name` stands where a command of `app` would stand, and there is none of that name.
Failure UnknownCommand(const CLI::App& app, const std::string& name);

}  // namespace netinfo
