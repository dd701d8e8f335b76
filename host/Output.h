#pragma once

#include <string_view>

#include "host/Result.h"

namespace netinfo {

/// What commands say. Threads: one.

/// One line on standard error, "netinfo: " before it.
void Complain(std::string_view message);

/// Complains and returns the exit code.
int Fail(const Failure& failure);

/// Writes all of `text` to standard output, waiting for its reader; the command's exit code. A write that
/// fails is complained about, except that a reader who has gone away heard what it wanted.
int Print(std::string_view text);

/// Asks on standard error and waits for an answer on standard input; true for "y" or "yes" only.
bool Confirm(std::string_view question);

}  // namespace netinfo
