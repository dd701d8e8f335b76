#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include "calendar/TimeMgr.h"
#include "common/Utilities.h"
#include "platform/common/GlobalFunction.h"
#include "platform/common/JFile.h"
#include "platform/files/WholeFile.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view HEADER = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
constexpr std::string_view EMPTY_ROOT = "<xml>\r\n</xml>\r\n";
constexpr int SYSTEM_CODE_PAGE = 0;
constexpr int UTF8 = 65001;

constexpr std::size_t MAX_LENGTH = INT_MAX;  // bytes; what a document can hold

std::string NewDocument() { return std::string(HEADER) + std::string(EMPTY_ROOT); }

/// Whether there is a file at `path`; nothing where the system does not say.
std::optional<bool> Exists(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) return true;
    if (errno == ENOENT || errno == ENOTDIR) return false;
    return std::nullopt;
}

bool IsDataDocument(const std::string& text)
{
    CMarkupSTL doc;
    return doc.SetDoc(text.c_str()) && doc.FindElem(LABEL_MAIN);
}

/// `text` in UTF-8 behind a declaration that says so. It is converted in pieces of 9, then 1023 bytes, so a
/// character that lies across the end of a piece is lost.
std::string ConvertToUTF8(const std::string& text)
{
    std::string converted(HEADER);
    std::size_t length = 9;
    for (std::size_t begin = 0; begin < text.size(); begin += std::exchange(length, 1023)) {
        const auto wide = MyMultiByteToWideChar(text.substr(begin, length).c_str(), SYSTEM_CODE_PAGE);
        converted += MyWideCharToMultiByte(wide.c_str(), UTF8);
    }
    return converted;
}

/// Gives the file at `path` a name of its own beside it, and returns that; empty if it cannot be done.
std::string PutAside(const std::string& path)
{
    long seconds = CTimeMgr::GetTime();
    std::string kept;
    std::optional<bool> taken;
    do {
        kept = path + ".bad-" + std::to_string(seconds++);
        taken = Exists(kept);
        if (!taken) return {};
    } while (*taken);

    return std::rename(path.c_str(), kept.c_str()) == 0 ? kept : std::string();
}

/// The limits file beside the module; empty without a module directory.
std::basic_string<unsigned short> LimitIniPath()
{
    const int length = CGlobalFunction::GetModuleDirectory(nullptr, 0);
    if (length <= 0) return {};

    std::vector<unsigned short> directory(static_cast<std::size_t>(length) + 1, 0);
    CGlobalFunction::GetModuleDirectory(directory.data(), length);
    return directory.data() + NAME_LIMITINI;
}

}  // namespace

CDataMgr::CDataMgr()
{
    mutex.Init();
    try {
        strLimitIniPath = LimitIniPath();
        NetinfoFiletoUTF8();
        LoadDocument();

        std::vector<nis::SNAPSHOT> types(3);  // nothing to add: makes what is missing and rolls periods over
        types[0].nDevice = 0;
        types[1].nDevice = 1;
        types[2].nDevice = 4;
        UpdateData(types, true);
    } catch (...) {
        TraceException("CDataMgr::CDataMgr");
    }
}

CDataMgr::~CDataMgr() { SaveFile(); }

std::string CDataMgr::GetDataFilePathName() const
{
    return MyWideCharToMultiByte((MyGetUserDataPath() + NAME_DATAFILE).c_str(), SYSTEM_CODE_PAGE);
}

void CDataMgr::NetinfoFiletoUTF8()
try {
    const JMutexLock lock(mutex);
    const std::string path = GetDataFilePathName();
    if (Exists(path) == false) {
        ReplaceFileWhole(path, NewDocument());
        return;
    }

    const std::optional<std::string> old = ReadFileWhole(path, MAX_LENGTH);
    if (!old || old->starts_with(BYTE_ORDER_MARK)) return;
    if (old->find('\0') != std::string::npos) return;  // no text in any code page

    // An earlier conversion may have left a file behind when it was interrupted; the new text follows on it
    // unless it is of no use. A text of no use itself is not worth its original bytes: it stays as it is.
    const std::string leftOverPath = path + ".utf8";
    std::string leftOver;
    if (Exists(leftOverPath) != false) {
        auto content = ReadFileWhole(leftOverPath, MAX_LENGTH);
        if (!content) return;
        leftOver = std::move(*content);
    }
    std::string converted = ConvertToUTF8(*old);
    if (IsDataDocument(leftOver + converted)) {
        converted.insert(0, leftOver);
    } else if (!IsDataDocument(converted)) {
        return;
    }
    if (ReplaceFileWhole(path, converted)) JFile(leftOverPath).Remove();
} catch (...) {
    TraceException("CDataMgr::NetinfoFiletoUTF8");
}

void CDataMgr::LoadDocument()
{
    const JMutexLock lock(mutex);
    const std::string path = GetDataFilePathName();
    bFileSettled = xmlDoc.Load(path.c_str()) && xmlDoc.FindElem(LABEL_MAIN);
    if (bFileSettled || Exists(path) == false) return;  // without a file the document starts empty

    xmlDoc.SetDoc(NewDocument().c_str());
    if (SettleFile(path)) ReplaceFileWhole(path, NewDocument());
}

bool CDataMgr::SettleFile(const std::string& path)
{
    if (bFileSettled) return true;

    bFileSettled = Exists(path) == false;
    if (bFileSettled) return true;

    const std::string kept = PutAside(path);
    bFileSettled = !kept.empty();
    TraceAnomaly(bFileSettled ? "The data file cannot be read; it is kept as " + kept
                              : "The data file can neither be read nor put aside; nothing is saved: " + path);
    return bFileSettled;
}

void CDataMgr::SaveFile()
try {
    const JMutexLock lock(mutex);
    SaveDocument();
} catch (...) {
    TraceException("CDataMgr::SaveFile");
}

void CDataMgr::SaveDocument()
{
    const std::string path = GetDataFilePathName();
    if (!SettleFile(path)) return;
    if (!xmlDoc.Save(path.c_str())) TraceAnomaly("The data file cannot be saved: " + path);
}

CMarkupSTL::Steps CDataMgr::GetSteps() const
{
    const JMutexLock lock(mutex);
    return xmlDoc.GetSteps();
}
