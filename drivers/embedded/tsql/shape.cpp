#include "drivers/embedded/tsql/shape.h"

#include <algorithm>

#include "drivers/embedded/tsql/scan.h"

namespace kelvane::tsql {

namespace {

constexpr bool mayStartText(char c) {
  return c == '\'' || c == '"' || c == '[' || c == '-' || c == '/';
}

}  // namespace

BatchShape shapeOf(std::string_view batch) {
  constexpr char kLetter = '\1';
  BatchShape shape{std::string(batch), {}};
  for (std::size_t at = 0; at < batch.size();) {
    const char c = batch[at];
    if (!mayStartText(c)) {
      ++at;
    } else if (isLineComment(batch, at)) {
      at = endOfLine(batch, at);
    } else if (isBlockComment(batch, at)) {
      at = std::min(endOfBlockComment(batch, at), batch.size());
    } else if (c == '-' || c == '/') {
      ++at;
    } else {
      const std::size_t end = endOfQuoted(batch, at, c == '[' ? ']' : c);
      // The parser will say what is wrong.
      if (end == kUnclosed) break;
      const std::string_view content = batch.substr(at + 1, end - at - 2);
      const bool hasEscapes = at > 0 && batch[at - 1] == '&';
      if (c == '\'' && !hasEscapes && !content.empty() &&
          content.find_first_of("'\r\n") == content.npos) {
        shape.texts.push_back(
            {static_cast<std::uint32_t>(at + 1), static_cast<std::uint32_t>(end - 1)});
        std::fill_n(shape.key.begin() + static_cast<std::ptrdiff_t>(at + 1), content.size(),
                    kLetter);
      }
      at = end;
    }
  }
  return shape;
}

}  // namespace kelvane::tsql
