#pragma once

#include <string>

/// Turns moments into calendar facts of the machine's local time zone: what day, week, month or year a moment
/// is in, and when the current ones began.
///
/// Threads: any thread, at any time. All work on the C library's calendar is done under one lock of the whole
///          process, which is never held while another function of this class is called.
/// Units:   a moment is seconds since 1970-01-01 00:00 UTC; "now" is the C library's `time`. Midnight is
///          00:00:00 local time.
/// Errors:  none is reported. A date that cannot be turned into a moment yields 0. A moment too far away to
///          have a local date formats as the empty text, and as the start of a period it ends it at 0.
///
/// A date that is built from another moment keeps that moment's daylight-saving flag. Across a change of the
/// clocks such a "midnight" is therefore off by the amount of the change: before midnight when the flag says
/// summer and the date lies in winter, after it the other way round. Stored period starts are made the same
/// way, so the two always agree. Nor is a day ever clamped to the length of its month: 31 February is
/// 3 March, or 2 March in a leap year.
class CTimeMgr
{
public:
    CTimeMgr() = delete;

    static long GetTime();
    /// `GetTime` as plain decimal text, the form in which the data file keeps moments.
    static std::string GetTimeString();

    /// True when `a` and `b` give the same text of at most ten characters in the `strftime` format `fmt`;
    /// false for a null `fmt`.
    static bool CompareFormatedTime(const char* fmt, long a, long b);
    static bool SameDay(long a, long b);
    /// Weeks begin on Monday whatever the user's settings say, and one that spans New Year counts as two.
    static bool SameWeek(long a, long b);
    static bool SameMonth(long a, long b);
    static bool SameYear(long a, long b);

    /// True when `t` is before the midnight seven days after the one of `start`'s day. Any `t` before `start`
    /// counts as inside.
    static bool SamePeriodWeek(long start, long t);
    /// The same for the midnight of the same day one month later.
    static bool SamePeriodMonth(long start, long t);

    /// How many calendar months lie between `a` and `b`, whichever is earlier; 0 within one month.
    static int DiscrepantMonth(long a, long b);

    /// Today's midnight.
    static long GetTodayDate();
    /// Midnight of the latest day, today included, that is a `weekday` (0 Sunday to 6 Saturday). Other
    /// numbers are counted on from there, neither clamped nor refused: 7 is Sunday again, 8 on a Sunday is
    /// tomorrow.
    static long GetBeforeNowWeekTime(int weekday);
    /// Midnight of day `day` of this month, or of last month where it is still to come. Days are counted from
    /// 0, so that 0 is the 1st. A month without that day runs over into the next one.
    static long GetBeforeNowMonthlyTime(int day);
    /// Midnight of today's date three months back.
    static long GetBeforeNowTreeMonthlyTime();
};

/// The local day of one moment, to be asked of many others whether they lie on it, as `CTimeMgr::SameDay`
/// would answer, nearly always without asking it: moments days away lie on other days in every time zone, and
/// near the day the clock mostly runs without a change.
///
/// Threads: one thread at a time. Made anew for every use: it would miss a change of the time zone.
/// Units:   as for CTimeMgr.
class CLocalDay
{
public:
    explicit CLocalDay(long moment);

    bool Has(long moment) const
    {
        if (moment >= m_from && moment < m_to) return true;
        if (moment >= m_certainFrom && moment < m_certainTo) return false;
        if (m_isUsual && (moment < m_moment - MOST_APART || moment > m_moment + MOST_APART)) return false;
        return CTimeMgr::SameDay(moment, m_moment);
    }

private:
    static constexpr long MOST_APART = 3L * 24 * 60 * 60;  ///< more than a day and all zones' differences

    long m_moment;
    bool m_isUsual;          ///< the day is written with four digits for the year
    long m_from = 0;         ///< the day goes from here up to m_to; both 0 where that is not so simple
    long m_to = 0;           ///< first moment behind the day
    long m_certainFrom = 0;  ///< from here up to m_certainTo there is no other moment of the day
    long m_certainTo = 0;
};
