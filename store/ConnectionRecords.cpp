#include <memory>
#include <utility>

#include "plugin/ConnRecordImpl.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

/// The record that the document stands on; its texts are passed on unchecked, a missing one is empty.
tagConnRecord ReadRecord(RecordReader& record)
{
    record.Read(RecordReader::FEE);
    return {record.Text(RecordReader::APN),        record.Text(RecordReader::START_TIME),
            record.Text(RecordReader::END_TIME),   record.Text(RecordReader::TIME),
            record.Text(RecordReader::UPLOADED),   record.Text(RecordReader::DOWNLOADED),
            record.Text(RecordReader::UNIT_PRICE), record.Text(RecordReader::FEE)};
}

}  // namespace

void CDataMgr::StartNewConnect(const std::string& device, const std::string& apn)
try {
    const JMutexLock lock(mutex);
    if (!EnterRoot(xmlDoc)) return;
    if (!FindOrAdd(xmlDoc, LABEL_TOTAL) || !xmlDoc.IntoElem()) return;
    if (!xmlDoc.AddElem(LABEL_ITEM, nullptr)) return;

    xmlDoc.SetAttrib(ATTRIB_DEVICE, device.c_str());
    xmlDoc.SetAttrib(ATTRIB_APN, apn.c_str());
    StartRecord(xmlDoc);
} catch (...) {
    TraceException("CDataMgr::StartNewConnect");
}

IConnRecord* CDataMgr::GetLastConnRecord()
try {
    const JMutexLock lock(mutex);
    if (!EnterRecordList(xmlDoc)) return nullptr;

    auto set = std::make_unique<CConnRecordImpl>();
    RecordReader record(xmlDoc);
    if (xmlDoc.FindLastElem(LABEL_ITEM)) set->AddRecord(ReadRecord(record));
    return set.release();
} catch (...) {
    TraceException("CDataMgr::GetLastConnRecord");
    return nullptr;
}

IConnRecord* CDataMgr::GetAllConnRecord()
try {
    const JMutexLock lock(mutex);
    if (!EnterRecordList(xmlDoc)) return nullptr;

    std::size_t count = 0;
    while (xmlDoc.FindElem(LABEL_ITEM))
        ++count;
    xmlDoc.ResetMainPos();

    auto set = std::make_unique<CConnRecordImpl>();
    set->Reserve(count);
    RecordReader record(xmlDoc);
    while (xmlDoc.FindElem(LABEL_ITEM))
        set->AddRecord(ReadRecord(record));
    return set.release();
} catch (...) {
    TraceException("CDataMgr::GetAllConnRecord");
    return nullptr;
}

bool CDataMgr::BeginRemoveRecord()
{
    const JMutexLock lock(mutex);
    setRemove.clear();
    return true;
}

bool CDataMgr::RemoveRecord(int nIndex)
try {
    const JMutexLock lock(mutex);
    setRemove.insert(nIndex);
    return true;
} catch (...) {
    TraceException("CDataMgr::RemoveRecord");
    return true;
}

bool CDataMgr::EndRemoveRecord()
try {
    const JMutexLock lock(mutex);
    const std::set<int> marked = std::exchange(setRemove, {});
    if (marked.empty() || !EnterRecordList(xmlDoc)) return true;

    for (int index = 0; xmlDoc.FindElem(LABEL_ITEM); ++index) {
        if (marked.contains(index)) xmlDoc.RemoveElem();
    }
    SaveDocument();
    return true;
} catch (...) {
    TraceException("CDataMgr::EndRemoveRecord");
    return true;
}
