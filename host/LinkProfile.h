#pragma once

#include <string>

namespace netinfo {

/// What people call a link (counted or handed out): the text an administrator gave it, else its own name.
template <class Link>
const std::string& ProfileOf(const Link& link)
{
    return link.alias.empty() ? link.linkName : link.alias;
}

}  // namespace netinfo
