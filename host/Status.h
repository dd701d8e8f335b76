#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Json.h"
#include "host/Style.h"
#include "host/TrafficType.h"
#include "platform/dialup/CountedLinks.h"
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

/// For people: "connected", "link up", or "-".
std::string_view StateName(const TypeStatus& status);
/// The links, printable, with commas between them.
std::string LinkNames(const TypeStatus& status);

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

/// Where a table is drawn, and how.
struct TableFrame
{
    std::size_t columns = 80;
    std::size_t lines = 100;  ///< at most
    Style style{};
    std::string_view hint = "Ctrl-C ends";  ///< stands behind the time
};

/// The lines of a table of which every terminal should have room: title, types, states, links, speeds.
inline constexpr std::size_t LEAST_STATUS_LINES = 6;

/// Adds those of the links that are of the status's type.
void AddLinks(TypeStatus& status, const std::vector<CountedLink>& links);

/// The status of all types as the lines of a table (of 60 columns or more; a narrower terminal sees the left
/// part). Where there is no room for all of its lines, the least important are left out. An amount too long
/// for its column has an IEC unit, whatever the style says. Colours mark the heading and what is connected.
std::vector<std::string> StatusTable(const std::vector<TypeStatus>& statuses, unsigned long long moment,
                                     const TableFrame& frame);

/// The status of one type for programs, and back; nothing from what is no such document.
Json StatusDocument(const TypeStatus& status);
std::optional<TypeStatus> StatusFrom(const Json& document);

/// What a service answers when it is asked for its status.
struct StatusAnswer
{
    unsigned long long time = 0;    ///< moment
    std::vector<TypeStatus> types;  ///< every type, in their order
};
/// Nothing from what is no such answer.
std::optional<StatusAnswer> StatusAnswerFrom(const Json& document);

/// The status of one type as one line, with its line end: for people, and for programs (JSON).
std::string StatusLine(const TypeStatus& status, unsigned long long moment, Units units = Units::Iec);
std::string StatusJson(const TypeStatus& status, unsigned long long moment);

}  // namespace netinfo
