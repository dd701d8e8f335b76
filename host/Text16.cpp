#include "host/Text16.h"

#include <cstddef>

#include "platform/common/GlobalFunction.h"

namespace netinfo {
namespace {

constexpr int UTF8 = 65001;

}  // namespace

Text16 ToText16(const std::string& text)
{
    const int length = CGlobalFunction::MultiByteToWideChar(text.c_str(), nullptr, 0, UTF8);
    if (length <= 0) return {};
    Text16 result(static_cast<std::size_t>(length) + 1, 0);  // the terminator is written, too
    CGlobalFunction::MultiByteToWideChar(text.c_str(), result.data(), length, UTF8);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::string FromText16(const Text16& text)
{
    const int length = CGlobalFunction::WideCharToMultiByte(text.c_str(), nullptr, 0, UTF8);
    if (length <= 0) return {};
    std::string result(static_cast<std::size_t>(length) + 1, '\0');
    CGlobalFunction::WideCharToMultiByte(text.c_str(), result.data(), length, UTF8);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

}  // namespace netinfo
