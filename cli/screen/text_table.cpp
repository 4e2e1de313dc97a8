#include "cli/screen/text_table.h"

#include <algorithm>

#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::size_t kGap = 2;

// In characters: the second half of a pair takes no room.
std::size_t widthOf(std::u16string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char16_t unit) { return unit < 0xDC00 || unit > 0xDFFF; }));
}

}  // namespace

void TextTable::write(std::ostream& out, std::size_t indent) const {
  std::vector<std::size_t> widths;
  for (const Row& row : rows_) {
    widths.resize(std::max(widths.size(), row.cells.size()));
    for (std::size_t column = 0; column < row.cells.size(); ++column)
      widths[column] = std::max(widths[column], widthOf(row.cells[column]));
  }
  for (const Row& row : rows_) {
    std::u16string line(indent, u' ');
    for (std::size_t column = 0; column < row.cells.size(); ++column) {
      if (column > 0) line.append(kGap, u' ');
      const std::size_t room = widths[column] - widthOf(row.cells[column]);
      const bool right = column < alignments_.size() && alignments_[column] == Align::right;
      if (right) line.append(room, u' ');
      line += row.cells[column];
      if (!right) line.append(room, u' ');
    }
    line.erase(line.find_last_not_of(u' ') + 1);
    out << toUtf8(line) << '\n';
    for (const std::u16string& below : row.below) out << toUtf8(below) << '\n';
  }
}

}  // namespace kelvane::cli
