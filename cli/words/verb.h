// What the command can do: one description of each verb, from which the command line, help,
// completions and the manual page are made.
//
// Lifetime: constants. Threading: free functions without state.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "cli/words/arguments.h"
#include "cli/words/place.h"

namespace kelvane::cli {

inline constexpr Option kConfig{"--config", kFile, "use this file instead of kelvane.toml"};
inline constexpr Option kNoConfig{"--no-config", "", "do not read kelvane.toml"};
inline constexpr Option kNoPager{"--no-pager", "",
                                 "do not show what is longer than the screen in a pager"};

// How many sides a verb has; many: a reference and targets, among which are groups.
enum class Sides { none, one, two, many };

struct Verb {
  std::string_view name;
  std::string_view brief;     // a line
  std::string_view usage;     // a line for each way to call it, what stands behind the options
  std::string_view says;      // besides `brief`; may be empty
  std::string_view examples;  // a line each
  std::string_view statuses;  // a line for each exit status
  Sides sides;
  // What the operand behind the sides may be, or begin with where that ends in a colon.
  std::vector<std::string> (*further)();
  std::vector<OptionFamily> (*options)();
  ExitStatus (*run)(const Arguments& arguments, const Console& console, const OpenSide& open);
};

std::span<const Verb> verbs();
// Null where there is none.
const Verb* verbCalled(std::string_view name);

// All options of a verb.
std::vector<OptionFamily> familiesOf(const Verb& verb);
// Those that may be given there too.
std::vector<const Option*> optionsOf(const Verb& verb, Elsewhere elsewhere);

// What SOURCE, TARGET and SIDE may be, and where passwords come from.
extern const std::string_view kAboutSides;

// The lines of a text; none for an empty one.
std::vector<std::string_view> linesOf(std::string_view text);

}  // namespace kelvane::cli
