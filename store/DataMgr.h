#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/common/JMutex.h"
#include "platform/common/ThreadAnnotations.h"
#include "plugin/Interfaces.h"
#include "plugin/Records.h"
#include "xml/MarkupSTL.h"

/// `value` as decimal text, without sign, separators or leading zeros. `std::bad_alloc` passes through.
/// [any thread]
std::string ConverUllToString(unsigned long long value);

/// The statistics store: the totals of today, this week, this month, this year and since the last reset, and
/// one record for every connection, held as one document in memory and copied to the data file when it is
/// saved. docs/data-file.md describes the file.
///
/// Threads:   any thread may call any operation; each holds the store lock `mutex` for its whole run. The
///            functions tagged [store lock held] are the exception: they take no lock, and the caller holds
///            it. Removing records is a batch of several calls: one batch at a time is assumed, though
///            batches that meet do no harm beyond mixing their indices.
/// Ownership: record sets go to the caller, who ends them with `Release()`; documents are borrowed.
/// Units:     moments are seconds since 1970-01-01 00:00 UTC, days and periods are local; sizes are bytes,
///            durations seconds. `nDevice` is the connection type: 0 dial-up, 1 WiFi, 4 ADSL.
/// Errors:    none are reported. A missing element is added, a number that is missing or holds anything but
///            digits counts as 0, and an exception is traced and ends the operation.
class CDataMgr
{
public:
    /// Loads the data file, which is made or converted to UTF-8 first where needed, brings every period up to
    /// date and drops the connection records that ended more than three months ago. Saves nothing.
    /// `std::bad_alloc` passes through only where not even the empty members can be made.
    CDataMgr();
    /// Saves.
    ~CDataMgr();
    CDataMgr(const CDataMgr&) = delete;
    CDataMgr& operator=(const CDataMgr&) = delete;

    // ---- Data file (DataFile.cpp)

    /// The data file's path in the system's 8-bit code page. `std::bad_alloc` passes through. [any thread]
    std::string GetDataFilePathName() const;
    /// Makes the data file if it is missing, and converts one without the UTF-8 byte-order mark. Whatever
    /// fails, the content of an existing file is never lost. [any thread]
    void NetinfoFiletoUTF8() NETINFO_EXCLUDES(mutex);
    /// Writes the document to the data file. A file that could not be parsed is first put aside under a name
    /// of its own; as long as that fails, nothing is written. [any thread]
    void SaveFile() NETINFO_EXCLUDES(mutex);

    /// The work that the document has taken so far, by which tests hold operations to their cost. [any
    /// thread]
    CMarkupSTL::Steps GetSteps() const NETINFO_EXCLUDES(mutex);

    // ---- Accumulation (PeriodAccumulation.cpp)

    /// Adds the increments `snaps` to the totals of their types and to the current connection record. With
    /// `bInit`, old records are dropped instead of updating the current one. Saves nothing. [any thread]
    void UpdateData(const std::vector<nis::SNAPSHOT>& snaps, bool bInit) NETINFO_EXCLUDES(mutex);

    // The steps of UpdateData. Each does nothing with a null document.

