#include "platform/common/GlobalFunction.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "platform/common/CodePage.h"
#include "platform/common/Directories.h"

namespace {

using netinfo::NO_LIMIT;
using netinfo::Text16;

/// Runs `work`; what it throws becomes `neutral`.
template <class Result, class Work>
Result Guarded(Result neutral, Work&& work)
{
    try {
        return work();
    } catch (const std::exception&) {
        return neutral;
    }
}

/// Hands a text out as the two-call pattern wants it: without a buffer its length, with one at most `size`
/// units and a terminator. `make(limit)` gives the text, or as many whole characters as `limit` allows.
template <class Unit, class Make>
int HandOut(Unit* buffer, int size, const Make& make)
{
    if (buffer && size < 0) return 0;
    if (buffer) *buffer = 0;

    auto text = make(NO_LIMIT);
    if (!buffer) return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));

    if (text.size() > static_cast<std::size_t>(size)) text = make(static_cast<std::size_t>(size));
    buffer[text.copy(buffer, text.size())] = 0;
    return static_cast<int>(text.size());
}

/// A path as the plug-in reads it: decoded from the code page that it will encode it to when it opens a file.
int HandOutPath(const std::string& path, unsigned short* buffer, int size)
{
    return HandOut(buffer, size, [&](std::size_t limit) {
        return netinfo::Decode(path, netinfo::CODE_PAGE_LOCALE, limit).value_or(Text16());
    });
}

}  // namespace

int CGlobalFunction::GetUserDataDirectory(unsigned short* buffer, int size)
{
    return Guarded(0, [&] {
        const std::string directory = netinfo::UserDataDirectory();
        netinfo::MakeDirectory(directory);
        return HandOutPath(directory, buffer, buffer ? size - 1 : 0);
    });
}

int CGlobalFunction::GetModuleDirectory(unsigned short* buffer, int length)
{
    return Guarded(0, [&] { return HandOutPath(netinfo::ModuleDirectory(), buffer, length); });
}

int CGlobalFunction::MultiByteToWideChar(const char* s, unsigned short* buffer, int size, int nCodePage)
{
    return Guarded(0, [&] {
        return HandOut(buffer, size, [&](std::size_t limit) {
            return netinfo::Decode(s ? s : "", nCodePage, limit).value_or(Text16());
        });
    });
}

int CGlobalFunction::WideCharToMultiByte(const unsigned short* s, char* buffer, int size, int nCodePage)
{
    return Guarded(0, [&] {
        const std::basic_string_view<unsigned short> text =
            s ? std::basic_string_view<unsigned short>(s) : std::basic_string_view<unsigned short>();
        return HandOut(buffer, size, [&](std::size_t limit) {
            return netinfo::Encode(text, nCodePage, limit).value_or(std::string());
        });
    });
}
