#include "host/SettingsWatch.h"

#include <algorithm>

namespace netinfo {
namespace {

bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool SettingsWatch::Changed()
{
    std::vector<struct stat> files = Look();
    if (!std::equal(files.begin(), files.end(), m_files.begin(), SameFile)) {
        m_files = std::move(files);
        m_echoes = ECHOES;
        return true;
    }
    return m_echoes > 0 && m_echoes-- > 0;
}

std::vector<struct stat> SettingsWatch::Look() const
{
    std::vector<struct stat> files(m_paths.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (stat(m_paths[i].c_str(), &files[i]) != 0) files[i] = {};
    }
    return files;
}

}  // namespace netinfo
