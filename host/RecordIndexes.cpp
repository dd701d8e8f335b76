#include "host/RecordIndexes.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "host/Format.h"

namespace netinfo {
namespace {

Failure Refuse(std::string_view word, std::string_view reason)
{
    return {fmt::format("'{}' {}", Printable(word), reason), EXIT_USAGE};
}

bool LooksNegative(std::string_view word)
{
    return word.size() > 1 && word[0] == '-' && word[1] >= '0' && word[1] <= '9';
}

}  // namespace

Result<RecordIndexes> RecordIndexes::Parse(const std::vector<std::string>& words)
{
    RecordIndexes indexes;
    for (const std::string& word : words) {
        const std::string_view text = word;
        if (LooksNegative(text)) return Refuse(text, "is negative; record indexes count from 0");

        const std::size_t dash = text.find('-');
        Range range{};
        bool understood = ParseDigits(text.substr(0, dash), range.first);
        range.last = range.first;
        if (dash != std::string_view::npos) {
            understood = understood && ParseDigits(text.substr(dash + 1), range.last);
        }
        if (!understood) return Refuse(text, "is not a record index (3) or a range of them (2-5)");
        if (range.last < range.first) return Refuse(text, "is a range that ends before it begins");
        indexes.m_ranges.push_back(range);
    }

    std::sort(indexes.m_ranges.begin(), indexes.m_ranges.end(),
              [](const Range& left, const Range& right) { return left.first < right.first; });
    for (std::size_t i = 1; i < indexes.m_ranges.size(); ++i) {
        if (indexes.m_ranges[i].first > indexes.m_ranges[i - 1].last) continue;
        return Failure{fmt::format("record {} is given more than once", indexes.m_ranges[i].first),
                       EXIT_USAGE};
    }
    return indexes;
}

Result<std::vector<int>> RecordIndexes::Among(int count) const
{
    std::vector<int> result;
    for (const Range& range : m_ranges) {
        if (count <= 0) return Failure{"there are no records", EXIT_USAGE};
        if (range.last >= static_cast<unsigned long long>(count)) {
            const unsigned long long outside = std::max(range.first, static_cast<unsigned long long>(count));
            return Failure{fmt::format("there is no record {}; the last one is {}", outside, count - 1),
                           EXIT_USAGE};
        }
        for (unsigned long long index = range.first; index <= range.last; ++index)
            result.push_back(static_cast<int>(index));
    }
    return result;
}

}  // namespace netinfo
