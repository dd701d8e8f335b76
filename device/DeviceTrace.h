#pragma once

#include <string>

#include "platform/trace/TraceSrv.h"

/// The tracker's two kinds of trace lines. [any thread]

inline constexpr const char* TRACE_MODULE = "NetInfoPlugin";

/// Something is not as it should be; written by default.
inline void TraceAnomaly(const char* pszText) { TraceSrv_Trace(2, TRACE_MODULE, pszText); }
inline void TraceAnomaly(const std::string& strText) { TraceAnomaly(strText.c_str()); }

/// What happened, for whoever follows the events.
inline void TraceInformation(const char* pszText) { TraceSrv_Trace(4, TRACE_MODULE, pszText); }
inline void TraceInformation(const std::string& strText) { TraceInformation(strText.c_str()); }
