#include <algorithm>
#include <cstdlib>

#include "calendar/TimeMgr.h"
#include "common/Utilities.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

long ToMoment(unsigned long long value) { return static_cast<long>(value); }

/// Puts the report of one period in the place of the one that the list holds for the same type.
void RenewReport(std::vector<nis::REPORT>& reports, int nDevice, unsigned long long downloaded,
                 unsigned long long uploaded, unsigned long long connected, unsigned long long time)
{
    std::erase_if(reports, [nDevice](const nis::REPORT& report) { return report.nDevice == nDevice; });

    const int start = static_cast<int>(static_cast<unsigned int>(time));
    reports.push_back({nDevice, downloaded, uploaded, connected, start, start});
}

/// `delta` on top of the connected seconds of the current period element, or alone in a new period.
unsigned long long Continued(const CMarkupSTL& doc, const char* connectedAttribute, bool samePeriod,
                             unsigned long long delta)
{
    return samePeriod ? ReadNumber(doc, connectedAttribute) + delta : delta;
}

}  // namespace

void CDataMgr::UpdateData(const std::vector<nis::SNAPSHOT>& snaps, bool bInit)
try {
    const JMutexLock lock(mutex);

    for (const nis::SNAPSHOT& snap : snaps) {
        if (!EnterRoot(xmlDoc)) return;

        const char* const label = TypeLabel(snap.nDevice);
        if (!FindTransfer(xmlDoc, label)) {
            if (!xmlDoc.AddElem(LABEL_STAT, nullptr) || !xmlDoc.SetAttrib(LABEL_TYPE, label)) return;
        }
        if (!xmlDoc.IntoElem()) return;

        strStartMonthDate = MyGetSetting(SETTING_USELIMIT, SETTING_STARTMONTHDATE);
        strStartWeekDate = MyGetSetting(SETTING_USELIMIT, SETTING_STARTWEEKDATE);

        // Each searches on from where the one before it stopped, so the file's order of periods is this one.
        UpdateTodayData(&xmlDoc, snap);
        UpdateSinceData(&xmlDoc, snap);
        UpdateThisWeekData(&xmlDoc, snap);
        UpdateThisMonthData(&xmlDoc, snap);
        UpdateThisYearData(&xmlDoc, snap);

        xmlDoc.OutOfElem();
    }

    if (bInit) {
        InitCurrentData(&xmlDoc);
    } else {
        for (const nis::SNAPSHOT& snap : snaps)
            UpdateCurrentData(&xmlDoc, snap);
    }
    xmlDoc.OutOfElem();
} catch (...) {
    TraceException("CDataMgr::UpdateData");
}

void CDataMgr::UpdateTodayData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc || !FindOrAdd(*doc, LABEL_TODAY)) return;

    const auto time = ReadNumber(*doc, ATTRIB_TIME);
    auto uploaded = ReadNumber(*doc, ATTRIB_UPLOADED);
    auto downloaded = ReadNumber(*doc, ATTRIB_DOWNLOADED);
    const auto connected = ReadNumber(*doc, ATTRIB_TODAYTIME);

    if (!CTimeMgr::SameDay(CTimeMgr::GetTime(), ToMoment(time))) uploaded = downloaded = 0;
    uploaded += snap.ullUL;
    downloaded += snap.ullDL;

    // "time" moves to the new day when the connected seconds do: with the current connection, or a reset.
    WriteNumber(*doc, ATTRIB_UPLOADED, uploaded);
    WriteNumber(*doc, ATTRIB_DOWNLOADED, downloaded);
    WriteNumber(*doc, ATTRIB_TODAYTIME, connected);
    RenewReport(vecToday, snap.nDevice, downloaded, uploaded, connected, time);
}

