#include "calendar/TimeMgr.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

/// Sums of connection records.
struct RecordTotals
{
    unsigned long long downloaded = 0;  ///< bytes
    unsigned long long uploaded = 0;    ///< bytes
    unsigned long long connected = 0;   ///< seconds

    /// Adds the record that the document stands on.
    void Add(const CMarkupSTL& doc)
    {
        uploaded += ReadNumber(doc, ATTRIB_UPLOADED);
        downloaded += ReadNumber(doc, ATTRIB_DOWNLOADED);
        connected += ReadNumber(doc, ATTRIB_TIME);
    }

    /// As a report of all types, for one moment.
    nis::REPORT ToReport(unsigned long long moment) const
    {
        const int low = static_cast<int>(static_cast<unsigned int>(moment));
        return {0, downloaded, uploaded, connected, low, low};
    }
};

void FindReport(const std::vector<nis::REPORT>& reports, int type, nis::REPORT& out)
{
    for (const nis::REPORT& report : reports) {
        if (report.nDevice != type) continue;
        out = report;
        return;
    }
}

}  // namespace

void CDataMgr::GetTodayData(nis::REPORT& out, int type) const
{
    const JMutexLock lock(mutex);
    FindReport(vecToday, type, out);
}

void CDataMgr::GetSinceData(nis::REPORT& out, int type) const
{
    const JMutexLock lock(mutex);
    FindReport(vecSince, type, out);
}

void CDataMgr::GetThisWeekData(nis::REPORT& out, int type) const
{
    const JMutexLock lock(mutex);
    FindReport(vecThisWeek, type, out);
}

void CDataMgr::GetThisMonthData(nis::REPORT& out, int type) const
{
    const JMutexLock lock(mutex);
    FindReport(vecThisMonth, type, out);
}

void CDataMgr::GetThisYearData(nis::REPORT& out, int type) const
{
    const JMutexLock lock(mutex);
    FindReport(vecThisYear, type, out);
}

void CDataMgr::GetTodayData(nis::REPORT& out)
try {
    const JMutexLock lock(mutex);
    SumRecordsOfToday(out);
} catch (...) {
    TraceException("CDataMgr::GetTodayData");
}

void CDataMgr::GetSpecLastData(CMarkupSTL* doc, unsigned long long since)
try {
    const JMutexLock lock(mutex);
    if (doc) RenewHistoryCache(*doc, since);
} catch (...) {
    TraceException("CDataMgr::GetSpecLastData");
}

void CDataMgr::GetSpecHistroryData(nis::REPORT& out, unsigned long long since)
try {
    if (since > static_cast<unsigned long long>(CTimeMgr::GetTime())) {
        out.ullDownloaded = out.ullUploaded = out.ullTime = 0;
        return;
    }

    const JMutexLock lock(mutex);
    RenewHistoryCache(xmlDoc, since);
    out = rptCache;

    nis::REPORT today;
    SumRecordsOfToday(today);
    out.ullDownloaded += today.ullDownloaded;
    out.ullUploaded += today.ullUploaded;
    out.ullTime += today.ullTime;
} catch (...) {
    TraceException("CDataMgr::GetSpecHistroryData");
}

void CDataMgr::SumRecordsOfToday(nis::REPORT& out)
{
    if (!EnterRecordList(xmlDoc)) return;

    const long now = CTimeMgr::GetTime();
    RecordTotals totals;
    while (xmlDoc.FindElem(LABEL_ITEM)) {
        const auto end = ReadNumber(xmlDoc, ATTRIB_ENDTIME);
        if (CTimeMgr::SameDay(static_cast<long>(end), now)) totals.Add(xmlDoc);
    }
    out = totals.ToReport(static_cast<unsigned long long>(now));
}

void CDataMgr::RenewHistoryCache(CMarkupSTL& doc, unsigned long long since)
{
    const long now = CTimeMgr::GetTime();
    if (CTimeMgr::SameDay(tmCacheNow, now) && CTimeMgr::SameDay(tmCacheSince, static_cast<long>(since)))
        return;

    tmCacheSince = static_cast<long>(static_cast<unsigned int>(since));
    tmCacheNow = now;
    if (!EnterRecordList(doc)) return;

    RecordTotals totals;
    while (doc.FindElem(LABEL_ITEM)) {
        const auto end = ReadNumber(doc, ATTRIB_ENDTIME);
        if (end < since || end > static_cast<unsigned long long>(now)) continue;
        if (CTimeMgr::SameDay(static_cast<long>(end), now)) continue;  // counted afresh at every query
        totals.Add(doc);
    }
    rptCache = totals.ToReport(since);
}
