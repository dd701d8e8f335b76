#include "host/RuntimeDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace netinfo {

std::string RuntimeDirectory()
{
    const char* const path = secure_getenv("XDG_RUNTIME_DIR");
    if (!path || *path != '/') return {};
    struct stat status
    {};
    if (stat(path, &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != geteuid()) return {};
    return std::string(path) + "/";
}

}  // namespace netinfo
