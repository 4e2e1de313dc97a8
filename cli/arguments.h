// Splits the words of a command line into options and operands.
//
// Lifetime: results own their text. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::cli {

struct Option {
  std::string_view name;   // with its dashes: "--trace"
  std::string_view value;  // what its value is called, empty for an option without one
  std::string_view help;
};

// The command line makes no sense; the text says why and how to go on.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Arguments {
  std::map<std::string_view, std::vector<std::string>> options;  // by Option::name
  std::vector<std::string> operands;
  std::optional<std::size_t> parting;  // how many operands stand before the "--" between them

  bool has(std::string_view name) const { return options.contains(name); }
  // The last one given wins.
  std::optional<std::string> value(std::string_view name) const {
    const auto found = options.find(name);
    return found == options.end() ? std::nullopt : std::optional(found->second.back());
  }
  // All of them, as they were given.
  std::vector<std::string> values(std::string_view name) const {
    const auto found = options.find(name);
    return found == options.end() ? std::vector<std::string>() : found->second;
  }
};

// Options may stand anywhere before the first "--", with their value in the same word
// ("--trace=FILE") or in the next. A "--" with operands before it parts them from those behind.
// Throws UsageError for an unknown option, a missing value, one that is not expected, and a second
// parting.
Arguments parseArguments(std::span<const std::string> words, std::span<const Option> options);

// All of them, by name.
std::vector<Option> sortedOptions(std::initializer_list<std::span<const Option>> families);

}  // namespace kelvane::cli
