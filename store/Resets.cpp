#include <algorithm>

#include "calendar/TimeMgr.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

/// Sets one period of `typeLabel` to zero in the document; a type without a `transfer` is left without one.
/// False if the period element can neither be found nor added.
bool ResetElement(CMarkupSTL& doc, const char* typeLabel, const char* element, const char* connectedAttribute,
                  long start)
{
    if (!EnterRoot(doc)) return false;
    if (!FindTransfer(doc, typeLabel)) return true;
    if (!doc.IntoElem() || !FindOrAdd(doc, element)) return false;

    WriteNumber(doc, ATTRIB_TIME, static_cast<unsigned long long>(start));
    doc.SetAttrib(ATTRIB_UPLOADED, "0");
    doc.SetAttrib(ATTRIB_DOWNLOADED, "0");
    doc.SetAttrib(connectedAttribute, "0");
    return true;
}

/// Resets one period of `type`, in the document from `documentStart` and in its report from `reportStart`;
/// nothing for a type that has no report.
void ResetPeriod(CMarkupSTL& doc, std::vector<nis::REPORT>& reports, int type, const char* element,
                 const char* connectedAttribute, long reportStart, long documentStart)
{
    const auto report = std::find_if(reports.begin(), reports.end(),
                                     [type](const nis::REPORT& each) { return each.nDevice == type; });
    if (report == reports.end()) return;
    if (!ResetElement(doc, TypeLabel(type), element, connectedAttribute, documentStart)) return;

    const int start = static_cast<int>(static_cast<unsigned int>(reportStart));
    *report = {type, 0, 0, 0, start, start};
}

}  // namespace

void CDataMgr::ResetTodayData(int type)
try {
    const JMutexLock lock(mutex);
    const long start = CTimeMgr::GetTime();
    ResetPeriod(xmlDoc, vecToday, type, LABEL_TODAY, ATTRIB_TODAYTIME, start, CTimeMgr::GetTime());
} catch (...) {
    TraceException("CDataMgr::ResetTodayData");
}

void CDataMgr::ResetSinceData(int type)
try {
    const JMutexLock lock(mutex);
    const long start = CTimeMgr::GetTime();
    ResetPeriod(xmlDoc, vecSince, type, LABEL_SINCE, ATTRIB_SINCETIME, start, CTimeMgr::GetTime());
} catch (...) {
    TraceException("CDataMgr::ResetSinceData");
}

void CDataMgr::ResetThisWeekData(int type)
try {
    const JMutexLock lock(mutex);
    const long start = GetBeforeNowWeekTime();
    ResetPeriod(xmlDoc, vecThisWeek, type, LABEL_THISWEEK, ATTRIB_WEEKTIME, start, start);
} catch (...) {
    TraceException("CDataMgr::ResetThisWeekData");
}

void CDataMgr::ResetThisMonthData(int type)
try {
    const JMutexLock lock(mutex);
    const long start = GetBeforeNowMonthTime();
    ResetPeriod(xmlDoc, vecThisMonth, type, LABEL_THISMONTH, ATTRIB_MONTHTIME, start, start);
} catch (...) {
    TraceException("CDataMgr::ResetThisMonthData");
}

void CDataMgr::ResetThisYearData(int type)
try {
    const JMutexLock lock(mutex);
    const long start = CTimeMgr::GetTime();
    ResetPeriod(xmlDoc, vecThisYear, type, LABEL_THISYEAR, ATTRIB_YEARTIME, start, start);
} catch (...) {
    TraceException("CDataMgr::ResetThisYearData");
}

void CDataMgr::ResetConnectRecord()
try {
    const JMutexLock lock(mutex);
    if (!EnterRecordList(xmlDoc)) return;

    int older = -1;  // records before the last one
    while (xmlDoc.FindElem(LABEL_ITEM))
        ++older;
    if (!EnterRecordList(xmlDoc)) return;
    for (int i = 0; xmlDoc.FindElem(LABEL_ITEM) && i < older; ++i)
        xmlDoc.RemoveElem();

    StartRecord(xmlDoc);  // writes nothing when there was no record

    tmCacheNow = 0;  // the next history query sums the records anew
} catch (...) {
    TraceException("CDataMgr::ResetConnectRecord");
}
