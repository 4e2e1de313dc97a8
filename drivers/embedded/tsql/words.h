// The words of the language and the comparison of words, which ignores the case of ASCII letters.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::tsql {

/// The lower-case spelling of `word` if the server reserves it, else empty. The result has static
/// storage.
std::string_view reservedWord(std::string_view word);

bool equalsIgnoringCase(std::string_view a, std::string_view b);

std::string lowerCase(std::string_view text);

}  // namespace kelvane::tsql
