#pragma once

#include <string>

namespace netinfo {

/// $XDG_RUNTIME_DIR, ending with '/', if it is there and this user's own; otherwise empty.
std::string RuntimeDirectory();

}  // namespace netinfo
