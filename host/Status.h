#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "host/TrafficType.h"
#include "plugin/Interfaces.h"

namespace netinfo {

/// What there is to show about one connection type at one moment. Bytes, bytes per second, seconds.
struct TypeStatus
{
    TrafficType type{};
    bool connected = false;          ///< the plug-in samples a connection of this type
    std::vector<std::string> links;  ///< the counted links of this type, as people call them
    unsigned downSpeed = 0;
    unsigned upSpeed = 0;
    unsigned peakDown = 0;  ///< highest of this connection
    unsigned peakUp = 0;
    unsigned long long downloaded = 0;  ///< by this connection
    unsigned long long uploaded = 0;
    unsigned seconds = 0;                         ///< that this connection has been up
    unsigned long long downloadedSinceReset = 0;  ///< by every connection of this type
    unsigned long long uploadedSinceReset = 0;
};

/// True if nothing but the time differs.
bool SameFigures(const TypeStatus& left, const TypeStatus& right);

/// Asks the plug-in for the figures of a type and follows each connection's peak.
///
/// Threads:   one host thread, never from inside a notification.
/// Ownership: the service is borrowed.
/// Errors:    what the service throws.
class StatusReader
{
public:
    explicit StatusReader(INetInfoService& service) : m_service(service) {}

    /// `index` is that of the type among the connection types. The links are left to the caller.
    TypeStatus Read(std::size_t index);

private:
    /// The plug-in's own peak covers its last two samples; the highest of them all is kept here.
    struct Peak
    {
        unsigned down = 0;
        unsigned up = 0;
        unsigned seconds = 0;  ///< age of the connection when it was last read
    };

    INetInfoService& m_service;
    std::array<Peak, TRAFFIC_TYPES.size()> m_peaks{};
};

/// The status of all types as the lines of a table, for a terminal of so many columns (60 or more; a narrower
/// one sees the left part). `colour` marks the heading and what is connected.
std::vector<std::string> StatusTable(const std::vector<TypeStatus>& statuses, unsigned long long moment,
                                     std::size_t columns, bool colour);

/// The status of one type as one line, with its line end: for people, and for programs (JSON).
std::string StatusLine(const TypeStatus& status, unsigned long long moment);
std::string StatusJson(const TypeStatus& status, unsigned long long moment);

}  // namespace netinfo
