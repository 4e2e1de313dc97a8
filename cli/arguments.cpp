#include "cli/arguments.h"

namespace kelvane::cli {

std::string wordsOf(std::span<const std::string_view> names) {
  std::string words;
  for (const std::string_view& name : names) {
    const bool last = &name == &names.back();
    words += (words.empty() ? "" : last ? " or " : ", ") + std::string(name);
  }
  return words;
}

void refuseChoice(std::string_view option, std::span<const std::string_view> names,
                  const std::string& value) {
  throw UsageError(std::string(option) + " takes " + wordsOf(names) + ", not '" + value + "'");
}

}  // namespace kelvane::cli
