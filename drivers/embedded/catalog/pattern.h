// LIKE patterns: `%`, `_`, `[abc]`, `[a-z]`, `[^...]`. Pure functions over UTF-8.
#pragma once

#include <optional>
#include <string_view>

namespace kelvane::embedded {

/// Case-sensitive. Trailing blanks of the value beyond the pattern do not count. `escape` makes
/// the character after it literal.
bool matchesLike(std::string_view value, std::string_view pattern,
                 std::optional<char> escape = std::nullopt);

}  // namespace kelvane::embedded
