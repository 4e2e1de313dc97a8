// Patterns of names on command lines.
//
// Lifetime and threading: a free function without state.
#pragma once

#include <string_view>

namespace kelvane::inventory {

// Whether `pattern` matches all of `text`: `*` stands for any characters, `?` for one.
bool matchesPattern(std::u16string_view text, std::u16string_view pattern);

}  // namespace kelvane::inventory