void CDataMgr::UpdateSinceData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc || !FindOrAdd(*doc, LABEL_SINCE)) return;

    auto time = ReadNumber(*doc, ATTRIB_TIME);
    const auto uploaded = ReadNumber(*doc, ATTRIB_UPLOADED) + snap.ullUL;
    const auto downloaded = ReadNumber(*doc, ATTRIB_DOWNLOADED) + snap.ullDL;
    const auto connected = ReadNumber(*doc, ATTRIB_SINCETIME);
    if (time == 0) time = static_cast<unsigned long long>(CTimeMgr::GetTime());

    WriteNumber(*doc, ATTRIB_TIME, time);
    WriteNumber(*doc, ATTRIB_UPLOADED, uploaded);
    WriteNumber(*doc, ATTRIB_DOWNLOADED, downloaded);
    RenewReport(vecSince, snap.nDevice, downloaded, uploaded, connected, time);
}

void CDataMgr::UpdateThisWeekData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc || !FindOrAdd(*doc, LABEL_THISWEEK)) return;

    AdjustPeriodData(doc, 1, snap);
    RenewReport(vecThisWeek, snap.nDevice, ReadNumber(*doc, ATTRIB_DOWNLOADED),
                ReadNumber(*doc, ATTRIB_UPLOADED), ReadNumber(*doc, ATTRIB_WEEKTIME),
                ReadNumber(*doc, ATTRIB_TIME));
}

void CDataMgr::UpdateThisMonthData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc || !FindOrAdd(*doc, LABEL_THISMONTH)) return;

    AdjustPeriodData(doc, 2, snap);
    RenewReport(vecThisMonth, snap.nDevice, ReadNumber(*doc, ATTRIB_DOWNLOADED),
                ReadNumber(*doc, ATTRIB_UPLOADED), ReadNumber(*doc, ATTRIB_MONTHTIME),
                ReadNumber(*doc, ATTRIB_TIME));
}

void CDataMgr::UpdateThisYearData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc || !FindOrAdd(*doc, LABEL_THISYEAR)) return;

    const auto time = ReadNumber(*doc, ATTRIB_TIME);
    auto uploaded = ReadNumber(*doc, ATTRIB_UPLOADED);
    auto downloaded = ReadNumber(*doc, ATTRIB_DOWNLOADED);
    const auto connected = ReadNumber(*doc, ATTRIB_YEARTIME);

    if (!CTimeMgr::SameYear(CTimeMgr::GetTime(), ToMoment(time))) uploaded = downloaded = 0;
    uploaded += snap.ullUL;
    downloaded += snap.ullDL;

    WriteNumber(*doc, ATTRIB_UPLOADED, uploaded);
    WriteNumber(*doc, ATTRIB_DOWNLOADED, downloaded);
    RenewReport(vecThisYear, snap.nDevice, downloaded, uploaded, connected, time);
}

void CDataMgr::UpdateCurrentData(CMarkupSTL* doc, const nis::SNAPSHOT& snap)
{
    if (!doc) return;

    // The record list is searched for where the document stands. For the second snapshot of one update that
    // is the first `transfer`, which so gets an empty list of its own; readers look under the root only.
    doc->ResetMainPos();
    if (!FindOrAdd(*doc, LABEL_TOTAL) || !doc->IntoElem()) return;
    if (!doc->FindLastElem(LABEL_ITEM)) return;  // no connection yet

    // A missing start is written first and so comes first in the element, though it is written again below.
    if (!IsNumber(doc->GetAttrib(ATTRIB_STARTTIME)))
        doc->SetAttrib(ATTRIB_STARTTIME, CTimeMgr::GetTimeString().c_str());
    WriteNumber(*doc, ATTRIB_UPLOADED, ReadNumber(*doc, ATTRIB_UPLOADED) + snap.ullUL);
    WriteNumber(*doc, ATTRIB_DOWNLOADED, ReadNumber(*doc, ATTRIB_DOWNLOADED) + snap.ullDL);

    const auto now = ToNumber(CTimeMgr::GetTimeString());
    const auto start = std::min(ReadNumber(*doc, ATTRIB_STARTTIME), now);  // the clock may have gone back
    const auto duration = now - start;
    WriteNumber(*doc, ATTRIB_STARTTIME, start);
    WriteNumber(*doc, ATTRIB_ENDTIME, now);
    WriteNumber(*doc, ATTRIB_TIME, duration);
    doc->SetAttrib(ATTRIB_UNITPRICE, "0");
    doc->SetAttrib(ATTRIB_FEE, "0");

    CountConnectedTime(*doc, duration);
}

