#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/SpeedHistory.h"
#include "host/Status.h"

namespace netinfo {

using SpeedHistories = std::array<SpeedHistory, TRAFFIC_TYPES.size()>;

/// The status of all types as the lines of a table and, below it, a graph of the speeds down and up for each
/// type that is connected or moved something in the time that the graphs show. The graphs share the lines
/// that the table leaves; where there are too few, the table gives up its least important ones for them.
std::vector<std::string> LiveTable(const std::vector<TypeStatus>& statuses, const SpeedHistories& histories,
                                   unsigned long long moment, const TableFrame& frame);

}  // namespace netinfo
