#pragma once

#include <string>
#include <vector>

#include "host/Result.h"

namespace netinfo {

/// Record indexes as the command line gives them, still to be held against the number of records there are.
///
/// Units: indexes count from 0, oldest record first.
class RecordIndexes
{
public:
    /// Reads indexes ("3") and ranges ("2-5", both ends meant). EXIT_USAGE for anything else and for an index
    /// given more than once.
    static Result<RecordIndexes> Parse(const std::vector<std::string>& words);

    /// The indexes in ascending order; EXIT_USAGE if one of them is not below `count`.
    Result<std::vector<int>> Among(int count) const;

private:
    struct Range
    {
        unsigned long long first;
        unsigned long long last;
    };

    std::vector<Range> m_ranges;  ///< ascending, none overlaps another
};

}  // namespace netinfo
