// Steps through UTF-8 text by characters. Bytes that form no character count as one each.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace kelvane::embedded {

/// The character that begins at byte `at`, which must be inside the text.
inline std::string_view characterAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  return text.substr(at, length);
}

/// The longest beginning of at most `count` characters.
inline std::string_view firstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  for (; count > 0 && end < text.size(); --count) end += characterAt(text, end).size();
  return text.substr(0, std::min(end, text.size()));
}

/// The longest beginning of at most `limit` bytes that ends between characters; all of the first
/// character where that one alone is longer.
inline std::string_view firstBytes(std::string_view text, std::size_t limit) {
  std::size_t end = 0;
  while (end < text.size()) {
    const std::size_t next = end + characterAt(text, end).size();
    if (next > limit && end > 0) break;
    end = next;
  }
  return text.substr(0, end);
}

}  // namespace kelvane::embedded
