#include "host/SettingsWatch.h"

namespace netinfo {

bool SettingsWatch::Changed()
{
    std::vector<std::optional<FileStamp>> files = Look();
    if (files != m_files) {
        m_files = std::move(files);
        m_echoes = ECHOES;
        return true;
    }
    return m_echoes > 0 && m_echoes-- > 0;
}

std::vector<std::optional<FileStamp>> SettingsWatch::Look() const
{
    std::vector<std::optional<FileStamp>> files;
    for (const std::string& path : m_paths) {
        files.push_back(FileStamp::Of(path.c_str()));
    }
    return files;
}

}  // namespace netinfo
