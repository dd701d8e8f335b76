#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace netinfo {

/// The one of `known` that `word` was probably meant to be: it begins with it, or differs in few letters,
/// case aside. A letter that is missing, wrong or too many and two letters that changed places count one
/// each, and a third of the letters may be wrong. The first of several that are equally near; empty if none
/// is near.
///
/// Threads: any.
std::string NearestWord(std::string_view word, const std::vector<std::string>& known);

/// The end of a message about a word that is not known: "; did you mean 'report'?", or nothing.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

}  // namespace netinfo
