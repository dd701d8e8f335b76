#pragma once

#include <string>

namespace netinfo {

/// Text as it crosses the plug-in's interfaces: UTF-16.
using Text16 = std::basic_string<unsigned short>;

/// UTF-8 to UTF-16 and back; what cannot be converted becomes the platform's replacement character.
Text16 ToText16(const std::string& text);
std::string FromText16(const Text16& text);

}  // namespace netinfo
