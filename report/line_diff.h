// Which lines differ between two texts, and which words between two lines.
//
// Lifetime: results are views into the texts. Threading: free functions without state.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvane::report {

enum class LineChange : std::uint8_t { same, removed, added };

struct DiffLine {
  LineChange change;
  std::u16string_view text;  // with its line end
};

// All lines of both texts in order, with as few changes as there can be; texts that differ beyond
// measure are taken as replaced as a whole.
std::vector<DiffLine> diffLines(std::u16string_view before, std::u16string_view after);

// The same where nothing but a line feed ends a line, as for patches.
std::vector<DiffLine> diffFedLines(std::u16string_view before, std::u16string_view after);

// The same for the words of two lines: runs of letters, digits and signs of names, runs of blanks,
// and single characters.
std::vector<DiffLine> diffWords(std::u16string_view before, std::u16string_view after);

// The words of a line, one behind the other.
std::vector<std::u16string_view> wordsOf(std::u16string_view line);

// A run of changes with some equal lines around it, as the range [first, last) of the lines, and
// where it begins in either text (1-based) and how many lines of it stand there.
struct Hunk {
  std::size_t first = 0, last = 0;
  std::int64_t beforeLine = 1, beforeCount = 0;
  std::int64_t afterLine = 1, afterCount = 0;
};

std::vector<Hunk> hunks(const std::vector<DiffLine>& lines, std::size_t context);

}  // namespace kelvane::report
