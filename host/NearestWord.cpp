#include "host/NearestWord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "host/Format.h"

namespace netinfo {
namespace {

constexpr std::size_t LONGEST = 64;         // bytes: no name is longer
constexpr std::size_t SHORTEST_BEGIN = 2;   // bytes of a word that stands for its beginning
constexpr std::size_t LETTERS_A_FAULT = 3;  // of which one may be wrong

/// How many letters are missing, wrong, too many or swapped with their neighbour.
std::size_t Faults(std::string_view left, std::string_view right)
{
    std::vector<std::size_t> before;  // the row before the last
    std::vector<std::size_t> last(right.size() + 1);
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t j = 0; j <= right.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= left.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t wrong = left[i - 1] == right[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + wrong});
            const bool swapped = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
            if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = last;
        std::swap(last, row);
    }
    return last.back();
}

}  // namespace

std::string NearestWord(std::string_view word, const std::vector<std::string>& known)
{
    if (word.empty() || word.size() > LONGEST) return {};
    const std::string wanted = LowerCase(word);
    std::size_t least = std::max<std::size_t>(wanted.size() / LETTERS_A_FAULT, 1) + 1;
    std::string nearest;
    for (const std::string& candidate : known) {
        const bool begun = wanted.size() >= SHORTEST_BEGIN && candidate.starts_with(wanted);
        const std::size_t faults = begun ? 1 : Faults(wanted, LowerCase(candidate));
        if (faults >= least) continue;
        least = faults;
        nearest = candidate;
    }
    return nearest;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& known)
{
    const std::string nearest = NearestWord(word, known);
    return nearest.empty() ? "" : fmt::format("; did you mean '{}'?", nearest);
}

}  // namespace netinfo
