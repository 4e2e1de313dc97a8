#include "inventory/near_names.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "model/text.h"

namespace kelvane::inventory {

std::size_t distance(std::u16string_view a, std::u16string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char16_t letter : a) {
    std::size_t diagonal = row.front()++;
    for (std::size_t at = 0; at < b.size(); ++at) {
      const std::size_t changed = diagonal + (letter == b[at] ? 0 : 1);
      diagonal = row[at + 1];
      row[at + 1] = std::min({changed, row[at] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string_view nearestOf(std::string_view written, std::span<const std::string_view> names) {
  const std::u16string text = toUtf16(written);
  std::size_t best = farthestMeant(text.size()) + 1;
  std::string_view nearest;
  for (const std::string_view name : names) {
    const std::size_t far = distance(text, toUtf16(name));
    if (far >= best) continue;
    best = far;
    nearest = name;
  }
  return nearest;
}

std::string nearestName(std::string_view written, std::span<const std::string_view> names) {
  const std::string_view nearest = nearestOf(written, names);
  return nearest.empty() ? "" : "; did you mean '" + std::string(nearest) + "'?";
}

}  // namespace kelvane::inventory
