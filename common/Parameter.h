#pragma once

#include <cstring>
#include <string>
#include <type_traits>

#define NETINFO_PARAMETER_API __attribute__((visibility("default")))

/// One parameter of a modem-style command or setting: a value of a known type that converts to and from text
/// and raw data. The order of the virtual operations is the order of their slots.
///
/// Threads:   one thread at a time for each value; there is no shared state.
/// Ownership: a value owns its 1024 bytes and copies whole. Buffers and texts belong to the caller and are
///            only touched during the call.
/// Units:     lengths and sizes count bytes. What the length of a value means is said at its class; 0 always
///            means empty.
/// Errors:    false, and the value stays as it was unless its class says otherwise. A null pointer is an
///            error. Only RANGE throws, when it is to read an empty text, and `std::bad_alloc` passes
///            through.
class NETINFO_PARAMETER_API PARAMETER
{
public:
    PARAMETER() = default;
    PARAMETER(const PARAMETER&) = default;
    PARAMETER& operator=(const PARAMETER&) = default;

    virtual bool IsEmpty();
    /// Sets the length to 0 and every byte to zero.
    virtual void Empty();
    /// 1 BINARY, 2 STRING, 3 NUMERIC, 5 RANGE, 6 HEX, 7 REAL.
    virtual int TypeId() = 0;
    /// The value as text; "" for an empty one.
    virtual std::string ToString() = 0;
    /// Reads the value from text.
    virtual bool FromString(const std::string& text) = 0;
    /// Takes the value from the `n` bytes at `p`. The number classes read `p` as NUL-terminated text instead
    /// and do not look at `n`.
    virtual bool SetData(const void* p, unsigned int n) = 0;
    /// Copies the value to `p`, which holds `n` bytes. False when it is empty or does not fit; nothing is
    /// copied then. The number classes copy their text, without a terminator.
    virtual bool GetData(void* p, unsigned int n) = 0;
    virtual int GetLength();
    /// The first eight bytes as one number in host byte order, 0 for an empty value. For a REAL these are the
    /// bits of the `double`, for a RANGE its two bounds side by side.
    virtual unsigned long long GetNumValue();
    /// All 1024 bytes, as long as the value lives.
    virtual const unsigned char* GetRawData() const;

    virtual ~PARAMETER() = default;

protected:
    /// Sets the value to the `n` bytes at `p`, at most 1023, which may be its own; false, changing nothing,
    /// for more or for null.
    bool SetBytes(const void* p, unsigned int n);
    /// Copies as many bytes as the length says; false for null, for an empty value or when `n` is too small.
    bool GetBytes(void* p, unsigned int n) const;

    /// The number in the first bytes, whatever was stored there.
    template <class Number>
    Number Stored() const
    {
        static_assert(sizeof(Number) == 8);
        Number value;
        std::memcpy(&value, m_Data, sizeof value);
        return value;
    }
    template <class Number>
    void Store(Number value, int nLength)
    {
        static_assert(sizeof(Number) == 8);
        std::memcpy(m_Data, &value, sizeof value);
        m_nLength = nLength;
    }

    int m_nLength = 0;
    unsigned char m_Data[1024] = {};  ///< numbers in the first 8 bytes; text and bytes from the start
};

/// Bytes. The length is their number.
class NETINFO_PARAMETER_API BINARY : public PARAMETER
{
public:
    int TypeId() override;
    /// Two upper-case hexadecimal digits a byte.
    std::string ToString() override;
    /// Reads two hexadecimal digits of either case a byte, at most 2048 of them. False, changing nothing, for
    /// an odd or larger number of characters; false, leaving the value empty, at the first character that is
    /// no digit.
    bool FromString(const std::string& text) override;
    /// At most 1023 bytes.
    bool SetData(const void* p, unsigned int n) override;
    bool GetData(void* p, unsigned int n) override;
};

/// Text of at most 1023 characters. The length counts all it was set from, also behind a zero byte, where
/// `ToString` and `==` end.
class NETINFO_PARAMETER_API STRING : public PARAMETER
{
public:
    /// `FromString`: a text that is too long leaves the value as it was.
    STRING& operator=(const std::string& text);
    /// False for an empty value, whatever the text.
    bool operator==(const std::string& text) const;

    int TypeId() override;
    std::string ToString() override;
    bool FromString(const std::string& text) override;
    /// The `n` characters at `p`, at most 1023; they need no terminator.
    bool SetData(const void* p, unsigned int n) override;
    /// Copies the text and a terminator, which does not count: when the length is exactly `n`, `p[n]` is
    /// written, so the buffer must hold one byte more than `n`.
    bool GetData(void* p, unsigned int n) override;

private:
    const char* Text() const;  ///< always terminated: the last byte stays zero
};

