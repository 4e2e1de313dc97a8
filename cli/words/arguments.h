// What a command line says: the options that there are, and what one was given.
//
// Lifetime: options are constants of the program, all else owns its text. Threading: plain values
// and free functions without state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/environment.h"

namespace kelvane::cli {

// What the values of options are called says what they are.
inline constexpr std::string_view kFile = "FILE", kFolder = "FOLDER";
inline constexpr std::string_view kPattern = "PATTERN", kTablePattern = "TABLES",
                                  kSetting = "SWITCH=off", kFamilyWord = "WORD",
                                  kDangerWord = "CLASS", kHint = "OLD=NEW",
                                  kTableKey = "TABLE=COLUMNS", kColumnPatterns = "COLUMNS",
                                  kTolerated = "COLUMN=AMOUNT", kCondition = "CONDITION",
                                  kStatement = "SELECT", kSide = "SIDE", kOwners = "SOURCE=TARGET";
inline constexpr std::string_view kNumber = "N", kRelease = "RELEASE", kSeconds = "SECONDS";

struct Option {
  std::string_view name;   // with its dashes: "--trace"
  std::string_view value;  // what its value is called, empty for an option without one
  std::string_view help;
  std::span<const std::string_view> choices = {};  // all values that it takes; none: any
  std::string_view shortName = {};                 // "-o"

  bool mayBeRepeated() const {
    return value == kPattern || value == kTablePattern || value == kSetting ||
           value == kFamilyWord || value == kDangerWord || value == kHint || value == kTableKey ||
           value == kColumnPatterns || value == kTolerated || value == kCondition ||
           value == kStatement || value == kOwners;
  }
  bool isPath() const { return value == kFile || value == kFolder; }
  bool isNumber() const { return value == kNumber || value == kRelease || value == kSeconds; }
};

// Where options may be given besides the command line; each of these includes those before it.
enum class Elsewhere { nowhere, variables, files, environments };

// Options that belong together, under what help calls them.
struct OptionFamily {
  std::string_view title;
  std::span<const Option> options;
  Elsewhere elsewhere = Elsewhere::files;
};

// The command line makes no sense; the text says why and how to go on.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What a command line and all that completes it say.
struct Arguments {
  std::map<std::string_view, std::vector<std::string>> options = {};  // by Option::name
  std::vector<std::string> operands = {};
  std::optional<std::size_t> parting = {};  // how many operands stand before the "--" between them
  std::map<std::string_view, std::string> origins =
      {};                          // Setting::called of what is from elsewhere
  Environments environments = {};  // by the operands that name them
  // Files of known differences of single sides, by operand.
  std::map<std::string, std::vector<std::string>, std::less<>> accepts = {};
  std::optional<std::string> configFile = {};

  void accept(const std::string& operand, const std::vector<std::string>& files) {
    if (files.empty()) return;
    std::vector<std::string>& all = accepts[operand];
    all.insert(all.end(), files.begin(), files.end());
  }
  bool has(std::string_view name) const { return options.contains(name); }
  bool isGiven(std::string_view name) const { return has(name) && !origins.contains(name); }
  // What an option is to be called in complaints: where its value is from.
  std::string called(std::string_view name) const {
    const auto found = origins.find(name);
    return found == origins.end() ? std::string(name) : found->second;
  }
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

// A value of an option, and what it stands for.
template <class Meaning>
struct Choice {
  std::string_view name;
  Meaning meaning;
};

// The names of a constant table of choices, for Option::choices.
template <const auto& kChoices>
inline constexpr auto kNamesOf = [] {
  std::array<std::string_view, kChoices.size()> names{};
  for (std::size_t at = 0; at < names.size(); ++at) names[at] = kChoices[at].name;
  return names;
}();

// "text, json or html"
std::string wordsOf(std::span<const std::string_view> names, std::string_view beforeLast = "or");

// What stands for true or false. `called` is what the option is called in the UsageError that all
// else is.
bool truthOf(const std::string& value, const std::string& called);

[[noreturn]] void refuseChoice(const std::string& called, std::span<const std::string_view> names,
                               const std::string& value);

// What the value of an option stands for; `unlessSaid` where there is none. Throws UsageError.
template <const auto& kChoices, class Meaning>
Meaning choiceOf(const Arguments& arguments, std::string_view option, Meaning unlessSaid) {
  const auto value = arguments.value(option);
  if (!value) return unlessSaid;
  for (const auto& [name, meaning] : kChoices) {
    if (name == *value) return meaning;
  }
  refuseChoice(arguments.called(option), kNamesOf<kChoices>, *value);
}

// The whole number that an option was given; none where there is none. Throws UsageError.
std::optional<std::int32_t> numberOf(const Arguments& arguments, std::string_view option,
                                     std::int32_t least = 0,
                                     std::int32_t most = std::numeric_limits<std::int32_t>::max());

}  // namespace kelvane::cli
