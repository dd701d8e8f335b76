#include <string>
#include <vector>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/Output.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "host/Table.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

Json JsonOf(const Setting& setting)
{
    return {{"key", setting.key},
            {"value", setting.value},
            {"default", setting.isDefault},
            {"valid", setting.problem.empty()}};
}

/// 0, or the exit code after saying that the settings cannot be read.
int CheckFiles()
{
    const auto failure = CheckSettingsFiles(ConfigDirectory(), ModuleDirectory());
    return failure ? Fail(*failure) : EXIT_DONE;
}

int PrintOne(const Setting& setting, bool json)
{
    if (!setting.problem.empty()) Complain(setting.problem);
    return Print(json ? Indented(JsonOf(setting)) : Printable(setting.value) + "\n");
}

}  // namespace

int ListSettingsCommand(bool json)
{
    if (const int exitCode = CheckFiles(); exitCode != EXIT_DONE) return exitCode;
    const std::vector<Setting> settings = ReadSettings();
    Json list = Json::array();
    Table table({{"SETTING"}, {"VALUE"}, {""}});
    for (const Setting& setting : settings) {
        if (!setting.problem.empty()) Complain(setting.problem);
        list.push_back(JsonOf(setting));
        table.Add({Printable(setting.key), Printable(setting.value), setting.isDefault ? "(default)" : ""});
    }
    return Print(json ? Indented({{"settings", std::move(list)}}) : table.Text());
}

int GetSettingCommand(const std::string& key, bool json)
{
    if (const int exitCode = CheckFiles(); exitCode != EXIT_DONE) return exitCode;
    const auto setting = ReadSetting(key);
    if (!setting) return Fail(setting.Error());
    return PrintOne(*setting, json);
}

int SetSettingCommand(const std::string& key, const std::string& value, bool json)
{
    if (const int exitCode = CheckFiles(); exitCode != EXIT_DONE) return exitCode;
    const auto setting = WriteSetting(key, value);
    if (!setting) return Fail(setting.Error());
    return PrintOne(*setting, json);
}

}  // namespace netinfo
