// The rules for text: UTF-16 inside, UTF-8 only at the edges, and two ways to compare names.
//
// Lifetime and threading: free functions without state; none depends on the process's locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

// How names are compared: code unit by code unit, or after Unicode's simple case folding.
enum class CaseMode { exact, ignore };

// UTF-8 to UTF-16. Every byte that is not part of well-formed UTF-8 becomes one U+FFFD.
std::u16string toUtf16(std::string_view utf8);
// UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view utf16);

// Unicode's simple case folding: same length, "E with acute" and "e with acute" become equal, a
// sharp s stays.
std::u16string foldCase(std::u16string_view text);

// The order of two texts after Unicode's simple lower-casing, which leaves apart some letters that
// folding makes equal: small sigma and final sigma, s and long s. Below, equal or above zero.
int compareLowerCase(std::u16string_view a, std::u16string_view b);

// Whether two texts of the same length are equal when case is ignored.
bool equalFolded(std::u16string_view a, std::u16string_view b);
inline bool equalText(std::u16string_view a, std::u16string_view b, CaseMode mode) {
  if (a.size() != b.size()) return false;  // folding keeps the length
  if (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0) return true;
  return mode == CaseMode::ignore && equalFolded(a, b);
}
// Below, equal or above zero, in the order of UTF-16 code units (of the folded texts when case is
// ignored).
int compareText(std::u16string_view a, std::u16string_view b, CaseMode mode);
// Equal texts under `mode` have equal hashes.
std::size_t hashText(std::u16string_view text, CaseMode mode);

// All occurrences of `what` (not empty) are replaced; the result is not searched again.
std::u16string replaceAll(std::u16string_view text, std::u16string_view what,
                          std::u16string_view with);
// Splits at every `separator`; an empty text gives no piece, a trailing separator an empty last
// one.
std::vector<std::u16string_view> split(std::u16string_view text, char16_t separator);

// Decimal digits, with a leading minus sign for negative numbers.
std::u16string decimalText(std::int64_t number);

// The number that a text begins with: blanks, one sign, digits, fraction, exponent. A number beyond
// the largest double is infinite, one below the smallest is 0.
struct LeadingNumber {
  double value = 0;            // 0 when the text does not begin with a number
  std::u16string_view behind;  // what follows the number; the whole text when there is none
};
LeadingNumber leadingNumber(std::u16string_view text);

}  // namespace kelvane
