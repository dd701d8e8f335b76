#include "common/Parameter.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>

// Numbers are written with std::to_chars: hosts link these classes alone, without the platform libraries.

namespace {

constexpr std::size_t MAX_LENGTH = 1023;  // bytes or characters; leaves room for the terminator of a text
constexpr int FULL_PRECISION = 997;       // significant digits; more than any double has (767)

std::string UnsignedText(unsigned long long value, int radix)
{
    char digits[64];
    return {digits, std::to_chars(digits, std::end(digits), value, radix).ptr};
}

bool CopyText(const std::string& text, void* p, unsigned int n)
{
    if (!p || text.size() > n) return false;
    std::memcpy(p, text.data(), text.size());
    return true;
}

/// With `precision` significant digits at most.
std::string RealText(double value, int precision)
{
    char text[FULL_PRECISION + 32];  // besides the digits: signs, point, leading zeros, exponent, terminator
    return gcvt(value, std::min(precision, FULL_PRECISION), text);
}

int LengthOf(const std::string& text)
{
    return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
}

/// Value of a hexadecimal digit; -1 for any other character.
int HexDigit(int c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

/// The low 32 bits of the number at the start of the text.
int Bound(const std::string& text) { return static_cast<int>(std::strtol(text.c_str(), nullptr, 10)); }

std::string BoundText(int bound)
{
    return UnsignedText(static_cast<unsigned long long>(static_cast<long long>(bound)), 10);
}

}  // namespace

bool PARAMETER::IsEmpty() { return m_nLength == 0; }

void PARAMETER::Empty()
{
    m_nLength = 0;
    std::memset(m_Data, 0, sizeof m_Data);
}

int PARAMETER::GetLength() { return m_nLength; }

unsigned long long PARAMETER::GetNumValue() { return IsEmpty() ? 0 : Stored<unsigned long long>(); }

const unsigned char* PARAMETER::GetRawData() const { return m_Data; }

bool PARAMETER::SetBytes(const void* p, unsigned int n)
{
    if (!p || n > MAX_LENGTH) return false;
    const std::string bytes(static_cast<const char*>(p), n);
    if (!IsEmpty()) Empty();
    std::memcpy(m_Data, bytes.data(), bytes.size());
    m_nLength = static_cast<int>(n);
    return true;
}

bool PARAMETER::GetBytes(void* p, unsigned int n) const
{
    if (!p || m_nLength == 0 || static_cast<unsigned int>(m_nLength) > n) return false;
    std::memcpy(p, m_Data, static_cast<std::size_t>(m_nLength));
    return true;
}

int BINARY::TypeId() { return 1; }

std::string BINARY::ToString()
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (int i = 0; i < m_nLength; ++i) {
        text += DIGITS[m_Data[i] >> 4];
        text += DIGITS[m_Data[i] & 0xF];
    }
    return text;
}

bool BINARY::FromString(const std::string& text)
{
    if (text.size() % 2 != 0 || text.size() > 2 * sizeof m_Data) return false;
    if (!IsEmpty()) Empty();
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = HexDigit(text[i]);
        const int low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0) return false;
        m_Data[i / 2] = static_cast<unsigned char>(high << 4 | low);
    }
    m_nLength = static_cast<int>(text.size() / 2);
    return true;
}

bool BINARY::SetData(const void* p, unsigned int n) { return SetBytes(p, n); }

bool BINARY::GetData(void* p, unsigned int n) { return GetBytes(p, n); }

STRING& STRING::operator=(const std::string& text)
{
    FromString(text);
    return *this;
}

bool STRING::operator==(const std::string& text) const { return m_nLength != 0 && text == Text(); }

int STRING::TypeId() { return 2; }

std::string STRING::ToString() { return IsEmpty() ? "" : Text(); }

bool STRING::FromString(const std::string& text)
{
    if (text.size() > MAX_LENGTH) return false;
    return SetBytes(text.c_str(), static_cast<unsigned int>(text.size()));
}

bool STRING::SetData(const void* p, unsigned int n) { return SetBytes(p, n); }

bool STRING::GetData(void* p, unsigned int n)
{
    if (!GetBytes(p, n)) return false;
    static_cast<char*>(p)[m_nLength] = 0;
    return true;
}

const char* STRING::Text() const { return reinterpret_cast<const char*>(m_Data); }

NUMERIC& NUMERIC::operator=(unsigned long long value)
{
    Store(value, LengthOf(UnsignedText(value, 10)));
    return *this;
}

bool NUMERIC::operator==(unsigned long long value) const
{
    return m_nLength != 0 && Stored<unsigned long long>() == value;
}

