#include "cli/words/arguments.h"

#include <charconv>

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

std::optional<std::int32_t> numberOf(const Arguments& arguments, std::string_view option,
                                     std::int32_t least, std::int32_t most) {
  const auto value = arguments.value(option);
  if (!value) return std::nullopt;
  std::int32_t number = 0;
  const char* const end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > most)
    throw UsageError(arguments.called(option) + " takes a number from " + std::to_string(least) +
                     " to " + std::to_string(most) + ", not '" + *value + "'");
  return number;
}

}  // namespace kelvane::cli
