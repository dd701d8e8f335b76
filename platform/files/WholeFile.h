#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Reads the regular file at `path` whole. Nothing if it is missing, unreadable, not a regular file, longer
/// than `limit` bytes or shorter than it was when opened. Never waits for a pipe or a device. [any thread]
std::optional<std::string> ReadFileWhole(const std::string& path, std::size_t limit);

/// Makes `content` the whole content of the file at `path`, so that at every moment, a power cut included,
/// the path holds either the old content or the new.
///
/// The content goes to a new file beside the old one, is flushed to disk and takes its place by rename. A new
/// file has mode 0600; an existing one keeps its mode and ownership and must be writable. A symbolic link is
/// followed: what it points at is replaced, or created.
///
/// False on any failure, with the reason in `errno`: the previous file is as it was and nothing is left
/// beside it. The one exception is a directory that cannot be flushed after the rename: the new content is in
/// place, but might not outlast a power cut. [any thread; concurrent calls for one path leave one of the
/// contents]
bool ReplaceFileWhole(const std::string& path, std::string_view content);
