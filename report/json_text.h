// Texts in JSON.
//
// Lifetime and threading: a free function without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane {

// The text between quotes, as UTF-8: controls, quotes and backslashes escaped, halves of surrogate
// pairs as \u escapes, so that the exact text can be had back.
std::string jsonString(std::u16string_view text);

}  // namespace kelvane
