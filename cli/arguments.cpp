#include "cli/arguments.h"

#include <algorithm>

namespace kelvane::cli {

Arguments parseArguments(std::span<const std::string> words, std::span<const Option> options) {
  Arguments result;
  bool optionsEnded = false;
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (*word == "--") {
      if (result.parting) throw UsageError("'--' may part the operands only once");
      if (!result.operands.empty()) result.parting = result.operands.size();
      optionsEnded = true;
      continue;
    }
    if (optionsEnded || !word->starts_with('-') || *word == "-") {
      result.operands.push_back(*word);
      continue;
    }
    const auto equals = word->find('=');
    const std::string name = word->substr(0, equals);
    const auto option = std::ranges::find(options, name, &Option::name);
    if (option == options.end()) throw UsageError("unknown option '" + name + "'");
    std::string& value = result.options[option->name].emplace_back();
    if (option->value.empty()) {
      if (equals != word->npos) throw UsageError("option '" + name + "' takes no value");
    } else if (equals != word->npos) {
      value = word->substr(equals + 1);
    } else if (word + 1 != words.end()) {
      value = *++word;
    }
    if (!option->value.empty() && value.empty())
      throw UsageError("option '" + name + "' needs a " + std::string(option->value));
  }
  return result;
}

std::vector<Option> sortedOptions(std::initializer_list<std::span<const Option>> families) {
  std::vector<Option> options;
  for (const std::span<const Option> family : families)
    options.insert(options.end(), family.begin(), family.end());
  std::ranges::sort(options, {}, &Option::name);
  return options;
}

}  // namespace kelvane::cli
