#include "platform/common/NimbString.h"

#include <charconv>

unsigned short* NIMB_wcscpy(unsigned short* target, const unsigned short* source)
{
    if (!target) return nullptr;

    unsigned short* end = target;
    while (source && *source)
        *end++ = *source++;
    *end = 0;
    return target;
}

unsigned long NIMB_wcslen(const unsigned short* text)
{
    if (!text) return 0;

    unsigned long length = 0;
    while (text[length])
        ++length;
    return length;
}

char* _ui64toa(unsigned long long value, char* buffer, int radix)
{
    if (!buffer) return nullptr;

    constexpr int LONGEST = 64;  // digits, in radix 2
    char* end = buffer;
    if (radix >= 2 && radix <= 36) end = std::to_chars(buffer, buffer + LONGEST, value, radix).ptr;
    *end = 0;
    return buffer;
}
