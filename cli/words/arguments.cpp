#include "cli/words/arguments.h"

namespace kelvane::cli {

std::string wordsOf(std::span<const std::string_view> names, std::string_view beforeLast) {
  std::string words;
  for (const std::string_view& name : names) {
    const bool last = &name == &names.back();
    if (!words.empty()) words += last ? " " + std::string(beforeLast) + " " : ", ";
    words += name;
  }
  return words;
}

bool truthOf(const std::string& value, const std::string& called) {
  if (value == "true") return true;
  if (value == "false") return false;
  throw UsageError(called + " takes true or false, not '" + value + "'");
}

void refuseChoice(const std::string& called, std::span<const std::string_view> names,
                  const std::string& value) {
  throw UsageError(called + " takes " + wordsOf(names) + ", not '" + value + "'");
}

}  // namespace kelvane::cli
