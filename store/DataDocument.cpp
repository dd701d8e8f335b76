#include "store/DataDocument.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <span>
#include <system_error>

#include "calendar/TimeMgr.h"
#include "platform/common/NimbString.h"
#include "platform/trace/TraceSrv.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"

namespace {

/// The same as ToNumber for a text of any length.
unsigned long long ToLargeNumber(std::string_view text)
{
    if (!IsNumber(text)) return 0;
    long long value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) value = LLONG_MAX;
    return static_cast<unsigned long long>(value);
}

constexpr std::size_t EIGHT = sizeof(std::uint64_t);
constexpr std::uint64_t EACH = 0x0101010101010101;  // times a byte: eight of it
constexpr std::uint64_t ZEROS = '0' * EACH;

/// Eight characters, the first one lowest.
std::uint64_t Characters(const char* text)
{
    std::uint64_t characters = 0;
    std::memcpy(&characters, text, sizeof characters);
    if constexpr (std::endian::native == std::endian::big) return __builtin_bswap64(characters);
    return characters;
}

/// Whether eight characters are digits.
constexpr bool AreDigits(std::uint64_t characters)
{
    const std::uint64_t digits = characters - ZEROS;
    return ((digits | (digits + (0x7F - 9) * EACH)) & 0x80 * EACH) == 0;
}

/// The number that eight digits are, all at once: pairs of digits first, then pairs of those.
constexpr unsigned long long NumberOf(std::uint64_t characters)
{
    std::uint64_t digits = characters - ZEROS;
    digits = digits * 10 + (digits >> 8);  // every second byte is a number of two digits
    const std::uint64_t even = digits & 0x000000FF000000FF;
    const std::uint64_t odd = digits >> 16 & 0x000000FF000000FF;
    return (even * (100 + (1'000'000ULL << 32)) + odd * (1 + (10'000ULL << 32))) >> 32;
}

/// The same as ToNumber for a text of 8 to 15 characters.
unsigned long long ToMiddleNumber(std::string_view text)
{
    const std::size_t front = text.size() - EIGHT;
    const std::uint64_t low = Characters(text.data() + front);
    if (front == 0) return AreDigits(low) ? NumberOf(low) : 0;

    const std::uint64_t high = Characters(text.data()) << 8 * (EIGHT - front) | ZEROS >> 8 * front;
    return AreDigits(high) && AreDigits(low) ? NumberOf(high) * 100'000'000 + NumberOf(low) : 0;
}

/// The attributes of a record in the order of RecordReader::Attribute, which is the one they are written in.
const AttribKey RECORD_KEYS[RecordReader::COUNT] = {
    AttribKey(ATTRIB_DEVICE),     AttribKey(ATTRIB_APN),       AttribKey(ATTRIB_STARTTIME),
    AttribKey(ATTRIB_ENDTIME),    AttribKey(ATTRIB_TIME),      AttribKey(ATTRIB_UPLOADED),
    AttribKey(ATTRIB_DOWNLOADED), AttribKey(ATTRIB_UNITPRICE), AttribKey(ATTRIB_FEE)};

}  // namespace

std::string ConverUllToString(unsigned long long value)
{
    char buffer[65] = {};
    return _ui64toa(value, buffer, 10);
}

bool IsNumber(std::string_view text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

unsigned long long ToNumber(std::string_view text)
{
    if (text.size() >= 2 * EIGHT) return ToLargeNumber(text);
    if (text.size() >= EIGHT) return ToMiddleNumber(text);

    unsigned long long value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return 0;
        value = value * 10 + static_cast<unsigned long long>(c - '0');
    }
    return value;
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

void RecordReader::Read(Attribute until)
{
    const auto count = static_cast<std::size_t>(until) + 1;
    m_isPlain = m_doc.GetAttribs(std::span(RECORD_KEYS).first(count), std::span(m_values).first(count));
}

std::string RecordReader::Text(Attribute attribute) const
{
    if (m_isPlain) return CMarkupSTL::Resolved(m_values[attribute]);
    return m_doc.GetAttrib(RECORD_KEYS[attribute].Name().data());
}

unsigned long long RecordReader::Number(Attribute attribute) const
{
    if (m_isPlain) {
        const std::string_view value = m_values[attribute];
        const unsigned long long number = ToNumber(value);
        if (number != 0 || value.find('&') == std::string_view::npos) return number;
    }
    return ToNumber(Text(attribute));
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
