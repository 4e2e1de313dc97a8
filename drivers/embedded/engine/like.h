// The pattern language of LIKE and patindex: `%`, `_`, `[a-z]`, `[^a-z]`, with an escape character.
#pragma once

#include <optional>
#include <string_view>

namespace kelvane::embedded {

/// Whether the whole text matches. Letters match by code point; trailing blanks of the text are
/// allowed beyond the pattern. Both are UTF-8, malformed bytes match themselves.
bool matchesLike(std::string_view text, std::string_view pattern,
                 std::optional<char32_t> escape = std::nullopt);

}  // namespace kelvane::embedded
