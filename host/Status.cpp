#include "host/Status.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "host/Format.h"
#include "host/Json.h"

namespace netinfo {
namespace {

constexpr std::size_t LEAST_COLUMNS = 60;
constexpr std::size_t LABEL_COLUMNS = 17;
constexpr std::size_t MOST_VALUE_COLUMNS = 24;

constexpr std::string_view BOLD = "\033[1m";
constexpr std::string_view GREEN = "\033[32m";
constexpr std::string_view PLAIN = "\033[0m";

std::string_view StateName(const TypeStatus& status)
{
    if (status.connected) return "connected";
    if (!status.links.empty()) return "link up";
    return "-";
}

std::string LinkNames(const TypeStatus& status)
{
    std::string names;
    for (const std::string& link : status.links) {
        if (!names.empty()) names += ", ";
        names += Printable(link);
    }
    return names;
}

struct Row
{
    std::string_view label;
    std::function<std::string(const TypeStatus&)> value;
};

const std::array<Row, 11>& Rows()
{
    static const std::array<Row, 11> rows{{
        {"State", [](const TypeStatus& s) { return std::string(StateName(s)); }},
        {"Link", LinkNames},
        {"Down", [](const TypeStatus& s) { return FormatSpeed(s.downSpeed); }},
        {"Up", [](const TypeStatus& s) { return FormatSpeed(s.upSpeed); }},
        {"Peak down", [](const TypeStatus& s) { return FormatSpeed(s.peakDown); }},
        {"Peak up", [](const TypeStatus& s) { return FormatSpeed(s.peakUp); }},
        {"Downloaded", [](const TypeStatus& s) { return FormatBytes(s.downloaded); }},
        {"Uploaded", [](const TypeStatus& s) { return FormatBytes(s.uploaded); }},
        {"Time", [](const TypeStatus& s) { return FormatDuration(s.seconds); }},
        {"Down since reset", [](const TypeStatus& s) { return FormatBytes(s.downloadedSinceReset); }},
        {"Up since reset", [](const TypeStatus& s) { return FormatBytes(s.uploadedSinceReset); }},
    }};
    return rows;
}

std::string Marked(std::string text, std::string_view mark, bool colour)
{
    if (!colour) return text;
    return fmt::format("{}{}{}", mark, text, PLAIN);
}

}  // namespace

bool SameFigures(const TypeStatus& left, const TypeStatus& right)
{
    return left.type.code == right.type.code && left.connected == right.connected &&
           left.links == right.links && left.downSpeed == right.downSpeed && left.upSpeed == right.upSpeed &&
           left.peakDown == right.peakDown && left.peakUp == right.peakUp &&
           left.downloaded == right.downloaded && left.uploaded == right.uploaded &&
           left.downloadedSinceReset == right.downloadedSinceReset &&
           left.uploadedSinceReset == right.uploadedSinceReset;
}

TypeStatus StatusReader::Read(std::size_t index)
{
    TypeStatus status;
    status.type = TRAFFIC_TYPES.at(index);

    nis::SNAPSHOT snapshot;
    m_service.GetSnapShot(snapshot, status.type.code);
    nis::REPORT since;
    m_service.GetSinceReport(since, status.type.code);

    status.connected = snapshot.clkTime != 0;  // a type without a live connection has no sample, so no clock
    status.downSpeed = snapshot.ulDLSpeed;
    status.upSpeed = snapshot.ulULSpeed;
    status.downloaded = snapshot.ullDL;
    status.uploaded = snapshot.ullUL;
    status.seconds = snapshot.ulConnectTime;
    status.downloadedSinceReset = since.ullDownloaded;
    status.uploadedSinceReset = since.ullUploaded;

    Peak& peak = m_peaks.at(index);
    if (!status.connected || status.seconds < peak.seconds) peak = {};
    peak.down = std::max({peak.down, snapshot.ulMaxDLSpeed, snapshot.ulDLSpeed});
    peak.up = std::max({peak.up, snapshot.ulMaxULSpeed, snapshot.ulULSpeed});
    peak.seconds = status.seconds;
    status.peakDown = peak.down;
    status.peakUp = peak.up;
    return status;
}

std::vector<std::string> StatusTable(const std::vector<TypeStatus>& statuses, unsigned long long moment,
                                     std::size_t columns, bool colour)
{
    const std::size_t room = std::max(columns, LEAST_COLUMNS) - LABEL_COLUMNS;
    const std::size_t width = std::min(room / TRAFFIC_TYPES.size(), MOST_VALUE_COLUMNS);

    std::vector<std::string> lines;
    std::string heading = PadRight("", LABEL_COLUMNS);
    for (const TypeStatus& status : statuses)
        heading += PadLeft(status.type.label, width);
    lines.push_back(fmt::format("netinfo  {}  Ctrl-C ends", FormatMoment(moment)));
    lines.push_back(Marked(std::move(heading), BOLD, colour));

    for (const Row& row : Rows()) {
        std::string line = PadRight(row.label, LABEL_COLUMNS);
        for (const TypeStatus& status : statuses) {
            const std::string value = PadLeft(Shorten(row.value(status), width - 1), width);
            line += Marked(value, GREEN, colour && status.connected && row.label == "State");
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string StatusLine(const TypeStatus& status, unsigned long long moment)
{
    const std::string links = LinkNames(status);
    return fmt::format(
        "{}  {}  {}{}  down {}  up {}  peak {} / {}  connection {} / {} in {}  since reset {} / {}\n",
        FormatMoment(moment), PadRight(status.type.label, 7), status.connected ? "connected" : "disconnected",
        links.empty() ? "" : fmt::format(" ({})", links), FormatSpeed(status.downSpeed),
        FormatSpeed(status.upSpeed), FormatSpeed(status.peakDown), FormatSpeed(status.peakUp),
        FormatBytes(status.downloaded), FormatBytes(status.uploaded), FormatDuration(status.seconds),
        FormatBytes(status.downloadedSinceReset), FormatBytes(status.uploadedSinceReset));
}

std::string StatusJson(const TypeStatus& status, unsigned long long moment)
{
    Json json;
    json["time"] = moment;
    json["type"] = status.type.name;
    json["connected"] = status.connected;
    json["links"] = status.links;
    json["download_speed"] = status.downSpeed;
    json["upload_speed"] = status.upSpeed;
    json["peak_download_speed"] = status.peakDown;
    json["peak_upload_speed"] = status.peakUp;
    json["downloaded"] = status.downloaded;
    json["uploaded"] = status.uploaded;
    json["seconds"] = status.seconds;
    json["since_reset"] = {{"downloaded", status.downloadedSinceReset},
                           {"uploaded", status.uploadedSinceReset}};
    return OneLine(json);
}

}  // namespace netinfo
