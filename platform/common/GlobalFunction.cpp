#include "platform/common/GlobalFunction.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/common/CodePage.h"
#include "platform/common/Directories.h"
#include "platform/common/SettingsFile.h"
#include "platform/trace/TraceSrv.h"

namespace {

using netinfo::NO_LIMIT;
using netinfo::SettingsFile;
using netinfo::Text16;

/// Runs `work`; what it throws becomes `neutral`.
template <class Result, class Work>
Result Guarded(Result neutral, Work&& work)
{
    try {
        return work();
    } catch (const std::exception&) {
        return neutral;
    }
}

/// Hands a text out as the two-call pattern wants it: without a buffer its length, with one at most `size`
/// units and a terminator. `make(limit)` gives the text, or as many whole characters as `limit` allows.
template <class Unit, class Make>
int HandOut(Unit* buffer, int size, const Make& make)
{
    if (buffer && size < 0) return 0;
    if (buffer) *buffer = 0;

    auto text = make(NO_LIMIT);
    if (!buffer) return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));

    if (text.size() > static_cast<std::size_t>(size)) text = make(static_cast<std::size_t>(size));
    buffer[text.copy(buffer, text.size())] = 0;
    return static_cast<int>(text.size());
}

std::string SettingsIn(const std::string& directory)
{
    return directory.empty() ? directory : directory + "DataUsageLimit.ini";
}

SettingsFile& UserSettings()
{
    static SettingsFile* const file = new SettingsFile(SettingsIn(netinfo::ConfigDirectory()));
    return *file;  // never destroyed: threads may ask while the process ends
}

SettingsFile& ModuleSettings()
{
    static SettingsFile* const file = new SettingsFile(SettingsIn(netinfo::ModuleDirectory()));
    return *file;
}

/// The user's setting, else the one that came with the module; UTF-8.
std::optional<std::string> Setting(const std::string& section, const std::string& key)
{
    std::optional<std::string> value = UserSettings().Get(section, key);
    if (!value) value = ModuleSettings().Get(section, key);
    return value;
}

std::string ToUtf8(const unsigned short* text)
{
    return netinfo::Encode(text, netinfo::CODE_PAGE_UTF8).value_or(std::string());
}

void Complain(const std::string& complaint) { TraceSrv_Trace(2, "Common", complaint.c_str()); }

/// A path as the plug-in reads it: decoded from the code page that it will encode it to when it opens a file.
int HandOutPath(const std::string& path, unsigned short* buffer, int size)
{
    const Text16 text = netinfo::Decode(path, netinfo::CODE_PAGE_LOCALE).value_or(Text16());
    if (netinfo::Encode(text, netinfo::CODE_PAGE_LOCALE) != path)
        Complain("files cannot be opened in " + path + ", whose name is no text in the user's locale");

    return HandOut(buffer, size, [&](std::size_t limit) {
        return netinfo::Decode(path, netinfo::CODE_PAGE_LOCALE, limit).value_or(Text16());
    });
}

}  // namespace

int CGlobalFunction::GetSetting(const unsigned short* section, const unsigned short* key,
                                unsigned short* buffer, int size)
{
    return Guarded(0, [&] {
        std::optional<std::string> value;
        if (section && key) value = Setting(ToUtf8(section), ToUtf8(key));
        return HandOut(buffer, size, [&](std::size_t limit) {
            return netinfo::Decode(value.value_or(""), netinfo::CODE_PAGE_UTF8, limit).value_or(Text16());
        });
    });
}

bool CGlobalFunction::SetSetting(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value)
{
    if (!section || !key || !value) return false;
    return Guarded(false, [&] { return UserSettings().Set(ToUtf8(section), ToUtf8(key), ToUtf8(value)); });
}

int CGlobalFunction::GetUserDataDirectory(unsigned short* buffer, int size)
{
    return Guarded(0, [&] {
        // Named even where it cannot be made, so that opening a file in it fails: with an empty path the
        // file would be made in the working directory.
        const std::string directory = netinfo::UserDataDirectory();
        if (!netinfo::MakeDirectory(directory))
            Complain("the user data directory cannot be made: " + directory);
        return HandOutPath(directory, buffer, buffer ? size - 1 : 0);
    });
}

int CGlobalFunction::GetModuleDirectory(unsigned short* buffer, int length)
{
    return Guarded(0, [&] { return HandOutPath(netinfo::ModuleDirectory(), buffer, length); });
}

int CGlobalFunction::GetOSType()
{
    return Guarded(0, [] {
        const std::string text = Setting("platform", "ostype").value_or("");
        int type = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), type);
        return error == std::errc() && end == text.data() + text.size() ? type : 0;
    });
}

int CGlobalFunction::MultiByteToWideChar(const char* s, unsigned short* buffer, int size, int nCodePage)
{
    return Guarded(0, [&] {
        return HandOut(buffer, size, [&](std::size_t limit) {
            return netinfo::Decode(s ? s : "", nCodePage, limit).value_or(Text16());
        });
    });
}

int CGlobalFunction::WideCharToMultiByte(const unsigned short* s, char* buffer, int size, int nCodePage)
{
    return Guarded(0, [&] {
        const std::basic_string_view<unsigned short> text =
            s ? std::basic_string_view<unsigned short>(s) : std::basic_string_view<unsigned short>();
        return HandOut(buffer, size, [&](std::size_t limit) {
            return netinfo::Encode(text, nCodePage, limit).value_or(std::string());
        });
    });
}
