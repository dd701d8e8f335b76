#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <optional>

/// Tells one state of a file from the next: another file of the name, another content, another owner or mode.
/// What changes twice within one tick of the file system's clock, and keeps its size, may look the same.
///
/// Threads: a value.
struct FileStamp
{
    explicit FileStamp(const struct stat& status);
    bool operator==(const FileStamp&) const = default;

    /// Of the file that `path` leads to, links followed; nothing if there is none or it cannot be looked at.
    static std::optional<FileStamp> Of(const char* path);

    dev_t device;
    ino_t inode;
    off_t size;
    long long modified;  ///< nanoseconds since 1970
    long long changed;   ///< nanoseconds since 1970; a rename counts, too
};
