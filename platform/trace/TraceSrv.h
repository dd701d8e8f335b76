#pragma once

#include "platform/common/Export.h"

/// Writes one trace line: local time with its distance from UTC, level, module, text. Level 2 is for
/// anomalies and caught exceptions, level 4 for information; `$NETINFO_TRACE_LEVEL` (default 2), read at the
/// first call, is the highest level written. The lines go to `$NETINFO_TRACE_FILE`, else to `trace.log` in
/// `$XDG_STATE_HOME/netinfo/`, else in `~/.local/state/netinfo/`; a file that reaches one mebibyte is put
/// aside, and two such files are kept.
///
/// `pszText` is data, never a format: control characters and the backslash are written as escapes, so that a
/// line is always one line and a terminal that shows it stays as it is. A very long text is cut.
///
/// Threads: any. A level that is not written costs a comparison.
/// Errors:  none are reported, and `errno` is left alone; a line that cannot be written is dropped.
extern "C" NETINFO_PLATFORM_API void TraceSrv_Trace(int nLevel, const char* pszModule, const char* pszText);