    /// Drops the leading records that ended more than three months ago. The document stands inside the root.
    /// [store lock held]
    void InitCurrentData(CMarkupSTL* doc) NETINFO_REQUIRES(mutex);
    /// Adds to the last connection record and counts the connected time. The document stands inside the root
    /// and is left inside the first `transfer` element. [store lock held]
    void UpdateCurrentData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);
    /// Each of the next five: adds to one period of the `transfer` element that the document stands in, and
    /// renews its report. [store lock held]
    void UpdateTodayData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);
    void UpdateSinceData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);
    void UpdateThisWeekData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);
    void UpdateThisMonthData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);
    void UpdateThisYearData(CMarkupSTL* doc, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);

    // ---- Period boundaries and roll-over (PeriodRollOver.cpp)

    /// Local midnight at which the current week began, by the user's start day. [store lock held]
    long GetBeforeNowWeekTime() NETINFO_REQUIRES(mutex);
    /// Local midnight at which the current month period began, by the user's start day. [store lock held]
    long GetBeforeNowMonthTime() NETINFO_REQUIRES(mutex);
    /// Adds `snap` to the week (`nPeriod` 1) or month (2) element that the document stands on, starting a new
    /// period or correcting for a moved start day where needed. [store lock held]
    void AdjustPeriodData(CMarkupSTL* doc, int nPeriod, const nis::SNAPSHOT& snap) NETINFO_REQUIRES(mutex);

    // ---- Reports and history (Reports.cpp)

    /// Each of the next five: copies the period's report of `type` into `out`; leaves `out` untouched if
    /// there is none. [any thread]
    void GetTodayData(nis::REPORT& out, int type) const NETINFO_EXCLUDES(mutex);
    void GetSinceData(nis::REPORT& out, int type) const NETINFO_EXCLUDES(mutex);
    void GetThisWeekData(nis::REPORT& out, int type) const NETINFO_EXCLUDES(mutex);
    void GetThisMonthData(nis::REPORT& out, int type) const NETINFO_EXCLUDES(mutex);
    void GetThisYearData(nis::REPORT& out, int type) const NETINFO_EXCLUDES(mutex);

    /// The sum of the connection records that ended today, for all types; leaves `out` untouched if there is
    /// no record list. [any thread]
    void GetTodayData(nis::REPORT& out) NETINFO_EXCLUDES(mutex);
    /// Renews the history cache: the sum of the records in `doc` that ended from `since` until yesterday.
    /// Keyed by day: does nothing if the last sum was made today for a moment of `since`'s day. [any thread]
    void GetSpecLastData(CMarkupSTL* doc, unsigned long long since) NETINFO_EXCLUDES(mutex);
    /// The sum of all connection records that ended from the moment `since` up to now; for a `since` in the
    /// future only the three sums of `out` are set, to 0. [any thread]
    void GetSpecHistroryData(nis::REPORT& out, unsigned long long since) NETINFO_EXCLUDES(mutex);

    // ---- Resets (Resets.cpp). None of them saves.

    /// Each of the next five: sets one period of `type` to zero, in the document and in its report; does
    /// nothing for a type that has no report. Today, since and this year start anew now, the week and the
    /// month at the midnight on which they began. [any thread]
    void ResetTodayData(int type) NETINFO_EXCLUDES(mutex);
    void ResetSinceData(int type) NETINFO_EXCLUDES(mutex);
    void ResetThisWeekData(int type) NETINFO_EXCLUDES(mutex);
    void ResetThisMonthData(int type) NETINFO_EXCLUDES(mutex);
    void ResetThisYearData(int type) NETINFO_EXCLUDES(mutex);
    /// Removes all connection records but the last, which starts anew now, and forgets the cached history.
    /// [any thread]
    void ResetConnectRecord() NETINFO_EXCLUDES(mutex);

    // ---- Connection records (ConnectionRecords.cpp)

    /// Opens a record that starts now. `apn` and `device` are stored as they are. Saves nothing. [any thread]
    void StartNewConnect(const std::string& device, const std::string& apn) NETINFO_EXCLUDES(mutex);
    /// A new set with the last record, or none; null when there is no record list. [any thread]
    IConnRecord* GetLastConnRecord() NETINFO_EXCLUDES(mutex);
    /// A new set with all records, oldest first; null when there is no record list. [any thread]
    IConnRecord* GetAllConnRecord() NETINFO_EXCLUDES(mutex);
    /// Starts a batch of removals: forgets the indices marked so far. True. [any thread]
    bool BeginRemoveRecord() NETINFO_EXCLUDES(mutex);
    /// Marks the record at position `nIndex`, from 0, of GetAllConnRecord's order. An index that matches no
    /// record is ignored in the end. True. [any thread]
    bool RemoveRecord(int nIndex) NETINFO_EXCLUDES(mutex);
    /// Removes the marked records and saves; with none marked, does nothing. True. [any thread]
    bool EndRemoveRecord() NETINFO_EXCLUDES(mutex);

private:
    /// Takes the data file into the document, or puts aside one that is no data file.
    void LoadDocument() NETINFO_EXCLUDES(mutex);
    /// Puts a data file aside that could not be loaded; false if that fails too, so that it must not be
    /// written over.
    bool SettleFile(const std::string& path) NETINFO_REQUIRES(mutex);
    void SaveDocument() NETINFO_REQUIRES(mutex);
    /// Counts the seconds for which the current connection has lasted in every period.
    void CountConnectedTime(CMarkupSTL& doc, unsigned long long duration) NETINFO_REQUIRES(mutex);
    /// Marks the history cache as summed at `now` from the moment `since`; false if it was that day's
    /// already.
    bool MarkHistoryCache(unsigned long long since, long now) NETINFO_REQUIRES(mutex);

    std::vector<nis::REPORT> vecToday NETINFO_GUARDED_BY(mutex);  ///< at most one report for each nDevice
    std::vector<nis::REPORT> vecSince NETINFO_GUARDED_BY(mutex);
    std::vector<nis::REPORT> vecThisWeek NETINFO_GUARDED_BY(mutex);
    std::vector<nis::REPORT> vecThisMonth NETINFO_GUARDED_BY(mutex);
    std::vector<nis::REPORT> vecThisYear NETINFO_GUARDED_BY(mutex);
    std::vector<nis::REPORT> vecReserved[3];  ///< never filled; kept for layout

public:
    mutable JMutex mutex;  ///< the store lock; taken from outside only to call a [store lock held] function

private:
    std::set<int> setRemove NETINFO_GUARDED_BY(mutex);  ///< positions of the records marked for removal
    CMarkupSTL xmlDoc NETINFO_GUARDED_BY(mutex);      ///< the truth; the file is its copy as of the last save
    long tmCacheNow NETINFO_GUARDED_BY(mutex) = 0;    ///< when rptCache was summed; 0: never
    long tmCacheSince NETINFO_GUARDED_BY(mutex) = 0;  ///< the moment rptCache was summed from, low 32 bits
    nis::REPORT rptCache NETINFO_GUARDED_BY(mutex);
    std::basic_string<unsigned short>
        strLimitIniPath;  ///< the limits file beside the module; kept for layout
    std::basic_string<unsigned short> strStartWeekDate NETINFO_GUARDED_BY(mutex);   ///< the setting, as text
    std::basic_string<unsigned short> strStartMonthDate NETINFO_GUARDED_BY(mutex);  ///< the setting, as text
    bool bFileSettled NETINFO_GUARDED_BY(mutex) = false;  ///< what the file held is in xmlDoc or put aside
};
