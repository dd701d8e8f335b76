#include <algorithm>
#include <vector>

#include "common/Utilities.h"
#include "device/DeviceMgr.h"
#include "device/DeviceTrace.h"
#include "platform/common/GlobalFunction.h"
#include "xml/MarkupSTL.h"

std::string CDeviceMgr::GetSystemSettingPath(std::string fileName)
{
    U16String strDirectory;
    const int nLength = CGlobalFunction::GetModuleDirectory(nullptr, 0);
    if (nLength > 0) {
        std::vector<unsigned short> buffer(static_cast<std::size_t>(nLength) + 1);
        CGlobalFunction::GetModuleDirectory(buffer.data(), nLength);
        strDirectory = buffer.data();
    }
    return fileName.insert(0, MyWideCharToMultiByte(strDirectory.c_str(), SYSTEM_CODE_PAGE));
}

void CDeviceMgr::GetFluxconflictSoft()
{
    try {
        CMarkupSTL xml;
        xml.Load(GetSystemSettingPath("SysSetting.xml").c_str());
        xml.ResetPos();
        if (!xml.FindElem("nimbdoc")) return;
        // Without the element of its own, the list is what stands directly under the root.
        if (xml.FindChildElem("FluxconflictSoft")) xml.IntoElem();
        while (xml.FindChildElem("item"))
            m_lstCrashSoft.push_back(
                MyMultiByteToWideChar(xml.GetChildAttrib("name").c_str(), SYSTEM_CODE_PAGE));
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetFluxconflictSoft() exception!");
    }
}

bool CDeviceMgr::ContainCrashSoftKeyWord(const U16String& text) const
{
    return std::any_of(m_lstCrashSoft.begin(), m_lstCrashSoft.end(),
                       [&](const U16String& strKeyWord) { return text.find(strKeyWord) != U16String::npos; });
}
