#include "platform/dialup/CountedLinks.h"

#include "platform/dialup/LinkService.h"

namespace netinfo {

std::optional<std::vector<CountedLink>> ReadCountedLinks()
try {
    return LinkService::Instance().Ask([](LinkMonitor& monitor) { return monitor.ReadCountedLinks(); });
} catch (...) {
    return std::nullopt;
}

std::vector<LinkState> ReadAllLinks()
try {
    return LinkService::Instance().Ask([](LinkMonitor& monitor) { return monitor.ReadAllLinks(); });
} catch (...) {
    return {};
}

unsigned long long LinkGeneration()
try {
    return LinkService::Instance().Generation();
} catch (...) {
    return 0;
}

HandedCounters ReadHandedCounters()
try {
    return LinkService::Instance().Ask([](LinkMonitor& monitor) { return monitor.Handed(); });
} catch (...) {
    return {};
}

}  // namespace netinfo
