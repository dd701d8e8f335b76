#include "host/Settings.h"

#define SI_IMPLEMENTATION  // all of it here, nothing to link
#define SI_NO_CONVERSION   // UTF-8 in the file and here
#include <SimpleIni.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

#include "host/Format.h"
#include "host/NearestWord.h"
#include "host/StoredSetting.h"
#include "host/TrafficType.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

constexpr std::string_view WEEK_START = "week-start";
constexpr std::string_view MONTH_START = "month-start";
constexpr std::string_view LIMIT_COMMAND = "limit-command";
constexpr std::string_view CHECKPOINT = "checkpoint";
constexpr std::string_view DEFAULT_CHECKPOINT = "300";
constexpr std::string_view NONE = "none";
constexpr std::string_view LINK_PREFIX = "link.";
constexpr std::string_view DEFAULT = "default";
constexpr std::string_view AUTO = "auto";
constexpr std::string_view IGNORE = "ignore";
constexpr std::size_t LONGEST_LINK_NAME = 15;  // bytes; the kernel's limit
constexpr unsigned long long LAST_MONTH_START = 28;
constexpr unsigned long long LONGEST_CHECKPOINT = 86'400;  // seconds

constexpr std::array<std::string_view, 7> WEEKDAYS{"sunday",   "monday", "tuesday", "wednesday",
                                                   "thursday", "friday", "saturday"};

/// How one setting is written by people and by the store.
struct Form
{
    std::string_view section;
    std::string storedKey;
    std::string_view defaultValue;
    std::string_view choice;  ///< what a value may be, for messages
    std::optional<std::string> (*fromStored)(const std::string&);
    std::optional<std::string> (*toStored)(const std::string&);  ///< empty: nothing is stored
};

std::optional<std::string> WeekdayFromStored(const std::string& stored)
{
    unsigned long long day = 0;
    if (!ParseDigits(stored, day)) return std::nullopt;
    if (day >= WEEKDAYS.size()) return std::nullopt;
    return std::string(WEEKDAYS[day]);
}

std::optional<std::string> WeekdayToStored(const std::string& value)
{
    const std::string wanted = LowerCase(value);
    if (wanted == DEFAULT) return "";
    for (std::size_t day = 0; day < WEEKDAYS.size(); ++day) {
        if (wanted == WEEKDAYS[day] || wanted == WEEKDAYS[day].substr(0, 3)) return std::to_string(day);
    }
    return std::nullopt;
}

std::optional<std::string> MonthDayFromStored(const std::string& stored)
{
    unsigned long long day = 0;
    if (!ParseDigits(stored, day)) return std::nullopt;
    if (day >= LAST_MONTH_START) return std::nullopt;
    return std::to_string(day + 1);
}

std::optional<std::string> MonthDayToStored(const std::string& value)
{
    if (LowerCase(value) == DEFAULT) return "";
    unsigned long long day = 0;
    if (!ParseDigits(value, day)) return std::nullopt;
    if (day < 1 || day > LAST_MONTH_START) return std::nullopt;
    return std::to_string(day - 1);
}

std::optional<std::string> RuleFromStored(const std::string& stored)
{
    if (LowerCase(stored) == IGNORE) return std::string(IGNORE);
    if (const auto type = FindTrafficType(stored)) return std::string(type->name);
    return std::nullopt;
}

std::optional<std::string> RuleToStored(const std::string& value)
{
    if (LowerCase(value) == AUTO) return "";
    return RuleFromStored(value);
}

std::optional<std::string> CommandFromStored(const std::string& stored) { return stored; }

std::optional<std::string> CommandToStored(const std::string& value)
{
    if (value.find_first_of("\r\n") != std::string::npos) return std::nullopt;
    return LowerCase(value) == NONE ? "" : value;
}

std::optional<std::string> CheckpointFromStored(const std::string& stored)
{
    unsigned long long seconds = 0;
    if (!ParseDigits(stored, seconds) || seconds > LONGEST_CHECKPOINT) return std::nullopt;
    return std::to_string(seconds);
}

std::optional<std::string> CheckpointToStored(const std::string& value)
{
    if (LowerCase(value) == DEFAULT) return "";
    return CheckpointFromStored(value);
}

/// What the kernel takes for a name and the settings file can keep.
bool CanHaveRule(std::string_view link)
{
    if (link.empty() || link.size() > LONGEST_LINK_NAME) return false;
    if (link == "." || link == "..") return false;
    if (link.find_first_of("[;#") == 0) return false;
    return std::none_of(link.begin(), link.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7F || c == '/' || c == '=' || c == ':';
    });
}

