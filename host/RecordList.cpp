#include "host/RecordList.h"

#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "host/Format.h"
#include "host/Table.h"

namespace netinfo {
namespace {

struct ReleaseSet
{
    void operator()(IConnRecord* records) const { records->Release(); }
};
using RecordSet = std::unique_ptr<IConnRecord, ReleaseSet>;

/// A plug-in's text; none counts as empty.
std::string Text(const char* text) { return text ? text : ""; }

std::vector<IndexedRecord> ReadAll(IConnRecord& records, int firstIndex)
{
    std::vector<IndexedRecord> result;
    for (bool more = records.MoveFirst(); more; more = records.MoveNext()) {
        tagConnRecord texts;
        texts.strAPN = Text(records.GetAPN());
        texts.strStartTime = Text(records.GetStartTime());
        texts.strEndTime = Text(records.GetEndTime());
        texts.strConnectTime = Text(records.GetConnectTime());
        texts.strUploadData = Text(records.GetUploadData());
        texts.strDownloadData = Text(records.GetDownloadData());
        texts.strUnitPrice = Text(records.GetUnitPrice());
        texts.strFee = Text(records.GetFee());
        result.push_back({firstIndex + static_cast<int>(result.size()), std::move(texts)});
    }
    return result;
}

/// A number in the form of `format`; any other text as it stands.
template <class Format>
std::string Shown(const std::string& text, const Format& format)
{
    unsigned long long number = 0;
    if (!ParseDigits(text, number)) return Printable(text);
    return format(number);
}

/// A text that is a number in the form of people who read "2024-05-01 12:00:03"; 0 stands for no moment.
std::string ShownMoment(unsigned long long moment) { return moment != 0 ? FormatMoment(moment) : "-"; }

struct Field
{
    std::string_view name;
    std::string tagConnRecord::*text;
};

constexpr std::array<Field, 7> NUMBERS{{
    {"start_time", &tagConnRecord::strStartTime},
    {"end_time", &tagConnRecord::strEndTime},
    {"connect_time", &tagConnRecord::strConnectTime},
    {"downloaded", &tagConnRecord::strDownloadData},
    {"uploaded", &tagConnRecord::strUploadData},
    {"unit_price", &tagConnRecord::strUnitPrice},
    {"fee", &tagConnRecord::strFee},
}};

}  // namespace

std::vector<IndexedRecord> ReadRecords(INetInfoRecord& service)
{
    const RecordSet records(service.GetAllConnRecord());
    if (!records) return {};
    return ReadAll(*records, 0);
}

std::vector<IndexedRecord> ReadLastRecord(INetInfoRecord& service)
{
    const int count = CountRecords(service);
    const RecordSet records(service.GetLastConnRecord());
    if (!records) return {};
    return ReadAll(*records, count - 1);
}

int CountRecords(INetInfoRecord& service)
{
    const RecordSet records(service.GetAllConnRecord());
    return records ? records->GetAllRecordCount() : 0;
}

std::string RecordTable(const std::vector<IndexedRecord>& records, Units units, std::size_t columns)
{
    if (records.empty()) return "no records\n";
    Table table({{"INDEX", Table::Align::Right},
                 {"PROFILE", Table::Align::Left, Table::Narrow::Shorten},
                 {"START"},
                 {"END", Table::Align::Left, Table::Narrow::LeaveOut},
                 {"TIME", Table::Align::Right, Table::Narrow::LeaveOut},
                 {"DOWN", Table::Align::Right},
                 {"UP", Table::Align::Right}});
    const auto amount = [units](unsigned long long bytes) { return FormatBytes(bytes, units); };
    for (const auto& [index, texts] : records) {
        table.Add({std::to_string(index), Printable(texts.strAPN), Shown(texts.strStartTime, ShownMoment),
                   Shown(texts.strEndTime, ShownMoment), Shown(texts.strConnectTime, FormatDuration),
                   Shown(texts.strDownloadData, amount), Shown(texts.strUploadData, amount)});
    }
    table.Fit(columns);
    return table.Text();
}

Json RecordDocument(const std::vector<IndexedRecord>& records)
{
    Json list = Json::array();
    for (const auto& [index, texts] : records) {
        Json json;
        Json numbers = Json::object();
        json["index"] = index;
        json["profile"] = texts.strAPN;
        for (const Field& field : NUMBERS) {
            const std::string& text = texts.*field.text;
            const std::string name(field.name);
            unsigned long long number = 0;
            json[name] = text;
            if (ParseDigits(text, number)) numbers[name] = number;
        }
        json["numbers"] = std::move(numbers);
        list.push_back(std::move(json));
    }
    return {{"records", std::move(list)}};
}

std::vector<IndexedRecord> RecordsFrom(const Json& document)
{
    std::vector<IndexedRecord> records;
    for (const Json& json : document.at("records")) {
        IndexedRecord record{json.at("index").get<int>(), {}};
        json.at("profile").get_to(record.texts.strAPN);
        for (const Field& field : NUMBERS)
            json.at(std::string(field.name)).get_to(record.texts.*field.text);
        records.push_back(std::move(record));
    }
    return records;
}

std::string RecordJson(const std::vector<IndexedRecord>& records)
{
    return Indented(RecordDocument(records));
}

}  // namespace netinfo
