#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/Style.h"

namespace netinfo {

/// Figures, moments and foreign texts as people read them.
///
/// Threads: any, where the time zone is not changed meanwhile. Units: as each function says.

/// Bytes with three digits and a unit, at most 8 columns wide: "0 B", "1.50 KiB", "1023 GiB", "1.54 kB"; with
/// `Units::Bytes` all digits: "1536 B".
std::string FormatBytes(unsigned long long bytes, Units units = Units::Iec);

/// Bytes per second, two columns wider: "12.3 KiB/s".
std::string FormatSpeed(unsigned long long bytesPerSecond, Units units = Units::Iec);

/// Seconds as hours, minutes and seconds, with days in front from one day on: "00:12:03", "2d 00:00:01".
std::string FormatDuration(unsigned long long seconds);

/// A moment (seconds since 1970) in local time, "2024-05-01 12:00:03"; its digits where no calendar has it.
std::string FormatMoment(unsigned long long moment);

/// A period's start as the reports carry it: the low 32 bits of a moment in a signed field. Read as unsigned
/// it stays right until 2106.
constexpr unsigned long long MomentOf(int lowBits) { return static_cast<unsigned int>(lowBits); }

/// `text` as it can safely be shown on a terminal: control characters, and bytes that are not UTF-8, as \xNN.
std::string Printable(std::string_view text);

/// Columns that printable text takes on a terminal.
std::size_t Width(std::string_view text);

/// Printable text cut to `columns`, the last one an ellipsis if something was cut.
std::string Shorten(std::string_view text, std::size_t columns);

/// Printable text filled with spaces to `columns`: text to the left, or to the right.
std::string PadRight(std::string_view text, std::size_t columns);
std::string PadLeft(std::string_view text, std::size_t columns);

/// `text` with its ASCII letters in lower case.
std::string LowerCase(std::string_view text);

/// The number that `text` is, if it consists of decimal digits only and fits 64 bits; otherwise false, and
/// `number` stays as it was.
bool ParseDigits(std::string_view text, unsigned long long& number);

}  // namespace netinfo
