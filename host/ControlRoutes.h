#pragma once

#include "host/ControlMessage.h"
#include "host/ControlSource.h"

namespace netinfo {

/// Answers a request. The service answers its clients with it, and a command that finds no service answers
/// itself, so that the answers cannot differ. docs/control-interface.md describes them.
///
/// Threads: one. Errors: all of them are answers, but for what the plug-in throws.
ControlAnswer AnswerControl(ControlSource& source, const ControlRequest& request);

}  // namespace netinfo
