#include "host/ControlRoutes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Format.h"
#include "host/Limit.h"
#include "host/ParseTime.h"
#include "host/RecordIndexes.h"
#include "host/RecordList.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "host/Summary.h"
#include "host/UsageReport.h"
#include "platform/common/Directories.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {
namespace {

constexpr int NOT_FOUND = 404;
constexpr int WRONG_METHOD = 405;
constexpr int CONFLICT = 409;

/// A document, or why there is none.
struct Reply
{
    Reply(Json document) : answer{200, std::move(document), {}} {}
    Reply(const Failure& failure, int status = 0) : answer(RefusedAnswer(failure, status)) {}

    ControlAnswer answer;
};

Failure Wrong(std::string message) { return {std::move(message), EXIT_USAGE}; }

std::string Parameter(const ControlRequest& request, const std::string& name)
{
    const auto found = request.query.find(name);
    return found == request.query.end() ? "" : found->second;
}

/// The settings files can be read; otherwise they would count as empty.
std::optional<Failure> CheckSettings() { return CheckSettingsFiles(ConfigDirectory(), ModuleDirectory()); }

/// The members of a request's body, texts and whole numbers alike as texts; only those that are `known`.
Result<std::map<std::string, std::string>> Members(const Json& body,
                                                   std::initializer_list<std::string_view> known)
{
    if (!body.is_object()) return Wrong("the request's body has to be a JSON object");
    std::map<std::string, std::string> members;
    for (const auto& [name, value] : body.items()) {
        if (std::find(known.begin(), known.end(), name) == known.end())
            return Wrong(fmt::format("the request's body takes no '{}'", Printable(name)));
        if (value.is_string()) {
            members[name] = value.get<std::string>();
        } else if (value.is_number_unsigned()) {
            members[name] = std::to_string(value.get<unsigned long long>());
        } else if (!value.is_null()) {
            return Wrong(fmt::format("'{}' of the request's body has to be a text or a whole number", name));
        }
    }
    return members;
}

Reply Status(ControlSource& source, const ControlRequest&)
{
    const auto statuses = source.Statuses();
    if (!statuses) return statuses.Error();
    Json types = Json::array();
    for (const TypeStatus& status : *statuses)
        types.push_back(StatusDocument(status));
    Json json;
    json["time"] = std::time(nullptr);
    json["service"] = source.Service();
    json["data_directory"] = source.DataDirectory();
    json["types"] = std::move(types);
    return json;
}

// --- the plug-in's figures ---

struct ReportPeriod
{
    std::string_view name;
    void (INetInfoService::*report)(nis::REPORT&, int);
};

constexpr std::array<ReportPeriod, 5> REPORT_PERIODS{{
    {"today", &INetInfoService::GetTodayReport},
    {"week", &INetInfoService::GetThisWeekReport},
    {"month", &INetInfoService::GetThisMonthReport},
    {"year", &INetInfoService::GetThisYearReport},
    {"since_reset", &INetInfoService::GetSinceReport},
}};

Reply Report(ControlSource& source, const ControlRequest&)
{
    const auto traffic = source.Traffic();
    if (!traffic) return traffic.Error();
    Json types = Json::array();
    for (const TrafficType& type : TRAFFIC_TYPES) {
        Json json;
        json["type"] = type.name;
        for (const ReportPeriod& period : REPORT_PERIODS) {
            nis::REPORT report;  // stays zero where the plug-in has nothing
            ((*traffic)->*period.report)(report, type.code);
            json[std::string(period.name)] = {{"start", MomentOf(report.tmStart)},
                                              {"downloaded", report.ullDownloaded},
                                              {"uploaded", report.ullUploaded},
                                              {"seconds", report.ullTime}};
        }
        types.push_back(std::move(json));
    }
    return Json{{"types", std::move(types)}};
}

Reply History(ControlSource& source, const ControlRequest& request)
{
    const auto now = static_cast<unsigned long long>(std::time(nullptr));
    const std::string since = Parameter(request, "since");
    unsigned long long from = 0;
    if (!ParseDigits(since, from) || from > now) {
        const auto moment = ParseSince(since, now);
        if (!moment) return moment.Error();
        from = *moment;
    }
    const auto traffic = source.Traffic();
    if (!traffic) return traffic.Error();
    nis::REPORT report;
    (*traffic)->GetSpecHistroryData(report, from);
    return Json{{"since", from},
                {"downloaded", report.ullDownloaded},
                {"uploaded", report.ullUploaded},
                {"seconds", report.ullTime}};
}

Reply Records(ControlSource& source, const ControlRequest& request)
{
    const std::string last = Parameter(request, "last");
    if (!last.empty() && last != "0" && last != "1") return Wrong("last is 0 or 1");
    const auto records = source.Records();
    if (!records) return records.Error();
    return RecordDocument(last == "1" ? ReadLastRecord(**records) : ReadRecords(**records));
}

/// The words for the indexes in a request's body.
Result<RecordIndexes> IndexesOf(const Json& body)
{
    if (!body.is_object() || !body.contains("indexes") || !body["indexes"].is_array() ||
        body["indexes"].empty()) {
        return Wrong(R"(the request's body has to be such as {"indexes": [0, 1]})");
    }
    std::vector<std::string> words;
    for (const Json& index : body["indexes"]) {
        if (!index.is_number_integer()) return Wrong("an index has to be a whole number");
        words.push_back(index.dump());
    }
    for (const auto& [name, value] : body.items()) {
        if (name == "indexes" || (name == "count" && value.is_number_unsigned())) continue;
        return Wrong(fmt::format("'{}' of the request's body is not understood", Printable(name)));
    }
    return RecordIndexes::Parse(words);
}

Reply RemoveRecords(ControlSource& source, const ControlRequest& request)
{
    const auto wanted = IndexesOf(request.body);
    if (!wanted) return wanted.Error();
    const auto records = source.Records();
    if (!records) return records.Error();
    const int count = CountRecords(**records);
    if (request.body.contains("count") && request.body["count"] != count)
        return {Failure{"the records have changed meanwhile; look at them again"}, CONFLICT};
    const auto indexes = wanted->Among(count);
    if (!indexes) return indexes.Error();

    bool accepted = (*records)->BeginRemoveRecord();
    for (const int index : *indexes)
        accepted = (*records)->RemoveRecord(index) && accepted;
    if (!(*records)->EndRemoveRecord() || !accepted) return Failure{"the plug-in did not remove the records"};
    return Json{{"removed", *indexes}};
}

Reply Reset(ControlSource& source, const ControlRequest& request)
{
    auto members = Members(request.body, {"type"});
    if (!members) return members.Error();
    const auto type = FindTrafficType((*members)["type"]);
    if (!type) return Wrong(UnknownTrafficType((*members)["type"]));
    const auto traffic = source.Traffic();
    if (!traffic) return traffic.Error();
    (*traffic)->Reset(type->code);
    return Json{{"reset", type->name}};
}

// --- the usage ledger ---

Reply Usage(ControlSource& source, const ControlRequest& request)
{
    const long long now = std::time(nullptr);
    const auto query =
        ParseUsageQuery({Parameter(request, "by"), Parameter(request, "from"), Parameter(request, "to"),
                         Parameter(request, "last"), Parameter(request, "type"), Parameter(request, "top")},
                        now);
    if (!query) return query.Error();
    if (const auto failure = CheckSettings()) return *failure;
    const auto ledger = source.Ledger();
    if (!ledger) return ledger.Error();
    const auto report = MakeUsageReport(**ledger, *query, ReadPeriodStarts(), now);
    if (!report) return report.Error();
    return UsageJson(*report);
}

Reply StandOf(ControlSource& source, const std::optional<Limit>& limit)
{
    if (!limit) return Json{{"limit", nullptr}};
    const auto ledger = source.Ledger();
    if (!ledger) return ledger.Error();
    const auto status = EvaluateLimit(*limit, **ledger, ReadPeriodStarts(), std::time(nullptr));
    if (!status) return status.Error();
    return LimitJson(*status);
}

Reply ShowLimit(ControlSource& source, const ControlRequest&)
{
    if (const auto failure = CheckSettings()) return *failure;
    const auto limit = ReadLimit();
    if (!limit) return limit.Error();
    return StandOf(source, *limit);
}

Reply SetLimit(ControlSource& source, const ControlRequest& request)
{
    auto members = Members(request.body, {"amount", "per", "warn", "type"});
    if (!members) return members.Error();
    const auto limit =
        ParseLimit({(*members)["amount"], (*members)["per"], (*members)["warn"], (*members)["type"]});
    if (!limit) return limit.Error();
    if (const auto failure = CheckSettings()) return *failure;
    if (const auto failure = StoreLimit(*limit)) return *failure;
    return StandOf(source, *limit);
}

Reply RemoveLimit(ControlSource& source, const ControlRequest&)
{
    if (const auto failure = CheckSettings()) return *failure;
    if (const auto failure = ClearLimit()) return *failure;
    return StandOf(source, std::nullopt);
}

// --- the summary ---

/// Every type: what the service counts, or the links alone that it would count.
Result<std::vector<TypeStatus>> TypesOf(ControlSource& source, bool counting)
{
    std::vector<TypeStatus> types;
    if (counting) {
        const auto statuses = source.Statuses();
        if (!statuses) return statuses.Error();
        types.assign(statuses->begin(), statuses->end());
        return types;
    }
    const auto links = ReadCountedLinks();
    for (const TrafficType& type : TRAFFIC_TYPES) {
        types.emplace_back().type = type;
        if (links) AddLinks(types.back(), *links);
    }
    return types;
}

Reply Summarise(ControlSource& source, const ControlRequest&)
{
    if (const auto failure = CheckSettings()) return *failure;
    const auto limit = ReadLimit();
    if (!limit) return limit.Error();
    const bool counting = !source.Service().is_null();
    auto types = TypesOf(source, counting);
    if (!types) return types.Error();
    const auto ledger = source.Ledger();
    if (!ledger) return ledger.Error();
    const auto summary =
        MakeSummary(**ledger, std::move(*types), counting, *limit, ReadPeriodStarts(), std::time(nullptr));
    if (!summary) return summary.Error();
    return SummaryJson(*summary);
}

// --- settings and links ---

Json SettingDocument(const Setting& setting)
{
    Json json{{"key", setting.key},
              {"value", setting.value},
              {"default", setting.isDefault},
              {"valid", setting.problem.empty()}};
    if (!setting.problem.empty()) json["problem"] = setting.problem;
    return json;
}

Reply ShowSettings(ControlSource&, const ControlRequest& request)
{
    if (const auto failure = CheckSettings()) return *failure;
    if (request.query.count("key") != 0) {
        const auto setting = ReadSetting(Parameter(request, "key"));
        if (!setting) return setting.Error();
        return SettingDocument(*setting);
    }
    Json list = Json::array();
    for (const Setting& setting : ReadSettings())
        list.push_back(SettingDocument(setting));
    return Json{{"settings", std::move(list)}};
}

Reply ChangeSetting(ControlSource&, const ControlRequest& request)
{
    auto members = Members(request.body, {"key", "value"});
    if (!members) return members.Error();
    if (const auto failure = CheckSettings()) return *failure;
    const auto setting = WriteSetting((*members)["key"], (*members)["value"]);
    if (!setting) return setting.Error();
    return SettingDocument(*setting);
}

Reply Devices(ControlSource&, const ControlRequest&)
{
    const std::vector<LinkState> links = ReadAllLinks();
    if (links.empty()) return Failure{"the system does not tell its links"};  // there is always a loopback
    Json list = Json::array();
    for (const LinkState& link : links) {
        list.push_back({{"index", link.index},
                        {"link", link.linkName},
                        {"alias", link.alias},
                        {"up", link.up},
                        {"type", link.type ? Json(TrafficTypeName(static_cast<int>(*link.type))) : Json()},
                        {"counted", link.type && link.up},
                        {"ruled", link.ruled},
                        {"reason", link.reason}});
    }
    return Json{{"links", std::move(list)}};
}

struct Route
{
    std::string_view method;
    std::string_view path;
    std::string_view parameters;  ///< with spaces between them
    Reply (*answer)(ControlSource&, const ControlRequest&);
};

constexpr std::array<Route, 14> ROUTES{{
    {"GET", "/v1/status", "", Status},
    {"GET", "/v1/summary", "", Summarise},
    {"GET", "/v1/report", "", Report},
    {"GET", "/v1/history", "since", History},
    {"GET", "/v1/records", "last", Records},
    {"POST", "/v1/records/remove", "", RemoveRecords},
    {"POST", "/v1/reset", "", Reset},
    {"GET", "/v1/usage", "by from to last type top", Usage},
    {"GET", "/v1/limit", "", ShowLimit},
    {"PUT", "/v1/limit", "", SetLimit},
    {"DELETE", "/v1/limit", "", RemoveLimit},
    {"GET", "/v1/settings", "key", ShowSettings},
    {"PUT", "/v1/settings", "", ChangeSetting},
    {"GET", "/v1/devices", "", Devices},
}};

bool Takes(const Route& route, std::string_view parameter)
{
    return fmt::format(" {} ", route.parameters).find(fmt::format(" {} ", parameter)) != std::string::npos;
}

ControlAnswer Call(const Route& route, ControlSource& source, const ControlRequest& request)
{
    for (const auto& [name, value] : request.query) {
        if (Takes(route, name)) continue;
        return RefusedAnswer(
            {fmt::format("{} has no parameter '{}'", route.path, Printable(name)), EXIT_USAGE});
    }
    return route.answer(source, request).answer;
}

}  // namespace

ControlAnswer AnswerControl(ControlSource& source, const ControlRequest& request)
{
    std::string allowed;
    for (const Route& route : ROUTES) {
        if (route.path != request.path) continue;
        if (route.method == request.method) return Call(route, source, request);
        allowed += fmt::format("{}{}", allowed.empty() ? "" : ", ", route.method);
    }
    if (allowed.empty())
        return RefusedAnswer({fmt::format("there is nothing at {}", Printable(request.path))}, NOT_FOUND);
    ControlAnswer answer = RefusedAnswer(
        {fmt::format("{} takes {}, not {}", request.path, allowed, Printable(request.method))}, WRONG_METHOD);
    answer.allowed = allowed;
    return answer;
}

}  // namespace netinfo
