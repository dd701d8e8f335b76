#pragma once

#include <string>

/// The names of the data file's elements and attributes. The module exports them, so that a host that reads
/// the file uses the same texts.

#define NETINFO_DATA_FILE_NAME extern __attribute__((visibility("default"))) const char* const

NETINFO_DATA_FILE_NAME LABEL_MAIN;       ///< "xml", the root
NETINFO_DATA_FILE_NAME LABEL_STAT;       ///< "transfer", the totals of one connection type
NETINFO_DATA_FILE_NAME LABEL_TYPE;       ///< "type", an attribute in spite of its prefix
NETINFO_DATA_FILE_NAME LABEL_TODAY;      ///< "today"
NETINFO_DATA_FILE_NAME LABEL_SINCE;      ///< "since"
NETINFO_DATA_FILE_NAME LABEL_THISWEEK;   ///< "this_week"
NETINFO_DATA_FILE_NAME LABEL_THISMONTH;  ///< "this_month"
NETINFO_DATA_FILE_NAME LABEL_THISYEAR;   ///< "this_year"
NETINFO_DATA_FILE_NAME LABEL_TOTAL;      ///< "total", the list of connection records
NETINFO_DATA_FILE_NAME LABEL_ITEM;       ///< "item", one connection record

NETINFO_DATA_FILE_NAME ATTRIB_TIME;           ///< "time"
NETINFO_DATA_FILE_NAME ATTRIB_UPLOADED;       ///< "uploaded"
NETINFO_DATA_FILE_NAME ATTRIB_DOWNLOADED;     ///< "downloaded"
NETINFO_DATA_FILE_NAME ATTRIB_TODAYTIME;      ///< "todaytime"
NETINFO_DATA_FILE_NAME ATTRIB_WEEKTIME;       ///< "weektime"
NETINFO_DATA_FILE_NAME ATTRIB_MONTHTIME;      ///< "monthtime"
NETINFO_DATA_FILE_NAME ATTRIB_YEARTIME;       ///< "yeartime"
NETINFO_DATA_FILE_NAME ATTRIB_SINCETIME;      ///< "sincetime"
NETINFO_DATA_FILE_NAME ATTRIB_CONNECTEDTIME;  ///< "Lastcntime", with its capital L
NETINFO_DATA_FILE_NAME ATTRIB_STARTTIME;      ///< "starttime"
NETINFO_DATA_FILE_NAME ATTRIB_ENDTIME;        ///< "endtime"
NETINFO_DATA_FILE_NAME ATTRIB_DEVICE;         ///< "device"
NETINFO_DATA_FILE_NAME ATTRIB_APN;            ///< "apn"
NETINFO_DATA_FILE_NAME ATTRIB_UNITPRICE;      ///< "unitprice"
NETINFO_DATA_FILE_NAME ATTRIB_FEE;            ///< "fee"

#undef NETINFO_DATA_FILE_NAME

/// The 16-bit texts by which the store addresses the host's files and settings; made when the library is
/// loaded.
extern const std::basic_string<unsigned short> NAME_PLUGIN;             ///< "NetInfoPlugin"
extern const std::basic_string<unsigned short> NAME_DATAFILE;           ///< "NetInfo.dat"
extern const std::basic_string<unsigned short> NAME_LIMITINI;           ///< "DataUsageLimit.ini"
extern const std::basic_string<unsigned short> SETTING_USELIMIT;        ///< "uselimit", the section
extern const std::basic_string<unsigned short> SETTING_STARTWEEKDATE;   ///< "startweekdate"
extern const std::basic_string<unsigned short> SETTING_STARTMONTHDATE;  ///< "startmonthdate"
extern const std::basic_string<unsigned short> SETTING_STARTDATE;       ///< "startdate"
