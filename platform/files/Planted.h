#pragma once

#include <string>

/// Whether what stands at `path` itself, a link not followed, may have been put there by another user: it is
/// in a directory that everybody may write to, and neither this process's user nor the directory's owner owns
/// it; or it is a file there that has a second name, which may be a file of ours elsewhere. Following or
/// writing to such a thing would lend our rights to whoever put it there. [any thread]
bool IsPlanted(const std::string& path);
