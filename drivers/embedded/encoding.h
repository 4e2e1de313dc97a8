// Which bytes a text is made of.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::embedded {

/// Whether all of it is well-formed UTF-8.
bool isUtf8(std::string_view bytes);

/// Every byte is the character of its own number.
std::string utf8FromLatin1(std::string_view bytes);

}  // namespace kelvane::embedded
