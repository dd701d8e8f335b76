#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/dialup/LinkMonitor.h"

namespace nettest {

inline constexpr auto kDirections = {&netinfo::ByteCounters::received, &netinfo::ByteCounters::sent};

/// The plug-in, small: it sums up the counters of all selected links of a type under the name of the first,
/// pairs the sums of two heartbeats by that name, and adds up what they grew by.
class PluginModel
{
public:
    explicit PluginModel(netinfo::LinkMonitor& monitor) : m_monitor(monitor) {}

    /// The devices that the host reports as connected.
    void Connect(std::vector<std::pair<std::string, netinfo::ConnectionType>> devices)
    {
        m_devices = std::move(devices);
    }

    void Heartbeat()
    {
        m_seen.clear();
        m_selected.clear();
        if (!m_connected && m_devices.empty()) return;
        if (m_connected != !m_devices.empty()) {
            m_connected = !m_devices.empty();
            m_totals.clear();
            m_typeTotals.clear();
            if (!m_connected) return;
            m_base = Snapshot();
            m_inBase = m_selected;
        }

        std::map<std::string, netinfo::ByteCounters> totals;
        m_typeTotals.clear();
        for (const Sum& sum : Snapshot()) {
            netinfo::ByteCounters last;
            if (const auto total = m_totals.find(sum.name); total != m_totals.end()) last = total->second;
            netinfo::ByteCounters& now = totals[sum.name] = last;
            for (const Sum& base : m_base) {
                if (base.name != sum.name) continue;
                for (const auto direction : kDirections) {
                    last.*direction += base.counters.*direction;
                }
                break;
            }
            for (const auto direction : kDirections) {
                const unsigned long long increment = Increment(last.*direction, sum.counters.*direction);
                now.*direction += increment;
                m_counted.*direction += increment;
            }
            m_typeTotals[sum.type] = now;
        }
        m_totals = totals;
    }

    const netinfo::ByteCounters& Counted() const { return m_counted; }
    /// The running totals of the types that are connected.
    const std::map<netinfo::ConnectionType, netinfo::ByteCounters>& Totals() const { return m_typeTotals; }
    bool Connected() const { return m_connected; }
    /// What the last heartbeat was handed; nothing if it did not ask, or asked in vain.
    const std::vector<netinfo::PresentedLink>& Seen() const { return m_seen; }
    /// Names of the links that the last heartbeat counted.
    const std::set<std::string>& Selected() const { return m_selected; }
    /// Names of the links whose counters the phase of connection began with.
    const std::set<std::string>& InBase() const { return m_inBase; }

private:
    struct Sum
    {
        netinfo::ConnectionType type;
        std::string name;
        netinfo::ByteCounters counters;
    };

    std::vector<Sum> Snapshot()
    {
        std::vector<Sum> sums;
        m_seen.clear();
        m_selected.clear();
        netinfo::PresentedLinks rows;
        if (m_monitor.ReadRows(rows) == 0) {
            for (const netinfo::PresentedLink* const row : rows) {
                Add(sums, *row,
                    {netinfo::PresentedLink::InRow(row->counters.received),
                     netinfo::PresentedLink::InRow(row->counters.sent)});
            }
        }
        netinfo::PresentedLinks connections;
        if (m_monitor.ReadConnections(connections) == 0) {
            for (const netinfo::PresentedLink* const connection : connections) {
                const netinfo::PresentedLink* measured = nullptr;
                if (m_monitor.ReadStatistics(connection->number, measured) != 0) continue;
                Add(sums, *measured, measured->counters);
            }
        }
        return sums;
    }

    void Add(std::vector<Sum>& sums, const netinfo::PresentedLink& link,
             const netinfo::ByteCounters& counters)
    {
        m_seen.push_back(link);
        for (const auto& [name, type] : m_devices) {
            if (link.deviceName.find(name) == std::string::npos) continue;

            m_selected.insert(link.deviceName);
            for (Sum& sum : sums) {
                if (sum.type != type) continue;
                sum.counters.received += counters.received;
                sum.counters.sent += counters.sent;
                return;
            }
            sums.push_back({type, name, counters});
            return;
        }
    }

    static unsigned long long Increment(unsigned long long last, unsigned long long now)
    {
        constexpr unsigned long long kFold = 0xFFFFFFFF;
        constexpr unsigned long long kLargestWrap = 209'715'199;
        last %= kFold;
        now %= kFold;
        if (now == 0) now = last;
        if (now >= last) return now - last;
        const unsigned long long wrapped = now + kFold - last;
        return wrapped > kLargestWrap ? 0 : wrapped;
    }

    netinfo::LinkMonitor& m_monitor;
    std::vector<std::pair<std::string, netinfo::ConnectionType>> m_devices;
    bool m_connected = false;
    std::vector<Sum> m_base;
    std::set<std::string> m_inBase;
    std::map<std::string, netinfo::ByteCounters> m_totals;
    std::map<netinfo::ConnectionType, netinfo::ByteCounters> m_typeTotals;
    netinfo::ByteCounters m_counted;
    std::vector<netinfo::PresentedLink> m_seen;
    std::set<std::string> m_selected;
};

}  // namespace nettest
