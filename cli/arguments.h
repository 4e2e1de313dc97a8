// Splits the words of a command line into options and operands.
//
// Lifetime: results own their text. Threading: free functions without state.
#pragma once

#include <cstddef>
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
  std::map<std::string_view, std::string> options;  // by Option::name; the last value wins
  std::vector<std::string> operands;
  std::optional<std::size_t> parting;  // how many operands stand before the "--" between them

  bool has(std::string_view name) const { return options.contains(name); }
  std::optional<std::string> value(std::string_view name) const {
    const auto found = options.find(name);
    return found == options.end() ? std::nullopt : std::optional(found->second);
  }
};

// Options may stand anywhere before the first "--", with their value in the same word
// ("--trace=FILE") or in the next. A "--" with operands before it parts them from those behind.
// Throws UsageError for an unknown option, a missing value, one that is not expected, and a second
// parting.
Arguments parseArguments(std::span<const std::string> words, std::span<const Option> options);

}  // namespace kelvane::cli
