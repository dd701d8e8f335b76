#pragma once

#include <string>

/// The records that travel between the plug-in and its host. Value types: copied, never shared.
namespace nis {

/// One traffic sample, increment or running total of one connection. Which of the three it is depends on
/// where it stands: a raw sample carries the counters as read, an increment the bytes since the previous
/// heartbeat, and a running total (what the host gets) the bytes since the connection was first seen.
struct SNAPSHOT
{
    int nDevice = -1;                           ///< connection type: 0 dial-up, 1 WiFi, 4 ADSL, -1 none
    std::basic_string<unsigned short> strName;  ///< connection name, UTF-16; pairs successive samples
    unsigned long long ullDL = 0;               ///< bytes received
    unsigned long long ullUL = 0;               ///< bytes sent
    unsigned int ulDLSpeed = 0;                 ///< bytes per second
    unsigned int ulULSpeed = 0;                 ///< bytes per second
    unsigned int ulMaxDLSpeed = 0;              ///< bytes per second, the larger of the last two speeds
    unsigned int ulMaxULSpeed = 0;              ///< bytes per second, the larger of the last two speeds
    unsigned int ulConnectTime = 0;             ///< seconds the connection has been up, by the calendar clock
    unsigned int ulReserved = 0;                ///< always 0; kept for layout
    int clkTime = 0;                            ///< second of the sampling clock; -1 when it was unreadable
};

/// The totals of one period for one connection type.
struct REPORT
{
    int nDevice = 0;                       ///< connection type, as in SNAPSHOT
    unsigned long long ullDownloaded = 0;  ///< bytes received in the period
    unsigned long long ullUploaded = 0;    ///< bytes sent in the period
    unsigned long long ullTime = 0;        ///< seconds connected in the period
    int tmStart = 0;                       ///< start of the period, seconds since 1970-01-01 00:00 UTC
    int tmEnd = 0;                         ///< its end; equal to tmStart in single-day and history reports
};

}  // namespace nis

/// One connection as the data file keeps it: the texts of its attributes, unchecked.
struct tagConnRecord
{
    std::string strAPN;
    std::string strStartTime;     ///< seconds since 1970, decimal
    std::string strEndTime;       ///< seconds since 1970, decimal
    std::string strConnectTime;   ///< seconds, decimal
    std::string strUploadData;    ///< bytes, decimal
    std::string strDownloadData;  ///< bytes, decimal
    std::string strUnitPrice;
    std::string strFee;
};

/// What a callback function is told with message code `NETINFO_MESSAGE_CHANGE`. Lives for the call only.
struct NETINFO_CHANGE
{
    bool bConnected;  ///< false: the connection has gone
    int nValue;       ///< connection type
};

inline constexpr unsigned int NETINFO_MESSAGE_CHANGE = 8000;
