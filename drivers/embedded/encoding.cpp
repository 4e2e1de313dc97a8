#include "drivers/embedded/encoding.h"

#include <algorithm>
#include <cstddef>

namespace kelvane::embedded {

namespace {

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

// The length of the character at the beginning of a text that is not empty; 0 when there is none.
// The second byte tells overlong forms, surrogates, and what lies beyond the last code point.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < lowest || byte(1) > highest) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool isUtf8(std::string_view bytes) {
  for (;;) {
    bytes.remove_prefix(
        static_cast<std::size_t>(std::ranges::find_if_not(bytes, isAscii) - bytes.begin()));
    if (bytes.empty()) return true;
    const std::size_t length = characterLength(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
}

std::string utf8FromLatin1(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    if (isAscii(c)) {
      text += c;
      continue;
    }
    const auto code = static_cast<unsigned char>(c);
    text += static_cast<char>(0xC0 | (code >> 6));
    text += static_cast<char>(0x80 | (code & 0x3F));
  }
  return text;
}

}  // namespace kelvane::embedded