NUMERIC::operator unsigned long long() const { return Stored<unsigned long long>(); }

int NUMERIC::TypeId() { return 3; }

std::string NUMERIC::ToString() { return IsEmpty() ? "" : UnsignedText(Stored<unsigned long long>(), 10); }

bool NUMERIC::FromString(const std::string& text)
{
    Store(std::strtoll(text.c_str(), nullptr, 10), LengthOf(text));
    return true;
}

bool NUMERIC::SetData(const void* p, unsigned int) { return p && FromString(static_cast<const char*>(p)); }

bool NUMERIC::GetData(void* p, unsigned int n) { return !IsEmpty() && CopyText(ToString(), p, n); }

RANGE& RANGE::operator=(RangeType range)
{
    Store(range, sizeof range);
    return *this;
}

bool RANGE::operator==(RangeType range) const
{
    return m_nLength != 0 && GetRangeBegin() == range.nBegin && GetRangeEnd() == range.nEnd;
}

int RANGE::GetRangeBegin() const { return Stored<RangeType>().nBegin; }

int RANGE::GetRangeEnd() const { return Stored<RangeType>().nEnd; }

int RANGE::TypeId() { return 5; }

std::string RANGE::ToString()
{
    if (IsEmpty()) return "";
    return "(" + BoundText(GetRangeBegin()) + "-" + BoundText(GetRangeEnd());
}

bool RANGE::FromString(const std::string& text)
{
    // Without a '-' the first bound runs to the end and the second begins at the first character: substr
    // takes a count that wraps below zero as "to the end", and npos + 1 is 0.
    const std::size_t dash = text.find('-');
    const int begin = Bound(text.substr(1, dash - 1));
    const int end = Bound(text.substr(dash + 1, text.size() - (dash + 1) - 1));
    Store(RangeType{begin, end}, sizeof(RangeType));
    return true;
}

bool RANGE::SetData(const void* p, unsigned int) { return p && FromString(static_cast<const char*>(p)); }

bool RANGE::GetData(void* p, unsigned int n)
{
    if (IsEmpty()) return false;
    std::string text = ToString();
    text.resize(static_cast<std::size_t>(m_nLength));
    return CopyText(text, p, n);
}

HEX& HEX::operator=(unsigned long long value)
{
    Store(value, LengthOf(UnsignedText(value, 16)));
    return *this;
}

bool HEX::operator==(unsigned long long value) const
{
    return m_nLength != 0 && Stored<unsigned long long>() == value;
}

HEX::operator unsigned long long() const { return Stored<unsigned long long>(); }

int HEX::TypeId() { return 6; }

std::string HEX::ToString() { return IsEmpty() ? "" : UnsignedText(Stored<unsigned long long>(), 16); }

bool HEX::FromString(const std::string& text)
{
    unsigned long long value;
    dsatutil_atoll(&value, reinterpret_cast<const unsigned char*>(text.c_str()), 16);
    Store(value, LengthOf(text));
    return true;
}

bool HEX::SetData(const void* p, unsigned int) { return p && FromString(static_cast<const char*>(p)); }

bool HEX::GetData(void* p, unsigned int n) { return !IsEmpty() && CopyText(ToString(), p, n); }

REAL& REAL::operator=(double value)
{
    Store(value, LengthOf(RealText(value, FULL_PRECISION)));
    return *this;
}

bool REAL::operator==(double value) const { return m_nLength != 0 && Stored<double>() == value; }

double REAL::GetFloatValue() const { return m_nLength != 0 ? Stored<double>() : 0; }

REAL::operator double() const { return Stored<double>(); }

int REAL::TypeId() { return 7; }

std::string REAL::ToString() { return IsEmpty() ? "" : RealText(Stored<double>(), m_nLength); }

bool REAL::FromString(const std::string& text)
{
    Store(std::strtod(text.c_str(), nullptr), LengthOf(text));
    return true;
}

bool REAL::SetData(const void* p, unsigned int) { return p && FromString(static_cast<const char*>(p)); }

bool REAL::GetData(void* p, unsigned int n)
{
    if (IsEmpty()) return false;
    const std::string text = RealText(Stored<double>(), FULL_PRECISION);
    m_nLength = LengthOf(text);
    return CopyText(text, p, n);
}

unsigned long long dsatutil_atoll(unsigned long long* pValue, const unsigned char* s, unsigned int nBase)
{
    unsigned long long value = 0;
    for (; s && HexDigit(*s) >= 0; ++s)
        value = value * nBase + static_cast<unsigned long long>(HexDigit(*s));
    if (pValue) *pValue = value;
    return value;
}
