#include "inventory/kinds.h"

#include <algorithm>

namespace kelvane::inventory {

std::string wordOf(Kind kind) {
  std::string word(rowOf(kind).singular);
  std::ranges::replace(word, ' ', '-');
  return word;
}

std::optional<Kind> objectKindOf(std::string_view word) {
  for (const KindRow& row : kKinds) {
    if (isObject(row.kind) && wordOf(row.kind) == word) return row.kind;
  }
  return std::nullopt;
}

std::string objectKindWords() {
  std::string words;
  for (const KindRow& row : kKinds) {
    if (!isObject(row.kind)) break;
    const bool isLast = !isObject(static_cast<Kind>(static_cast<int>(row.kind) + 1));
    words += (words.empty() ? "" : isLast ? " or " : ", ") + wordOf(row.kind);
  }
  return words;
}

}  // namespace kelvane::inventory
