#include "store/DataDocument.h"

#include <cstdlib>

#include "calendar/TimeMgr.h"
#include "platform/common/NimbString.h"
#include "platform/trace/TraceSrv.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

std::string ConverUllToString(unsigned long long value)
{
    char buffer[65] = {};
    return _ui64toa(value, buffer, 10);
}

bool IsNumber(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

unsigned long long ToNumber(const std::string& text)
{
    if (!IsNumber(text)) return 0;
    return static_cast<unsigned long long>(std::strtoll(text.c_str(), nullptr, 10));
}

unsigned long long ReadNumber(const CMarkupSTL& doc, const char* attribute)
{
    return ToNumber(doc.GetAttrib(attribute));
}

void WriteNumber(CMarkupSTL& doc, const char* attribute, unsigned long long value)
{
    doc.SetAttrib(attribute, ConverUllToString(value).c_str());
}

bool FindOrAdd(CMarkupSTL& doc, const char* element)
{
    return doc.FindElem(element) || doc.AddElem(element, nullptr);
}

bool FindLast(CMarkupSTL& doc, const char* element)
{
    bool found = false;
    while (doc.FindElem(element))
        found = true;
    return found;
}

bool EnterRoot(CMarkupSTL& doc)
{
    doc.ResetPos();
    return FindOrAdd(doc, LABEL_MAIN) && doc.IntoElem();
}

bool EnterRecordList(CMarkupSTL& doc)
{
    doc.ResetPos();
    return doc.FindElem(LABEL_MAIN) && doc.IntoElem() && doc.FindElem(LABEL_TOTAL) && doc.IntoElem();
}

void StartRecord(CMarkupSTL& doc)
{
    doc.SetAttrib(ATTRIB_STARTTIME, CTimeMgr::GetTimeString().c_str());
    doc.SetAttrib(ATTRIB_ENDTIME, CTimeMgr::GetTimeString().c_str());
    for (const char* attribute :
         {ATTRIB_TIME, ATTRIB_UPLOADED, ATTRIB_DOWNLOADED, ATTRIB_UNITPRICE, ATTRIB_FEE})
        doc.SetAttrib(attribute, "0");
}

const char* TypeLabel(int nDevice)
{
    switch (nDevice) {
        case 0:
            return "Dial-up";
        case 1:
            return "WiFi";
        case 4:
            return "ADSL";
        default:
            return "unknown";
    }
}

bool FindTransfer(CMarkupSTL& doc, const char* typeLabel)
{
    while (doc.FindElem(LABEL_STAT)) {
        if (doc.GetAttrib(LABEL_TYPE) == typeLabel) return true;
    }
    return false;
}

void TraceAnomaly(const std::string& text) { TraceSrv_Trace(2, "NetInfoPlugin", text.c_str()); }

void TraceException(const char* function)
{
    try {
        TraceAnomaly(std::string(function) + " exception!");
    } catch (...) {  // no memory for the text: the trace line is given up
    }
}
