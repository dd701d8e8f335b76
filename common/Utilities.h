#pragma once

#include <string>

/// The platform's settings, user data directory and code-page conversions as calls that return values, and a
/// few questions about texts. Wide text is `std::basic_string<unsigned short>`, UTF-16 in host byte order.
///
/// Threads:   every function may be called from any thread at any time; none keeps state.
/// Ownership: arguments are only read during the call, results belong to the caller. A null text counts as
///            an empty one.
/// Units:     lengths count 16-bit units (bytes for narrow text) and never the terminator. A text that comes
///            from the platform ends at its first zero unit. Code pages: 0 the platform's default narrow
///            encoding, 65001 UTF-8.
/// Errors:    a platform that fails shows as an empty or cut text. `std::bad_alloc` passes through, except
///            from `ToNimb_wchar`.

/// Stores `value` under `key` of `section` in the user's settings.
void SetSetting(std::basic_string<unsigned short> section, std::basic_string<unsigned short> key,
                std::basic_string<unsigned short> value);

/// The setting `key` of `section`; empty when there is none.
std::basic_string<unsigned short> MyGetSetting(const std::basic_string<unsigned short>& section,
                                               const std::basic_string<unsigned short>& key);

/// The user data directory, ending with '/'. What goes beyond 1024 units is cut off.
std::basic_string<unsigned short> MyGetUserDataPath();

/// Decodes `s` from `nCodePage`; what cannot be decoded becomes U+FFFD.
std::basic_string<unsigned short> MyMultiByteToWideChar(const char* s, int nCodePage);

/// Encodes `s` into `nCodePage`; what cannot be encoded becomes '?'.
std::string MyWideCharToMultiByte(const unsigned short* s, int nCodePage);

/// 32-bit text as UTF-16: a character above 0xFFFF becomes a surrogate pair, any other is one unit as it
/// stands, lone surrogates included. Empty when memory runs out.
std::basic_string<unsigned short> ToNimb_wchar(const wchar_t* s);

/// True when the texts are equal. Unlike the C function it echoes, it tells no order.
bool NIMB_wcscmp(std::basic_string<unsigned short> a, std::basic_string<unsigned short> b);

/// True when the first `n` units are equal, or when both texts are shorter than `n` and equal as wholes.
/// Tells no order.
bool NIMB_wcsncmp(std::basic_string<unsigned short> a, std::basic_string<unsigned short> b, unsigned long n);

/// `s` between two quotation marks.
std::string AddDoubleQuotationMarks(const char* s);

/// `s` without the pair of quotation marks around it, or as it is where there is no such pair. Throws
/// `std::length_error` for a text that is one single quotation mark.
std::string TakeOutDoubleQuotationMarks(const std::string& s);

/// A to Z become a to z, in place; every other byte stays, whatever the locale. Always true.
bool ToLowerString(std::string& s);

/// a to z become A to Z, in place; every other byte stays, whatever the locale. Always true.
bool ToUpperString(std::string& s);
