#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "platform/common/Export.h"

/// A file by path, with the C library's open modes. A file that it creates has mode 0600, and no program that
/// the host starts inherits it. Nothing is buffered: what `Write` has counted is in the file.
///
/// Threads: one thread at a time.
/// Errors:  false, or fewer bytes than asked for.
class NETINFO_PLATFORM_API JFile
{
public:
    explicit JFile(const char* path);
    explicit JFile(const std::string& path);
    ~JFile();
    JFile(const JFile&) = delete;
    JFile& operator=(const JFile&) = delete;

    bool Exists() const;
    /// Opens with a mode of `fopen` ("rb", "ab+", "wb" ...); closes what was open before.
    bool Open(const char* mode);
    std::size_t Read(void* buffer, std::size_t size);
    std::size_t Write(const void* data, std::size_t size);
    void Close();
    bool Remove();

private:
    std::string m_strPath;
    std::FILE* m_pFile = nullptr;  ///< owned; null while closed
};
