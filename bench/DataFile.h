#pragma once

#include <cstddef>
#include <string>

/// A data file with `records` connection records of nine attributes and about 150 bytes each, one an hour,
/// the last of which ended at `end` (seconds since 1970).
std::string DataFileOf(std::size_t records, long end);
