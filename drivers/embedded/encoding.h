// Which bytes a text is made of.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::embedded {

/// Whether all of it is well-formed UTF-8.
bool isUtf8(std::string_view bytes);

/// Latin-1, with the characters that Windows has where that has control characters.
std::string utf8FromWindows1252(std::string_view bytes);

}  // namespace kelvane::embedded
