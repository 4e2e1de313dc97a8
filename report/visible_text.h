// Shows texts in such a way that two different ones never look alike.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::report {

// A value within a line: as it is, or between double quotes with C-like escapes where it is empty,
// begins or ends with a blank, or holds something that cannot be seen.
std::u16string showValue(std::u16string_view value);

// Both values of a difference within a line: each as showValue has it, but where they differ in
// blanks alone, these are visible.
struct ShownPair {
  std::u16string before, after;
};
ShownPair showPair(std::u16string_view before, std::u16string_view after);

enum class Blanks { plain, visible };

// A line of a text, without its line end; with visible blanks, a middle dot stands for a blank, an
// arrow for a tab, and symbols for the line end.
std::u16string showLine(std::u16string_view line, Blanks blanks);

// The text without blanks, tabs and line breaks.
std::u16string withoutBlanks(std::u16string_view text);

// A text (UTF-8) for a terminal: an arrow for a tab, C-like escapes for all else that cannot be
// seen, line breaks and malformed bytes included.
std::string showMessage(std::string_view utf8);

// Which characters begin the difference, " (character 4: U+00DF | U+0073)", where letters may look
// alike because one of the two is not plain ASCII; otherwise empty.
std::u16string lookAlikeNote(std::u16string_view a, std::u16string_view b);

}  // namespace kelvane::report
