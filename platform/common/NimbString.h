#pragma once

#include "platform/common/Export.h"

/// Copies the NUL-terminated 16-bit text `source` with its terminator to `target`; returns `target`.
NETINFO_PLATFORM_API unsigned short* NIMB_wcscpy(unsigned short* target, const unsigned short* source);

/// Number of 16-bit units before the terminator; 0 for null.
NETINFO_PLATFORM_API unsigned long NIMB_wcslen(const unsigned short* text);

/// Writes `value` in `radix` (2 to 36, lower-case digits) and a terminator to `buffer`, which must hold 65
/// bytes; returns `buffer`.
NETINFO_PLATFORM_API char* _ui64toa(unsigned long long value, char* buffer, int radix);
