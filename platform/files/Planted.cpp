#include "platform/files/Planted.h"

#include <sys/stat.h>
#include <unistd.h>

bool IsPlanted(const std::string& path)
{
    struct stat own = {};
    if (lstat(path.c_str(), &own) != 0) return false;

    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    struct stat shared = {};
    if (stat(folder.c_str(), &shared) != 0) return true;
    if ((shared.st_mode & S_IWOTH) == 0) return false;

    if (own.st_uid != geteuid() && own.st_uid != shared.st_uid) return true;
    return S_ISREG(own.st_mode) && own.st_nlink > 1;
}