void CDataMgr::CountConnectedTime(CMarkupSTL& doc, unsigned long long duration)
{
    // The connected time of all types is kept in the first `transfer`, whatever its type, and so are the
    // "time" marks of its periods; those of the others move in a reset only.
    doc.ResetPos();
    if (!doc.FindElem(LABEL_MAIN) || !doc.IntoElem()) return;
    if (!doc.FindElem(LABEL_STAT) || !doc.IntoElem()) return;

    if (!FindOrAdd(doc, LABEL_TODAY)) return;
    const long now = CTimeMgr::GetTime();
    const auto nowMark = static_cast<unsigned long long>(now);
    const auto lastDuration = ReadNumber(doc, ATTRIB_CONNECTEDTIME);
    const auto delta = lastDuration > duration ? duration : duration - lastDuration;  // or a new connection
    const auto today = ReadNumber(doc, ATTRIB_TIME);
    const bool sameDay = CTimeMgr::SameDay(ToMoment(today), now);
    const auto connectedToday = Continued(doc, ATTRIB_TODAYTIME, sameDay, delta);
    WriteNumber(doc, ATTRIB_TIME, sameDay ? today : nowMark);
    WriteNumber(doc, ATTRIB_CONNECTEDTIME, duration);
    WriteNumber(doc, ATTRIB_TODAYTIME, connectedToday);

    doc.ResetMainPos();
    if (!FindOrAdd(doc, LABEL_THISWEEK)) return;
    const long week = GetBeforeNowWeekTime();
    const bool sameWeek = CTimeMgr::SamePeriodWeek(ToMoment(ReadNumber(doc, ATTRIB_TIME)), week);
    const auto connectedThisWeek = Continued(doc, ATTRIB_WEEKTIME, sameWeek, delta);
    WriteNumber(doc, ATTRIB_TIME, static_cast<unsigned long long>(week));
    WriteNumber(doc, ATTRIB_WEEKTIME, connectedThisWeek);

    doc.ResetMainPos();
    if (!FindOrAdd(doc, LABEL_THISMONTH)) return;
    const long month = GetBeforeNowMonthTime();
    const bool sameMonth = CTimeMgr::SamePeriodMonth(ToMoment(ReadNumber(doc, ATTRIB_TIME)), month);
    const auto connectedThisMonth = Continued(doc, ATTRIB_MONTHTIME, sameMonth, delta);
    WriteNumber(doc, ATTRIB_TIME, static_cast<unsigned long long>(month));
    WriteNumber(doc, ATTRIB_MONTHTIME, connectedThisMonth);

    doc.ResetMainPos();
    if (!FindOrAdd(doc, LABEL_THISYEAR)) return;
    const auto year = ReadNumber(doc, ATTRIB_TIME);
    const bool sameYear = CTimeMgr::SameYear(ToMoment(year), now);
    const auto connectedThisYear = Continued(doc, ATTRIB_YEARTIME, sameYear, delta);
    WriteNumber(doc, ATTRIB_TIME, sameYear ? year : nowMark);
    WriteNumber(doc, ATTRIB_YEARTIME, connectedThisYear);

    doc.ResetMainPos();
    if (!FindOrAdd(doc, LABEL_SINCE)) return;
    WriteNumber(doc, ATTRIB_SINCETIME, ReadNumber(doc, ATTRIB_SINCETIME) + delta);
}

void CDataMgr::InitCurrentData(CMarkupSTL* doc)
{
    if (!doc || !FindOrAdd(*doc, LABEL_TOTAL) || !doc->IntoElem()) return;

    const long cutoff = CTimeMgr::GetBeforeNowTreeMonthlyTime();
    while (doc->FindElem(LABEL_ITEM)) {
        // Leading digits are enough here: a damaged end is no reason to drop a record that ended lately.
        const std::string endTime = doc->GetAttrib(ATTRIB_ENDTIME);
        if (std::strtoll(endTime.c_str(), nullptr, 10) >= cutoff) return;
        doc->RemoveElem();
    }
}
