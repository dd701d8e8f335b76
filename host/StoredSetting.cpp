#include "host/StoredSetting.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "host/Format.h"
#include "host/Text16.h"
#include "platform/common/Directories.h"
#include "platform/common/GlobalFunction.h"

namespace netinfo {

std::string ReadStored(std::string_view section, std::string_view key)
{
    const Text16 section16 = ToText16(std::string(section));
    const Text16 key16 = ToText16(std::string(key));
    const int length = CGlobalFunction::GetSetting(section16.c_str(), key16.c_str(), nullptr, 0);
    if (length <= 0) return {};
    Text16 value(static_cast<std::size_t>(length) + 1, 0);
    const int copied = CGlobalFunction::GetSetting(section16.c_str(), key16.c_str(), value.data(), length);
    value.resize(static_cast<std::size_t>(std::max(copied, 0)));
    return FromText16(value);
}

std::optional<Failure> WriteStored(std::string_view section, std::string_view key, const std::string& value)
{
    const Text16 section16 = ToText16(std::string(section));
    const Text16 key16 = ToText16(std::string(key));
    if (CGlobalFunction::SetSetting(section16.c_str(), key16.c_str(), ToText16(value).c_str()))
        return std::nullopt;
    const std::string directory = ConfigDirectory();
    if (directory.empty())
        return Failure{"there is no settings directory: neither HOME nor NETINFO_CONFIG_DIR is set"};
    return Failure{
        fmt::format("the settings file {}DataUsageLimit.ini cannot be written; make it writable or set "
                    "NETINFO_CONFIG_DIR",
                    Printable(directory))};
}

}  // namespace netinfo
