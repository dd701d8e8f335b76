#include "host/Status.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "host/Format.h"
#include "host/LinkProfile.h"

namespace netinfo {
namespace {

constexpr std::size_t LEAST_COLUMNS = 60;
constexpr std::size_t LABEL_COLUMNS = 17;
constexpr std::size_t MOST_VALUE_COLUMNS = 24;
constexpr std::size_t HEADING_LINES = 2;

struct Row
{
    std::string_view label;
    std::size_t rank;  ///< where there is room for so many rows only, it is not shown
    std::function<std::string(const TypeStatus&, Units)> value;
};

const std::array<Row, 11>& Rows()
{
    using S = const TypeStatus&;
    static const std::array<Row, 11> rows{{
        {"State", 0, [](S s, Units) { return std::string(StateName(s)); }},
        {"Link", 1, [](S s, Units) { return LinkNames(s); }},
        {"Down", 2, [](S s, Units units) { return FormatSpeed(s.downSpeed, units); }},
        {"Up", 3, [](S s, Units units) { return FormatSpeed(s.upSpeed, units); }},
        {"Peak down", 7, [](S s, Units units) { return FormatSpeed(s.peakDown, units); }},
        {"Peak up", 8, [](S s, Units units) { return FormatSpeed(s.peakUp, units); }},
        {"Downloaded", 4, [](S s, Units units) { return FormatBytes(s.downloaded, units); }},
        {"Uploaded", 5, [](S s, Units units) { return FormatBytes(s.uploaded, units); }},
        {"Time", 6, [](S s, Units) { return FormatDuration(s.seconds); }},
        {"Down since reset", 9, [](S s, Units units) { return FormatBytes(s.downloadedSinceReset, units); }},
        {"Up since reset", 10, [](S s, Units units) { return FormatBytes(s.uploadedSinceReset, units); }},
    }};
    return rows;
}

}  // namespace

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

void AddLinks(TypeStatus& status, const std::vector<CountedLink>& links)
{
    for (const CountedLink& link : links) {
        if (static_cast<int>(link.type) == status.type.code) status.links.push_back(ProfileOf(link));
    }
}

std::vector<std::string> StatusTable(const std::vector<TypeStatus>& statuses, unsigned long long moment,
                                     const TableFrame& frame)
{
    const Style& style = frame.style;
    const std::size_t room = std::max(frame.columns, LEAST_COLUMNS) - LABEL_COLUMNS;
    const std::size_t width = std::min(room / TRAFFIC_TYPES.size(), MOST_VALUE_COLUMNS);

    std::vector<std::string> lines;
    std::string heading = PadRight("", LABEL_COLUMNS);
    for (const TypeStatus& status : statuses)
        heading += PadLeft(status.type.label, width);
    lines.push_back(fmt::format("netinfo  {}  {}", FormatMoment(moment), frame.hint));
    lines.push_back(Marked(heading, Mark::Bold, style.colour));

    for (const Row& row : Rows()) {
        if (row.rank + HEADING_LINES >= frame.lines) continue;
        std::string line = PadRight(row.label, LABEL_COLUMNS);
        for (const TypeStatus& status : statuses) {
            std::string value = row.value(status, style.units);
            if (Width(value) >= width) value = row.value(status, Units::Iec);  // a figure is never cut
            line += Marked(PadLeft(Shorten(value, width - 1), width), Mark::Green,
                           style.colour && status.connected && row.label == "State");
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string StatusLine(const TypeStatus& status, unsigned long long moment, Units units)
{
    const std::string links = LinkNames(status);
    return fmt::format(
        "{}  {}  {}{}  down {}  up {}  peak {} / {}  connection {} / {} in {}  since reset {} / {}\n",
        FormatMoment(moment), PadRight(status.type.label, 7), status.connected ? "connected" : "disconnected",
        links.empty() ? "" : fmt::format(" ({})", links), FormatSpeed(status.downSpeed, units),
        FormatSpeed(status.upSpeed, units), FormatSpeed(status.peakDown, units),
        FormatSpeed(status.peakUp, units), FormatBytes(status.downloaded, units),
        FormatBytes(status.uploaded, units), FormatDuration(status.seconds),
        FormatBytes(status.downloadedSinceReset, units), FormatBytes(status.uploadedSinceReset, units));
}

Json StatusDocument(const TypeStatus& status)
{
    Json json;
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
    return json;
}

std::optional<TypeStatus> StatusFrom(const Json& document)
try {
    const auto type = FindTrafficType(document.at("type").get<std::string>());
    if (!type) return std::nullopt;
    TypeStatus status;
    status.type = *type;
    document.at("connected").get_to(status.connected);
    document.at("links").get_to(status.links);
    document.at("download_speed").get_to(status.downSpeed);
    document.at("upload_speed").get_to(status.upSpeed);
    document.at("peak_download_speed").get_to(status.peakDown);
    document.at("peak_upload_speed").get_to(status.peakUp);
    document.at("downloaded").get_to(status.downloaded);
    document.at("uploaded").get_to(status.uploaded);
    document.at("seconds").get_to(status.seconds);
    document.at("since_reset").at("downloaded").get_to(status.downloadedSinceReset);
    document.at("since_reset").at("uploaded").get_to(status.uploadedSinceReset);
    return status;
} catch (const Json::exception&) {
    return std::nullopt;
}

std::optional<StatusAnswer> StatusAnswerFrom(const Json& document)
try {
    StatusAnswer answer;
    document.at("time").get_to(answer.time);
    const Json& types = document.at("types");
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
        const auto status = StatusFrom(types.at(i));
        if (!status || status->type.code != TRAFFIC_TYPES[i].code) return std::nullopt;
        answer.types.push_back(*status);
    }
    return answer;
} catch (const Json::exception&) {
    return std::nullopt;
}

std::string StatusJson(const TypeStatus& status, unsigned long long moment)
{
    Json json;
    json["time"] = moment;
    json.update(StatusDocument(status));
    return OneLine(json);
}

}  // namespace netinfo
