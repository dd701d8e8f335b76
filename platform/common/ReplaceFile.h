#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// Replaces the whole content of the file `path`, or makes it: the content goes to a new file beside it, is
/// flushed to disk, and takes its place in one step, so that a crash leaves either the old file or the new
/// one. A symbolic link is followed and stays one. Mode and ownership of an existing file are kept as far as
/// the user may; a new file has mode 0600. Returns the new file's status; nothing on failure, with the
/// previous file as it was and the reason in `errno`. [any thread]
std::optional<struct stat> ReplaceFile(const std::string& path, std::string_view content);

/// A file descriptor, closed at the end of its scope.
class Descriptor
{
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }
    int Get() const { return m_descriptor; }

private:
    int m_descriptor;  ///< owned; negative: none
};

}  // namespace netinfo
