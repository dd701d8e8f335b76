#pragma once

#include "platform/common/Export.h"

/// Writes one trace line: time, level, module, text. Level 2 is for anomalies and caught exceptions, level 4
/// for information; `$NETINFO_TRACE_LEVEL` (default 2) is the highest level written.
///
/// Threads: any. Errors: none are reported; a trace that cannot be written is dropped.
/// `pszText` is data, never a format; control characters are escaped.
extern "C" NETINFO_PLATFORM_API void TraceSrv_Trace(int nLevel, const char* pszModule, const char* pszText);
