#include "cli/arguments.h"

#include <algorithm>

namespace kelvane::cli {

std::string wordsOf(std::span<const std::string_view> names) {
  std::string words;
  for (const std::string_view& name : names) {
    const bool last = &name == &names.back();
    words += (words.empty() ? "" : last ? " or " : ", ") + std::string(name);
  }
  return words;
}

bool truthOf(const std::string& value, const std::string& called) {
  constexpr std::array<std::string_view, 4> kTrue{"true", "1", "yes", "on"},
      kFalse{"false", "0", "no", "off"};
  if (std::ranges::find(kTrue, value) != kTrue.end()) return true;
  if (std::ranges::find(kFalse, value) != kFalse.end()) return false;
  throw UsageError(called + " takes true or false, not '" + value + "'");
}

void refuseChoice(const std::string& called, std::span<const std::string_view> names,
                  const std::string& value) {
  throw UsageError(called + " takes " + wordsOf(names) + ", not '" + value + "'");
}

}  // namespace kelvane::cli
