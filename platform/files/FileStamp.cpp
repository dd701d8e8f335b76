#include "platform/files/FileStamp.h"

namespace {

long long Nanoseconds(const timespec& time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

}  // namespace

FileStamp::FileStamp(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(status.st_size),
      modified(Nanoseconds(status.st_mtim)),
      changed(Nanoseconds(status.st_ctim))
{}

std::optional<FileStamp> FileStamp::Of(const char* path)
{
    struct stat status
    {};
    if (stat(path, &status) != 0) return std::nullopt;
    return FileStamp(status);
}
