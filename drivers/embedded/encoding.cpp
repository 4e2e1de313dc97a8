#include "drivers/embedded/encoding.h"

#include <algorithm>
#include <cstddef>

namespace kelvane::embedded {

namespace {

// 0x80 to 0x9F; those that mean nothing stay the control characters that Latin-1 has there.
constexpr char16_t kWindows1252[] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178,
};

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

std::string utf8FromWindows1252(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    if (isAscii(c)) {
      text += c;
      continue;
    }
    unsigned code = static_cast<unsigned char>(c);
    if (code < 0xA0) code = kWindows1252[code - 0x80];
    if (code < 0x800) {
      text += static_cast<char>(0xC0 | (code >> 6));
    } else {
      text += static_cast<char>(0xE0 | (code >> 12));
      text += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    }
    text += static_cast<char>(0x80 | (code & 0x3F));
  }
  return text;
}

}  // namespace kelvane::embedded
