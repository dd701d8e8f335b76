#include "platform/common/JFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace {

/// The flags of `open` for a mode of `fopen`; nothing for a mode that the C library does not know.
std::optional<int> OpenFlags(const char* mode)
{
    if (!mode) return std::nullopt;

    int access = O_WRONLY;
    int flags = 0;
    switch (*mode) {
        case 'r':
            access = O_RDONLY;
            break;
        case 'w':
            flags = O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags = O_CREAT | O_APPEND;
            break;
        default:
            return std::nullopt;
    }
    for (const char* p = mode + 1; *p; ++p) {
        switch (*p) {
            case '+':
                access = O_RDWR;
                break;
            case 'x':
                flags |= O_EXCL;
                break;
            case 'b':
            case 'e':
                break;
            default:
                return std::nullopt;
        }
    }
    return access | flags | O_CLOEXEC | O_NOCTTY;
}

}  // namespace

JFile::JFile(const char* path) : m_strPath(path ? path : "") {}

JFile::JFile(const std::string& path) : m_strPath(path) {}

JFile::~JFile() { Close(); }

bool JFile::Exists() const
{
    struct stat status
    {};
    return stat(m_strPath.c_str(), &status) == 0;
}

bool JFile::Open(const char* mode)
{
    Close();
    const std::optional<int> flags = OpenFlags(mode);
    if (!flags) return false;

    const int descriptor = open(m_strPath.c_str(), *flags, S_IRUSR | S_IWUSR);
    if (descriptor < 0) return false;
    m_pFile = fdopen(descriptor, mode);
    if (!m_pFile) {
        close(descriptor);
        return false;
    }
    // Unbuffered, so that a full disk shows in the count that Write returns and not in a Close that nobody
    // can ask.
    std::setvbuf(m_pFile, nullptr, _IONBF, 0);
    return true;
}

std::size_t JFile::Read(void* buffer, std::size_t size)
{
    if (!m_pFile || !buffer) return 0;
    return std::fread(buffer, 1, size, m_pFile);
}

std::size_t JFile::Write(const void* data, std::size_t size)
{
    if (!m_pFile || !data) return 0;
    return std::fwrite(data, 1, size, m_pFile);
}

void JFile::Close()
{
    if (!m_pFile) return;
    std::fclose(m_pFile);
    m_pFile = nullptr;
}

bool JFile::Remove() { return unlink(m_strPath.c_str()) == 0; }