Result<Form> FindForm(const std::string& key)
{
    if (key == WEEK_START) {
        return Form{"uselimit",        "startweekdate", WEEKDAYS[0], "a weekday, such as monday",
                    WeekdayFromStored, WeekdayToStored};
    }
    if (key == MONTH_START) {
        return Form{"uselimit",         "startmonthdate", "1", "a day of the month from 1 to 28",
                    MonthDayFromStored, MonthDayToStored};
    }
    if (key == LIMIT_COMMAND) {
        return Form{"limit",           "command",      NONE, "a command of one line, or none",
                    CommandFromStored, CommandToStored};
    }
    if (key == CHECKPOINT) {
        return Form{"host",
                    "checkpoint",
                    DEFAULT_CHECKPOINT,
                    "a number of seconds from 1 to 86400, or 0 for never",
                    CheckpointFromStored,
                    CheckpointToStored};
    }
    if (!key.starts_with(LINK_PREFIX)) {
        const std::vector<std::string> known{std::string(WEEK_START), std::string(MONTH_START),
                                             std::string(LIMIT_COMMAND), std::string(CHECKPOINT)};
        return Failure{fmt::format("there is no setting '{}', only week-start, month-start, limit-command, "
                                   "checkpoint and link.NAME{}",
                                   Printable(key), DidYouMean(key, known)),
                       EXIT_USAGE};
    }
    const std::string link = key.substr(LINK_PREFIX.size());
    if (!CanHaveRule(link)) {
        return Failure{fmt::format("'{}' is not the name of a link", Printable(link)), EXIT_USAGE};
    }
    return Form{"links", link, AUTO, "dial-up, wifi, adsl, ignore or auto", RuleFromStored, RuleToStored};
}

Setting ReadForm(const std::string& key, const Form& form)
{
    Setting setting;
    setting.key = key;
    const std::string stored = ReadStored(form.section, form.storedKey);
    setting.isDefault = stored.empty();
    if (stored.empty()) {
        setting.value = form.defaultValue;
        return setting;
    }
    const auto value = form.fromStored(stored);
    setting.value = value.value_or(stored);
    if (!value) {
        setting.problem = fmt::format("the setting {} is stored as '{}', which is not {}", Printable(key),
                                      Printable(stored), form.choice);
    }
    return setting;
}

void AddRuledLinks(const std::string& path, std::set<std::string>& links)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    CSimpleIniA ini(true, false, false);
    if (text.empty() || ini.LoadData(text) < 0) return;

    CSimpleIniA::TNamesDepend keys;
    ini.GetAllKeys("links", keys);
    for (const auto& key : keys)
        links.insert(key.pItem);
}

}  // namespace

Result<Setting> ReadSetting(const std::string& key)
{
    const auto form = FindForm(key);
    if (!form) return form.Error();
    return ReadForm(key, *form);
}

std::vector<Setting> ReadSettings()
{
    std::vector<std::string> keys{std::string(WEEK_START), std::string(MONTH_START),
                                  std::string(LIMIT_COMMAND), std::string(CHECKPOINT)};
    // The store answers for names; which names there are, only its files tell.
    std::set<std::string> links;
    AddRuledLinks(ModuleDirectory() + "DataUsageLimit.ini", links);
    AddRuledLinks(ConfigDirectory() + "DataUsageLimit.ini", links);
    for (const std::string& link : links)
        keys.push_back(std::string(LINK_PREFIX) + link);

    std::vector<Setting> settings;
    for (const std::string& key : keys) {
        auto setting = ReadSetting(key);
        if (!setting) continue;  // no link can have that name
        const bool always = key == WEEK_START || key == MONTH_START;
        if (!always && setting->isDefault) continue;
        settings.push_back(std::move(*setting));
    }
    return settings;
}

Result<Setting> WriteSetting(const std::string& key, const std::string& value)
{
    const auto form = FindForm(key);
    if (!form) return form.Error();
    const auto stored = form->toStored(value);
    if (!stored) {
        return Failure{fmt::format("{} is {}, not '{}'", Printable(key), form->choice, Printable(value)),
                       EXIT_USAGE};
    }
    if (auto failure = WriteStored(form->section, form->storedKey, *stored)) return *failure;
    return ReadForm(key, *form);
}

PeriodStarts ReadPeriodStarts()
{
    PeriodStarts starts;
    unsigned long long number = 0;
    if (ParseDigits(ReadStored("uselimit", "startweekdate"), number) && number < WEEKDAYS.size())
        starts.weekday = static_cast<unsigned>(number);
    if (ParseDigits(ReadStored("uselimit", "startmonthdate"), number) && number < LAST_MONTH_START)
        starts.monthDay = static_cast<unsigned>(number) + 1;
    return starts;
}

long long ReadCheckpoint()
{
    const auto stored = CheckpointFromStored(ReadStored("host", CHECKPOINT));
    return std::stoll(stored.value_or(std::string(DEFAULT_CHECKPOINT)));
}

}  // namespace netinfo
