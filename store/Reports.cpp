#include <climits>

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

    void Add(const RecordReader& record)
    {
        uploaded += record.Number(RecordReader::UPLOADED);
        downloaded += record.Number(RecordReader::DOWNLOADED);
        connected += record.Number(RecordReader::TIME);
    }

    /// As a report of all types, for one moment.
    nis::REPORT ToReport(unsigned long long moment) const
    {
        const int low = static_cast<int>(static_cast<unsigned int>(moment));
        return {0, downloaded, uploaded, connected, low, low};
    }
};

struct SplitTotals
{
    RecordTotals today;    ///< of the records that ended on the day of `now`
    RecordTotals earlier;  ///< of all others that ended from `since` up to `now`
};

/// Sums the records of the list that the document stands in.
SplitTotals SumRecords(CMarkupSTL& doc, unsigned long long since, long now)
{
    const CLocalDay today(now);
    const bool onlyToday = since > static_cast<unsigned long long>(now);
    const auto usual = onlyToday ? RecordReader::END_TIME : RecordReader::DOWNLOADED;

    SplitTotals totals;
    RecordReader record(doc);
    while (doc.FindElem(LABEL_ITEM)) {
        record.Read(usual);
        const auto end = record.Number(RecordReader::END_TIME);
        if (today.Has(static_cast<long>(end))) {
            record.Read(RecordReader::DOWNLOADED);
            totals.today.Add(record);
        } else if (end >= since && end <= static_cast<unsigned long long>(now)) {
            totals.earlier.Add(record);
        }
    }
    return totals;
}

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
    if (!EnterRecordList(xmlDoc)) return;
    const long now = CTimeMgr::GetTime();
    out = SumRecords(xmlDoc, ULLONG_MAX, now).today.ToReport(static_cast<unsigned long long>(now));
} catch (...) {
    TraceException("CDataMgr::GetTodayData");
}

void CDataMgr::GetSpecLastData(CMarkupSTL* doc, unsigned long long since)
try {
    const JMutexLock lock(mutex);
    const long now = CTimeMgr::GetTime();
    if (!doc || !MarkHistoryCache(since, now) || !EnterRecordList(*doc)) return;
    rptCache = SumRecords(*doc, since, now).earlier.ToReport(since);
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
    const long now = CTimeMgr::GetTime();
    const bool renewed = MarkHistoryCache(since, now);
    out = rptCache;
    if (!EnterRecordList(xmlDoc)) return;

    // A part of the past that is known is not summed again: nothing lies between the end of time and now.
    const SplitTotals totals = SumRecords(xmlDoc, renewed ? since : ULLONG_MAX, now);
    if (renewed) out = rptCache = totals.earlier.ToReport(since);
    out.ullDownloaded += totals.today.downloaded;
    out.ullUploaded += totals.today.uploaded;
    out.ullTime += totals.today.connected;
} catch (...) {
    TraceException("CDataMgr::GetSpecHistroryData");
}

bool CDataMgr::MarkHistoryCache(unsigned long long since, long now)
{
    if (CTimeMgr::SameDay(tmCacheNow, now) && CTimeMgr::SameDay(tmCacheSince, static_cast<long>(since)))
        return false;

    tmCacheSince = static_cast<long>(static_cast<unsigned int>(since));
    tmCacheNow = now;
    return true;
}
