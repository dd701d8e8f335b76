#pragma once

#include <string>
#include <vector>

#include "host/LocalCalendar.h"
#include "host/Result.h"

namespace netinfo {

/// The user's settings in the words of people, over the settings store's own forms:
///
///   key            values                              stored as
///   week-start     sunday ... saturday                 "uselimit"/"startweekdate", 0 ... 6
///   month-start    1 ... 28                            "uselimit"/"startmonthdate", 0 ... 27
///   limit-command  a command for the shell, none       "limit"/"command", the same; none is nothing stored
///   checkpoint     0 ... 86400, seconds; 0 is never    "host"/"checkpoint", the same; 300 unless stored
///   link.NAME      dial-up, wifi, adsl, ignore, auto   "links"/NAME, the same; auto is nothing stored
///
/// Threads: any. Errors: an unknown key or a value out of range is EXIT_USAGE, and nothing is changed.
struct Setting
{
    std::string key;
    std::string value;       ///< in the words of people; what is stored, where that is not understood
    bool isDefault = false;  ///< nothing is stored
    std::string problem;     ///< what is wrong with what is stored, for people; empty: nothing
};

/// One setting.
Result<Setting> ReadSetting(const std::string& key);
/// Both period starts; what else is stored: the command of the limit, the checkpoint, and the rules of links.
std::vector<Setting> ReadSettings();
/// Stores `value` and returns the setting as it then is. The value "default" takes back what is stored of a
/// period start or the checkpoint, as "auto" takes back a link's rule.
Result<Setting> WriteSetting(const std::string& key, const std::string& value);

/// Both period starts as numbers. What is stored and not understood counts as not stored.
PeriodStarts ReadPeriodStarts();
/// Seconds that figures may wait to be written; 0: for ever. What is stored and not understood counts as not
/// stored.
long long ReadCheckpoint();

}  // namespace netinfo
