// A settings file of any content, read and changed directly and through the platform's functions.
//
// Input: section, key and value of three settings to be stored, each up to a NUL, and the file.

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "common/Utilities.h"
#include "fuzz/Input.h"
#include "platform/common/CodePage.h"
#include "platform/common/GlobalFunction.h"
#include "platform/common/SettingsFile.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using namespace nettest;
using netinfo::SettingsFile;
using netinfo::Text16;

namespace {

struct Setting
{
    std::string section;
    std::string key;
    std::string value;
};

using Values = std::vector<std::optional<std::string>>;

std::string Trimmed(std::string text)
{
    constexpr const char* BLANKS = " \t\r\n";
    text.erase(0, std::min(text.find_first_not_of(BLANKS), text.size()));
    text.erase(text.find_last_not_of(BLANKS) + 1);
    return text;
}

std::string LowerCase(std::string text)
{
    ToLowerString(text);
    return text;
}

/// Some names of settings that the file may have: where it says so, and those that are to be stored.
std::vector<std::pair<std::string, std::string>> NamesIn(const std::string& file,
                                                         const std::array<Setting, 3>& settings)
{
    constexpr std::size_t ENOUGH = 6;
    std::set<std::string> sections{""};
    std::set<std::string> keys;
    for (const Setting& setting : settings) {
        sections.insert(setting.section);
        keys.insert(setting.key);
    }
    for (std::size_t at = 0; at < file.size();) {
        const std::size_t end = std::min(file.find('\n', at), file.size());
        const std::string line = file.substr(at, end - at);
        const std::size_t bracket = line.find(']');
        if (line[0] == '[' && bracket != std::string::npos && sections.size() < ENOUGH)
            sections.insert(Trimmed(line.substr(1, bracket - 1)));
        if (const std::size_t equals = line.find('='); equals != std::string::npos && keys.size() < ENOUGH)
            keys.insert(Trimmed(line.substr(0, equals)));
        at = end + 1;
    }

    std::vector<std::pair<std::string, std::string>> names;
    for (const std::string& section : sections) {
        for (const std::string& key : keys)
            names.emplace_back(section, key);
    }
    return names;
}

/// A directory for the user's settings and an empty one for those of the module, both known to the platform.
struct Machine
{
    Machine()
    {
        setenv("NETINFO_CONFIG_DIR", user.Path().c_str(), 1);
        setenv("NETINFO_MODULE_DIR", module.Path().c_str(), 1);
        setenv("NETINFO_TRACE_LEVEL", "0", 1);
    }

    std::string File() const { return user.File("DataUsageLimit.ini"); }

    const TempDir user;
    const TempDir module;
};

Values Read(const std::string& path, const std::vector<std::pair<std::string, std::string>>& names)
{
    SettingsFile file(path, [] { return 0LL; });
    Values values;
    for (const auto& [section, key] : names)
        values.push_back(file.Get(section, key));
    return values;
}

void StoreOne(const std::string& path, const Setting& setting,
              const std::vector<std::pair<std::string, std::string>>& names)
{
    const std::string before = ReadFile(path);
    const Values valuesBefore = Read(path, names);
    SettingsFile file(path, [] { return 0LL; });
    const bool stored = file.Set(setting.section, setting.key, setting.value);
    const Values values = Read(path, names);
    if (!stored) {
        Require(ReadFile(path) == before, "a setting that is refused leaves the file as it was");
        return;
    }

    Require(file.Get(setting.section, setting.key) == setting.value, "a setting reads as it was stored");
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool isIt = LowerCase(names[i].first) == LowerCase(setting.section) &&
                          LowerCase(names[i].second) == LowerCase(setting.key);
        Require(values[i] == (isIt ? setting.value : valuesBefore[i]),
                "a setting reads the same from the file, and the others as before");
    }

    std::string content;
    for (int times = 0; times < 4 && content != ReadFile(path);
         ++times) {  // empty lines come and go at first
        content = ReadFile(path);
        Require(file.Set(setting.section, setting.key, setting.value), "what was stored can be stored again");
    }
    Require(ReadFile(path) == content, "storing the same over and over changes nothing in the end");
    struct stat status
    {};
    Require(stat(path.c_str(), &status) == 0 && (status.st_mode & 077) == 0, "the file stays the user's own");
}

/// What a text becomes when it is kept as UTF-8: lone surrogates are lost.
Text16 AsKept(const Text16& text)
{
    return *netinfo::Decode(*netinfo::Encode(text, netinfo::CODE_PAGE_UTF8), netinfo::CODE_PAGE_UTF8);
}

/// The bytes as 16-bit units as they stand, whatever they mean.
Text16 Units(const std::string& text)
{
    Text16 units;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const unsigned int unit = static_cast<unsigned char>(text[i]) |
                                  static_cast<unsigned int>(static_cast<unsigned char>(text[i + 1])) << 8U;
        units.push_back(static_cast<unsigned short>(unit ? unit : '0'));
    }
    return units;
}

void StoreThroughPlatform(const std::string& path, const Setting& setting)
{
    const Text16 section = netinfo::Decode(setting.section, netinfo::CODE_PAGE_UTF8).value();
    const Text16 key = netinfo::Decode(setting.key, netinfo::CODE_PAGE_UTF8).value();
    const Text16 value = Units(setting.value);
    const std::string before = ReadFile(path);
    if (!CGlobalFunction::SetSetting(section.c_str(), key.c_str(), value.c_str())) {
        Require(ReadFile(path) == before, "a setting that the platform refuses leaves the file as it was");
        return;
    }
    Require(MyGetSetting(section, key) == AsKept(value), "a setting reads as the platform was told");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Machine machine;
    Input input(data, size);
    std::array<Setting, 3> settings;
    for (Setting& setting : settings)
        setting = {input.Text(), input.Text(), input.Text()};
    const std::string content = input.Rest();

    const std::string path = machine.File();
    WriteFile(path, content);
    chmod(path.c_str(), S_IRUSR | S_IWUSR);
    const auto names = NamesIn(content, settings);
    for (const Setting& setting : settings)
        StoreOne(path, setting, names);
    StoreThroughPlatform(path, settings[0]);
    return 0;
}