/// An unsigned 64-bit number, shown in decimal. The length is that of the text it was read from, or the
/// number of its digits.
class NETINFO_PARAMETER_API NUMERIC : public PARAMETER
{
public:
    NUMERIC& operator=(unsigned long long value);
    /// False for an empty value, whatever the number.
    bool operator==(unsigned long long value) const;
    /// The same for any other integer type, so that `value == 5` needs no suffix.
    template <class Number, class = std::enable_if_t<std::is_integral_v<Number>>>
    bool operator==(Number value) const
    {
        return *this == static_cast<unsigned long long>(value);
    }
    operator unsigned long long() const;

    int TypeId() override;
    std::string ToString() override;
    /// Reads the number at the start of the text, 0 where there is none. What is larger than a signed 64-bit
    /// number counts as the largest of them. Always true.
    bool FromString(const std::string& text) override;
    bool SetData(const void* p, unsigned int n) override;
    bool GetData(void* p, unsigned int n) override;
};

/// Two numbers of a range, in this order.
struct RangeType
{
    int nBegin = 0;
    int nEnd = 0;
};

/// A range of two signed 32-bit numbers. The length is 8, the size of both.
class NETINFO_PARAMETER_API RANGE : public PARAMETER
{
public:
    RANGE& operator=(RangeType range);
    /// False for an empty value, whatever the range.
    bool operator==(RangeType range) const;
    int GetRangeBegin() const;
    int GetRangeEnd() const;

    int TypeId() override;
    /// "(begin-end", without a closing parenthesis. A negative bound shows as its 64-bit two's complement.
    std::string ToString() override;
    /// Reads "(begin-end)": the first character is skipped, the first '-' parts the two bounds, the last
    /// character is cut off, whatever it is. A bound that is no number reads as 0, of a larger one the low 32
    /// bits count. Always true; throws `std::out_of_range` for an empty text.
    bool FromString(const std::string& text) override;
    bool SetData(const void* p, unsigned int n) override;
    /// Copies exactly 8 bytes: the text cut to that length, or filled up with zeros.
    bool GetData(void* p, unsigned int n) override;
};

/// An unsigned 64-bit number, shown in lower-case hexadecimal. Lengths as for NUMERIC.
class NETINFO_PARAMETER_API HEX : public PARAMETER
{
public:
    HEX& operator=(unsigned long long value);
    /// False for an empty value, whatever the number.
    bool operator==(unsigned long long value) const;
    /// The same for any other integer type, so that `value == 5` needs no suffix.
    template <class Number, class = std::enable_if_t<std::is_integral_v<Number>>>
    bool operator==(Number value) const
    {
        return *this == static_cast<unsigned long long>(value);
    }
    operator unsigned long long() const;

    int TypeId() override;
    std::string ToString() override;
    /// Reads the hexadecimal digits at the start of the text, 0 where there are none; of more than sixteen
    /// the last sixteen count. There is no "0x": it reads as 0. Always true.
    bool FromString(const std::string& text) override;
    bool SetData(const void* p, unsigned int n) override;
    bool GetData(void* p, unsigned int n) override;
};

/// A floating-point number. The length is that of the text it was read from, or of its text in full
/// precision, and is at the same time the number of significant digits that `ToString` shows. The decimal
/// point is that of the process's locale.
class NETINFO_PARAMETER_API REAL : public PARAMETER
{
public:
    REAL& operator=(double value);
    /// False for an empty value, whatever the number.
    bool operator==(double value) const;
    /// The same for any other type of number, so that `value == 5` needs no suffix.
    template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>>
    bool operator==(Number value) const
    {
        return *this == static_cast<double>(value);
    }
    double GetFloatValue() const;
    operator double() const;

    int TypeId() override;
    std::string ToString() override;
    /// Reads the number at the start of the text, 0 where there is none. Always true.
    bool FromString(const std::string& text) override;
    bool SetData(const void* p, unsigned int n) override;
    /// Copies the text in full precision. Its length becomes the length of the value, also when it does not
    /// fit and nothing is copied.
    bool GetData(void* p, unsigned int n) override;
};

/// Reads the digits at the start of `s` in base `nBase` into `*pValue`, which is also returned. The letters
/// of hexadecimal are digits too, and a digit that is too large for the base still counts with its value.
/// What goes beyond 64 bits is lost.
NETINFO_PARAMETER_API unsigned long long dsatutil_atoll(unsigned long long* pValue, const unsigned char* s,
                                                        unsigned int nBase);
