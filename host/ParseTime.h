#pragma once

#include <string>
#include <string_view>

#include "host/Result.h"

namespace netinfo {

/// The moment that `text` names: a local date ("2024-05-01": its first moment), a local date and time
/// ("2024-05-01 12:30", seconds and a T between them allowed), or a span back from `now` ("30m", "12h", "7d",
/// "4w"). A time that the clocks pass twice is the earlier of the two.
///
/// Units:  moments are seconds since 1970-01-01 00:00 UTC.
/// Errors: EXIT_USAGE for anything else, for dates and times that do not exist, and for moments before 1970
/// or
///         after `now`.
Result<unsigned long long> ParseSince(std::string_view text, unsigned long long now);

/// The same, as the end of a time: a date alone means the end of that day, and the future is allowed.
Result<unsigned long long> ParseUntil(std::string_view text, unsigned long long now);

}  // namespace netinfo
