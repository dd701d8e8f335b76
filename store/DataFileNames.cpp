#include "store/DataFileNames.h"

#include "common/Utilities.h"

const char* const LABEL_MAIN = "xml";
const char* const LABEL_STAT = "transfer";
const char* const LABEL_TYPE = "type";
const char* const LABEL_TODAY = "today";
const char* const LABEL_SINCE = "since";
const char* const LABEL_THISWEEK = "this_week";
const char* const LABEL_THISMONTH = "this_month";
const char* const LABEL_THISYEAR = "this_year";
const char* const LABEL_TOTAL = "total";
const char* const LABEL_ITEM = "item";

const char* const ATTRIB_TIME = "time";
const char* const ATTRIB_UPLOADED = "uploaded";
const char* const ATTRIB_DOWNLOADED = "downloaded";
const char* const ATTRIB_TODAYTIME = "todaytime";
const char* const ATTRIB_WEEKTIME = "weektime";
const char* const ATTRIB_MONTHTIME = "monthtime";
const char* const ATTRIB_YEARTIME = "yeartime";
const char* const ATTRIB_SINCETIME = "sincetime";
const char* const ATTRIB_CONNECTEDTIME = "Lastcntime";
const char* const ATTRIB_STARTTIME = "starttime";
const char* const ATTRIB_ENDTIME = "endtime";
const char* const ATTRIB_DEVICE = "device";
const char* const ATTRIB_APN = "apn";
const char* const ATTRIB_UNITPRICE = "unitprice";
const char* const ATTRIB_FEE = "fee";

const std::basic_string<unsigned short> NAME_PLUGIN = ToNimb_wchar(L"NetInfoPlugin");
const std::basic_string<unsigned short> NAME_DATAFILE = ToNimb_wchar(L"NetInfo.dat");
const std::basic_string<unsigned short> NAME_LIMITINI = ToNimb_wchar(L"DataUsageLimit.ini");
const std::basic_string<unsigned short> SETTING_USELIMIT = ToNimb_wchar(L"uselimit");
const std::basic_string<unsigned short> SETTING_STARTWEEKDATE = ToNimb_wchar(L"startweekdate");
const std::basic_string<unsigned short> SETTING_STARTMONTHDATE = ToNimb_wchar(L"startmonthdate");
const std::basic_string<unsigned short> SETTING_STARTDATE = ToNimb_wchar(L"startdate");
