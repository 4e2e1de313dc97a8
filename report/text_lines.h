// The indented lines of a text report, and comparisons of texts among them.
//
// Lifetime: the stream outlives the lines. Threading: one thread.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include "report/phrases.h"

namespace kelvane::report {

// Lines, each at its depth.
class Lines {
 public:
  Lines(std::ostream& out, Colors colors) : out_(out), colors_(colors) {}
  std::u16string paint(Ink ink, std::u16string_view text) const {
    return painted(text, ink, colors_);
  }
  std::u16string onlyIn(enumLocation side) const { return report::onlyIn(side, colors_); }
  Colors colors() const { return colors_; }
  void write(std::size_t depth, std::u16string_view text);

 private:
  std::ostream& out_;
  Colors colors_;
};

// Hunks of changed lines with some equal ones around them.
void writeLineDiff(std::u16string_view before, std::u16string_view after, std::size_t depth,
                   Lines& out);

}  // namespace kelvane::report
