#include "host/ByteAmount.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>

#include "host/Format.h"

namespace netinfo {
namespace {

constexpr unsigned long long MOST = std::numeric_limits<long long>::max();
constexpr std::size_t MOST_DECIMALS = 3;

struct Unit
{
    std::string_view name;  ///< in lower case
    unsigned long long bytes;
};

constexpr std::array<Unit, 12> UNITS{{
    {"", 1},
    {"b", 1},
    {"kb", 1'000},
    {"mb", 1'000'000},
    {"gb", 1'000'000'000},
    {"tb", 1'000'000'000'000},
    {"pb", 1'000'000'000'000'000},
    {"kib", 1ULL << 10},
    {"mib", 1ULL << 20},
    {"gib", 1ULL << 30},
    {"tib", 1ULL << 40},
    {"pib", 1ULL << 50},
}};

std::optional<unsigned long long> ReadAmount(std::string_view text)
{
    const std::size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string_view number = text.substr(0, end);
    const std::string name = LowerCase(text.substr(std::min(text.find_first_not_of(' ', end), text.size())));
    const auto* const unit =
        std::find_if(UNITS.begin(), UNITS.end(), [&](const Unit& known) { return known.name == name; });
    if (unit == UNITS.end()) return std::nullopt;

    const std::size_t point = std::min(number.find('.'), number.size());
    unsigned long long whole = 0;
    if (!ParseDigits(number.substr(0, point), whole)) return std::nullopt;
    if (whole > MOST / unit->bytes) return std::nullopt;

    unsigned long long part = 0;  // thousandths
    if (point < number.size()) {
        std::string decimals(number.substr(point + 1));
        if (decimals.empty() || decimals.size() > MOST_DECIMALS) return std::nullopt;
        decimals.resize(MOST_DECIMALS, '0');
        if (!ParseDigits(decimals, part)) return std::nullopt;
    }
    const unsigned long long bytes = whole * unit->bytes + part * unit->bytes / 1000;
    if (bytes == 0 || bytes > MOST) return std::nullopt;
    return bytes;
}

}  // namespace

Result<unsigned long long> ParseByteAmount(std::string_view text)
{
    if (const auto bytes = ReadAmount(text)) return *bytes;
    return Failure{fmt::format("'{}' is no amount: 20GB, 18.5GiB or bytes", Printable(text)), EXIT_USAGE};
}

}  // namespace netinfo
