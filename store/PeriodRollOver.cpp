#include <algorithm>
#include <cstdlib>

#include "calendar/TimeMgr.h"
#include "common/Utilities.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

/// The value of a start-day setting; 0 when it is no number. No range is checked: the calendar counts on.
int ToStartDay(const std::basic_string<unsigned short>& setting)
{
    const std::string text = MyWideCharToMultiByte(setting.c_str(), 0);
    const long long day = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<int>(static_cast<unsigned int>(day));
}

struct PeriodTotals
{
    unsigned long long uploaded = 0;    ///< bytes
    unsigned long long downloaded = 0;  ///< bytes
    unsigned long long connected = 0;   ///< seconds
};

unsigned long long SubtractDownToZero(unsigned long long total, unsigned long long part)
{
    return part > total ? 0 : total - part;
}

/// Corrects the totals of a period for a start that the user has moved: the records that ended between the
/// old start and the new one, both included, leave the period when it starts later now and join it when it
/// starts earlier. False, with the position lost, if there is no record list.
bool MoveStart(CMarkupSTL& doc, unsigned long long oldStart, unsigned long long newStart,
               PeriodTotals& totals)
{
    doc.SavePos("oldpos");
    if (!EnterRecordList(doc)) return false;

    RecordReader record(doc);
    while (doc.FindElem(LABEL_ITEM)) {
        record.Read(RecordReader::DOWNLOADED);
        const auto end = record.Number(RecordReader::END_TIME);
        if (end < std::min(oldStart, newStart) || end > std::max(oldStart, newStart)) continue;

        const auto uploaded = record.Number(RecordReader::UPLOADED);
        const auto downloaded = record.Number(RecordReader::DOWNLOADED);
        const auto connected = record.Number(RecordReader::TIME);
        if (newStart > oldStart) {
            totals.uploaded = SubtractDownToZero(totals.uploaded, uploaded);
            totals.downloaded = SubtractDownToZero(totals.downloaded, downloaded);
            totals.connected = SubtractDownToZero(totals.connected, connected);
        } else {
            totals.uploaded += uploaded;
            totals.downloaded += downloaded;
            totals.connected += connected;
        }
    }
    return doc.RestorePos("oldpos");
}

}  // namespace

long CDataMgr::GetBeforeNowWeekTime()
{
    if (strStartWeekDate.empty()) strStartWeekDate = MyGetSetting(SETTING_USELIMIT, SETTING_STARTWEEKDATE);
    if (strStartWeekDate.empty()) return CTimeMgr::GetBeforeNowWeekTime(0);
    return CTimeMgr::GetBeforeNowWeekTime(ToStartDay(strStartWeekDate));
}

long CDataMgr::GetBeforeNowMonthTime()
{
    if (strStartMonthDate.empty()) strStartMonthDate = MyGetSetting(SETTING_USELIMIT, SETTING_STARTMONTHDATE);
    if (strStartMonthDate.empty()) return CTimeMgr::GetBeforeNowMonthlyTime(0);
    return CTimeMgr::GetBeforeNowMonthlyTime(ToStartDay(strStartMonthDate));
}

void CDataMgr::AdjustPeriodData(CMarkupSTL* doc, int nPeriod, const nis::SNAPSHOT& snap)
{
    if (!doc) return;

    const auto time = ReadNumber(*doc, ATTRIB_TIME);
    const char* connectedAttribute = nullptr;
    long start = 0;
    bool samePeriod = false;
    if (nPeriod == 1) {
        connectedAttribute = ATTRIB_WEEKTIME;
        start = GetBeforeNowWeekTime();
        samePeriod = CTimeMgr::SamePeriodWeek(static_cast<long>(time), start);
    } else if (nPeriod == 2) {
        connectedAttribute = ATTRIB_MONTHTIME;
        start = GetBeforeNowMonthTime();
        samePeriod = CTimeMgr::SamePeriodMonth(static_cast<long>(time), start);
    }

    PeriodTotals totals;
    totals.uploaded = ReadNumber(*doc, ATTRIB_UPLOADED);
    totals.downloaded = ReadNumber(*doc, ATTRIB_DOWNLOADED);
    if (connectedAttribute) totals.connected = ReadNumber(*doc, connectedAttribute);

    const auto periodStart = static_cast<unsigned long long>(start);
    const auto today = static_cast<unsigned long long>(CTimeMgr::GetTodayDate());
    if (time > today) {
        // It began later than today's midnight and begins anew there.
        WriteNumber(*doc, ATTRIB_TIME, today);
        totals = {snap.ullUL, snap.ullDL, 0};
    } else if (CTimeMgr::SameDay(static_cast<long>(time), start)) {
        totals.uploaded += snap.ullUL;
        totals.downloaded += snap.ullDL;
    } else if (periodStart > today) {
        // Nothing counts before it begins.
        totals = {};
    } else if (periodStart > time && !samePeriod) {
        // A new one. Its connected seconds begin anew when the connection record is updated.
        totals.uploaded = snap.ullUL;
        totals.downloaded = snap.ullDL;
    } else {
        // The user has moved the start day.
        if (!MoveStart(*doc, time, periodStart, totals)) return;
        totals.uploaded += snap.ullUL;
        totals.downloaded += snap.ullDL;
    }

    WriteNumber(*doc, ATTRIB_UPLOADED, totals.uploaded);
    WriteNumber(*doc, ATTRIB_DOWNLOADED, totals.downloaded);
    if (connectedAttribute) WriteNumber(*doc, connectedAttribute, totals.connected);
}
