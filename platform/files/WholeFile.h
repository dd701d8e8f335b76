#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

/// Reads the regular file at `path` whole. Nothing if it is missing, unreadable, not a regular file, longer
/// than `limit` bytes or shorter than it was when opened. Never waits for a pipe or a device. [any thread]
std::optional<std::string> ReadFileWhole(const std::string& path, std::size_t limit);

/// The same into memory of the caller's: `room` is called at most once, with the file's length, and returns
/// where the content goes, which is of no meaning where the result is false. [any thread]
bool ReadFileWhole(const std::string& path, std::size_t limit, const std::function<char*(std::size_t)>& room);

/// Makes `content` the whole content of the file at `path`, so that at every moment, a power cut included,
/// the path holds either the old content or the new.
///
/// The content goes to a new file beside the old one, is flushed to disk and takes its place by rename. A new
/// file has mode 0600; an existing one keeps its mode and ownership and must be writable. A symbolic link is
/// followed: what it points at is replaced, or created. What another user may have put into a directory that
/// everybody can write to is neither followed nor replaced.
///
/// A process that is killed meanwhile leaves its new file behind, under the file's name with ".new~" and six
/// letters or digits; the next call for the same path removes it.
///
/// False on any failure, with the reason in `errno`: the previous file is as it was and nothing is left
/// beside it, unless the system refuses to remove it. The one exception is a directory that cannot be flushed
/// after the rename: the new content is in place, but might not outlast a power cut. [any thread; concurrent
/// calls for one path leave one of the contents]
bool ReplaceFileWhole(const std::string& path, std::string_view content);

/// The same with a content in pieces, to be written one behind the other. [any thread]
bool ReplaceFileWhole(const std::string& path, std::initializer_list<std::string_view> pieces);
